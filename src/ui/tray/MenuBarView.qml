pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// The tray panel: the runtime, what runs, a one-click start or stop per container, and the
// way to the main window. It hides when it loses focus, as a menu would. The tray keeps its
// size fixed at naturalHeight, so tiling compositors float it instead of tiling it.
Window {
    id: panel

    required property AppStore store
    required property ToolchainStore toolchain
    required property Shell shell
    required property Actions actions
    property bool shownOnce: false
    readonly property int naturalHeight: Math.min(content.implicitHeight + 2, 600)

    signal openMain()
    signal openSettings()
    signal quit()

    width: 340
    height: naturalHeight
    flags: Qt.Tool | Qt.FramelessWindowHint
    color: "transparent"
    title: "Korvat panel"
    onActiveChanged: if (!panel.active && panel.visible) panel.hide()
    onVisibleChanged: {
        panel.store.setPanelVisible(panel.visible);
        if (panel.visible && !panel.shownOnce) {
            panel.shownOnce = true;
            panel.shell.firstShown();
        }
    }

    // Laid out from the top at its natural height, whatever size the compositor gives.
    Rectangle {
        width: parent.width
        height: panel.naturalHeight
        color: Theme.chrome
        border.color: Theme.line
        radius: 12
    }
    Shortcut {
        sequences: ["Esc"]
        onActivated: panel.hide()
    }
    ColumnLayout {
        id: content

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 1
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 12
            Layout.bottomMargin: 6
            spacing: 8

            RuntimePicker {
                Layout.fillWidth: true
                model: panel.shell.runtimes
                selectedRow: panel.shell.runtimes.selectedRow
                onPicked: row => panel.shell.selectRuntime(row)
            }
            Text {
                objectName: "runningCount"
                text: panel.store.runningCount + " running"
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 500, 11)
            }
        }
        StaleLine {
            objectName: "staleLine"
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 12
            Layout.bottomMargin: 6
            text: panel.shell.staleText
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 12
            Layout.bottomMargin: 6
            visible: panel.toolchain.noticeText !== ""
            spacing: 6

            KorIcon {
                name: "arrow.down.circle"
                tint: Theme.badgeInk
                size: 14
            }
            Text {
                objectName: "updateLine"
                Layout.fillWidth: true
                text: panel.toolchain.noticeText
                color: Theme.badgeInk
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideRight

                TapHandler {
                    onTapped: {
                        panel.hide();
                        panel.openSettings();
                    }
                }
            }
        }
        // Long work under way, in one line: "Pulling nginx:1.27 — 40%".
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 12
            Layout.bottomMargin: 6
            visible: panel.shell.work.line !== ""
            spacing: 6

            KorIcon {
                name: "arrow.triangle.2.circlepath"
                tint: Theme.ion
                size: 14
            }
            Text {
                objectName: "workLine"
                Layout.fillWidth: true
                text: panel.shell.work.line
                color: Theme.ink
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideRight
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        // The images the containers run whose tags moved on, counted once each; a click shows
        // them in the window.
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 12
            Layout.bottomMargin: 6
            visible: panel.shell.newerLine !== ""
            spacing: 6

            KorIcon {
                name: "opticaldisc"
                tint: Theme.badgeInk
                size: 14
            }
            Text {
                objectName: "newerLine"
                Layout.fillWidth: true
                text: panel.shell.newerLine
                color: Theme.badgeInk
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideRight
                Accessible.role: Accessible.StaticText
                Accessible.name: text

                TapHandler {
                    onTapped: {
                        panel.hide();
                        panel.shell.category = Sections.Images;
                        panel.openMain();
                    }
                }
            }
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Theme.line
        }
        KorListView {
            id: groups

            objectName: "panelGroups"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(contentHeight, 420)
            leftMargin: 0
            rightMargin: 0
            topMargin: 0
            bottomMargin: 0
            model: panel.shell.projects
            rowCounts: () => panel.shell.projects.rowCounts()
            // A group's name is a caption; only its containers take the keyboard.
            headerStops: false
            Accessible.name: "Containers"
            // With several engines, their groups come under each engine's name: the groups
            // come engine by engine, and the first of each says whose they are.
            section.property: "engine"

            delegate: ColumnLayout {
                id: group

                required property string name
                required property int runningCount
                required property bool loose
                required property ContainerModel containers

                function rowAt(i: int): Item {
                    return rows.itemAt(i);
                }

                width: groups.width
                spacing: 0

                Text {
                    objectName: "engineSection"
                    Layout.leftMargin: 12
                    Layout.topMargin: 10
                    visible: group.ListView.section !== "" && group.ListView.section !== group.ListView.previousSection
                    text: group.ListView.section
                    color: Theme.ink
                    font: Theme.varied("Inter", 600, 12)
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                RowLayout {
                    Layout.fillWidth: true
                    Layout.leftMargin: 12
                    Layout.rightMargin: 12
                    Layout.topMargin: 8
                    Layout.bottomMargin: 2

                    SectionCaption {
                        objectName: "groupName"
                        Layout.fillWidth: true
                        caption: group.loose ? "Other" : group.name
                    }
                    Text {
                        visible: !group.loose
                        text: group.runningCount
                        color: Theme.muted
                        font: Theme.varied("JetBrains Mono", 400, 11)
                    }
                }
                Repeater {
                    id: rows

                    model: group.containers

                    MenuRow {
                        id: menuRow

                        Layout.fillWidth: true
                        onPrimary: panel.actions.perform(Verb.Primary, menuRow.containerId)
                    }
                }
            }
        }
        Text {
            objectName: "noContainers"
            Layout.margins: 14
            visible: panel.shell.containers.count === 0
            text: "No containers"
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12.5)
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 6
            implicitHeight: 1
            color: Theme.line
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 10
            spacing: 8

            KorButton {
                objectName: "openKorvat"
                Layout.fillWidth: true
                text: "Open Korvat"
                variant: "accent"
                onClicked: {
                    panel.hide();
                    panel.openMain();
                }
            }
            KorButton {
                variant: "ghost"
                iconName: "gearshape"
                help: "Settings"
                onClicked: {
                    panel.hide();
                    panel.openSettings();
                }
            }
            KorButton {
                text: "Quit"
                variant: "ghost"
                onClicked: panel.quit()
            }
        }
    }
}
