pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Korvat

// The main window: the library sidebar, the toolbar, the banners and the selected section.
ApplicationWindow {
    id: window

    required property AppStore store
    required property ToolchainStore toolchain
    required property Shell shell
    required property Actions actions
    required property SettingsController settings
    property SettingsWindow settingsWindow: null

    function openSettings() {
        if (!window.settingsWindow)
            window.settingsWindow = settingsComponent.createObject(null, { settings: window.settings }) as SettingsWindow;
        window.settingsWindow.raiseAndShow();
    }
    property bool shownOnce: false

    title: "Korvat"
    width: 1080
    height: 700
    minimumWidth: 920
    minimumHeight: 480
    color: Theme.page
    palette.window: Theme.page
    palette.windowText: Theme.ink
    palette.base: Theme.control
    palette.text: Theme.ink
    palette.button: Theme.control
    palette.buttonText: Theme.ink
    palette.highlight: Theme.ion
    palette.highlightedText: Theme.onAccent
    palette.toolTipBase: Theme.card
    palette.toolTipText: Theme.ink

    // A minimised window shows nothing, so it polls as slowly as a closed one.
    onVisibilityChanged: window.store.windowVisible = window.visible && window.visibility !== Window.Minimized
    onVisibleChanged: {
        window.store.windowVisible = window.visible && window.visibility !== Window.Minimized;
        if (window.visible && !window.shownOnce) {
            window.shownOnce = true;
            window.shell.firstShown();
        }
    }

    Shortcut {
        sequences: ["Ctrl+F"]
        onActivated: toolbar.focusSearch()
    }
    Shortcut {
        sequences: ["F5", "Ctrl+R"]
        onActivated: window.shell.refresh()
    }
    Shortcut {
        sequences: ["Ctrl+,"]
        onActivated: window.openSettings()
    }
    Component {
        id: settingsComponent

        SettingsWindow {}
    }
    Shortcut {
        sequence: "Ctrl+1"
        onActivated: window.shell.category = Sections.Projects
    }
    Shortcut {
        sequence: "Ctrl+2"
        onActivated: window.shell.category = Sections.Containers
    }
    Shortcut {
        sequence: "Ctrl+3"
        onActivated: window.shell.category = Sections.Images
    }
    Shortcut {
        sequence: "Ctrl+4"
        onActivated: window.shell.category = Sections.Volumes
    }
    Shortcut {
        sequence: "Ctrl+5"
        onActivated: window.shell.category = Sections.Networks
    }
    Shortcut {
        sequence: "Ctrl+6"
        onActivated: window.shell.category = Sections.Disk
    }

    // Adding a project and locating a moved one ask the same question.
    FolderDialog {
        id: folderDialog

        property string relocating: ""

        function ask(project: string) {
            folderDialog.relocating = project;
            folderDialog.open();
        }

        title: "Choose a project directory containing a compose file."
        onAccepted: {
            if (folderDialog.relocating === "")
                window.shell.addProject(selectedFolder);
            else
                window.actions.relocate(folderDialog.relocating, selectedFolder);
        }
    }
    // A volume's backup is saved where the user says (before its removal, when that is what
    // was asked); a restore reads the file they pick.
    FileDialog {
        id: volumeDialog

        property int verb: Verb.BackupVolume
        property string volume: ""

        title: volumeDialog.verb === Verb.RestoreVolume ? "Restore " + window.actions.named(volumeDialog.volume)
             : volumeDialog.verb === Verb.RemoveVolume ? "Back up " + window.actions.named(volumeDialog.volume) + " before removing it"
             : "Back up " + window.actions.named(volumeDialog.volume)
        fileMode: volumeDialog.verb === Verb.RestoreVolume ? FileDialog.OpenFile : FileDialog.SaveFile
        nameFilters: ["Tar archives (*.tar)", "All files (*)"]
        onAccepted: window.actions.perform(volumeDialog.verb, volumeDialog.volume, String(volumeDialog.selectedFile))
    }
    Sheets {
        actions: window.actions
        store: window.store
    }
    Connections {
        target: window.actions

        function onVolumeShown(volume: string) {
            window.shell.showVolume(volume);
        }
        function onLocateRequested(project: string) {
            folderDialog.ask(project);
        }
        function onVolumeFileRequested(verb: int, volume: string, suggested: url) {
            volumeDialog.verb = verb;
            volumeDialog.volume = volume;
            if (verb !== Verb.RestoreVolume)
                volumeDialog.selectedFile = suggested;
            volumeDialog.open();
        }
    }
    Connections {
        target: window.shell

        function onSettingsRequested() {
            window.openSettings();
        }
    }

    SplitView {
        anchors.fill: parent
        orientation: Qt.Horizontal

        handle: Item {
            implicitWidth: 5

            Rectangle {
                anchors.horizontalCenter: parent.horizontalCenter
                width: 1
                height: parent.height
                color: Theme.line
            }
        }

        Sidebar {
            // A narrow window (a tiling compositor's half screen) gives the sidebar less.
            SplitView.minimumWidth: 160
            SplitView.preferredWidth: window.width < 960 ? 172 : 210
            SplitView.maximumWidth: 260
            categories: window.shell.categories
            counts: window.shell.counts
            spokenCounts: window.shell.spokenCounts
            current: window.shell.category
            runningText: window.shell.runningText
            stoppedText: window.shell.stoppedText
            onPicked: category => window.shell.category = category
        }

        // Tab goes from the library to the list it opens, then to the toolbar and the banners
        // above the list. Tab follows the tree, so the column's items sit in that order and
        // their rows put them back where they are seen.
        GridLayout {
            SplitView.fillWidth: true
            columns: 1
            rowSpacing: 0

            SectionView {
                Layout.row: 3
                Layout.fillWidth: true
                Layout.fillHeight: true
                Layout.topMargin: 4
                shell: window.shell
                store: window.store
                onContainerAction: (verb, id, detail) => window.actions.perform(verb, id, detail)
                onProjectAction: (verb, name, detail) => window.actions.perform(verb, name, detail)
                onImageAction: (verb, id, reference) => window.actions.perform(verb, id, reference)
                onVolumeAction: (verb, name) => window.actions.perform(verb, name)
                onNetworkAction: (verb, name) => window.actions.perform(verb, name)
                onDiskAction: verb => window.actions.perform(verb, "")
            }
            Toolbar {
                id: toolbar

                Layout.row: 0
                Layout.fillWidth: true
                title: window.shell.categoryLabel
                count: window.shell.categoryCount
                runtimes: window.shell.runtimes
                selectedRow: window.shell.runtimes.selectedRow
                filter: window.store.filter
                searchHint: window.shell.searchHint
                busy: window.store.busy
                sortChoices: window.shell.sortChoices
                sortIndex: window.shell.sortIndex
                onSortPicked: index => window.shell.sortIndex = index
                onRuntimePicked: row => window.shell.selectRuntime(row)
                onFilterEdited: text => window.store.filter = text
                onRefreshRequested: window.shell.refresh()
                onAddRequested: folderDialog.ask("")
            }
            StaleLine {
                objectName: "staleLine"
                Layout.row: 1
                Layout.fillWidth: true
                Layout.leftMargin: 18
                Layout.rightMargin: 16
                Layout.topMargin: visible ? 10 : 0
                text: window.shell.staleText
            }
            Banners {
                Layout.row: 2
                Layout.fillWidth: true
                Layout.leftMargin: 16
                Layout.rightMargin: 16
                Layout.topMargin: visible ? 12 : 0
                errorText: window.store.error
                noticeText: window.store.notice
                updateText: window.toolchain.noticeText
                onDismissError: window.store.dismissError()
                onDismissNotice: window.store.dismissNotice()
                onDismissUpdate: window.toolchain.dismissNotice()
                onOpenSettings: window.openSettings()
            }
        }
    }
}
