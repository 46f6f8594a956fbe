pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// Settings: the menu bar icon, the launch check, login, newer images, the appearance, the
// engines of other machines to watch, and the runtime tools, or on Linux without them the
// engines installed here.
ApplicationWindow {
    id: window

    required property SettingsController settings

    function raiseAndShow() {
        if (window.visible)
            window.raise();
        window.show();
        window.requestActivate();
    }

    title: "Korvat Settings"
    width: 640
    height: 760
    minimumWidth: 560
    minimumHeight: 480
    color: Theme.chrome
    palette.window: Theme.chrome
    palette.windowText: Theme.ink
    palette.toolTipBase: Theme.card
    palette.toolTipText: Theme.ink
    onVisibleChanged: if (window.visible) window.settings.opened()

    Shortcut {
        sequences: ["Ctrl+W"]
        onActivated: window.close()
    }
    component Caption: SectionCaption {
        Layout.topMargin: 18
        Layout.bottomMargin: 4
    }
    component Note: Text {
        Layout.fillWidth: true
        color: Theme.muted
        font: Theme.varied("Inter", 400, 12)
        wrapMode: Text.Wrap
    }
    // A runtime of another machine, with the switch that watches it beside this machine's.
    component RemoteRow: Rectangle {
        id: remote

        required property string name
        required property string endpoint
        required property bool watched
        required property string switchName

        signal watchToggled(string name, bool on)

        implicitHeight: remoteLine.implicitHeight + 24
        radius: 10
        color: Theme.card
        border.color: Theme.line
        Accessible.role: Accessible.Grouping
        Accessible.name: name
        Accessible.description: endpoint

        RowLayout {
            id: remoteLine

            anchors.fill: parent
            anchors.margins: 12
            spacing: 10

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 4

                Text {
                    Layout.fillWidth: true
                    text: remote.name
                    color: Theme.ink
                    font: Theme.varied("Inter", 600, 13)
                    elide: Text.ElideRight
                }
                Text {
                    Layout.fillWidth: true
                    text: remote.endpoint
                    color: Theme.muted
                    font: Theme.varied("JetBrains Mono", 400, 11)
                    elide: Text.ElideRight
                }
            }
            KorSwitch {
                objectName: "watch-" + remote.name
                // No label beside it: its track ends where the row's buttons end.
                spacing: 0
                checked: remote.watched
                Accessible.name: remote.switchName
                onToggled: {
                    remote.watchToggled(remote.name, checked);
                    // The remembered choice wins over the click.
                    checked = Qt.binding(() => remote.watched);
                }
            }
        }
    }

    ScrollView {
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            width: parent.width - 48
            x: 24
            spacing: 6

            Caption {
                Layout.topMargin: 20
                caption: "General"
            }
            KorSwitch {
                objectName: "showMenuBar"
                text: "Show menu bar icon"
                checked: window.settings.showMenuBar
                onToggled: window.settings.showMenuBar = checked
            }
            KorSwitch {
                objectName: "notifyOnFailure"
                text: "Notify when a container fails"
                checked: window.settings.notifyOnFailure
                onToggled: window.settings.notifyOnFailure = checked
            }
            KorSwitch {
                objectName: "checkUpdatesAtLaunch"
                // The check asks Homebrew, which is not there when the engines are shown.
                visible: !window.settings.hostEnginesShown
                text: "Check for runtime updates at launch"
                checked: window.settings.checkUpdatesAtLaunch
                onToggled: window.settings.checkUpdatesAtLaunch = checked
            }
            Note {
                Layout.leftMargin: 48
                text: window.settings.eventsNote
            }
            KorSwitch {
                objectName: "openAtLogin"
                text: "Open Korvat at login"
                checked: window.settings.openAtLogin
                onToggled: {
                    window.settings.setOpenAtLogin(checked);
                    // The entry's real state wins over the click.
                    checked = Qt.binding(() => window.settings.openAtLogin);
                }
            }
            Note {
                Layout.leftMargin: 48
                visible: window.settings.loginError !== ""
                text: window.settings.loginError
                color: Theme.danger
            }

            Caption {
                caption: "Newer images"
            }
            RowLayout {
                spacing: 10

                Text {
                    leftPadding: 4
                    text: "Check for newer images"
                    color: Theme.ink
                    font: Theme.varied("Inter", 500, 13)
                    Accessible.ignored: true
                }
                KorComboBox {
                    objectName: "newerSchedule"
                    model: window.settings.newerSchedules
                    currentIndex: window.settings.newerSchedule
                    Accessible.name: "Check for newer images"
                    onActivated: index => {
                        window.settings.newerSchedule = index;
                        // The stored choice stays the source of truth.
                        currentIndex = Qt.binding(() => window.settings.newerSchedule);
                    }
                }
            }
            Note {
                Layout.leftMargin: 4
                text: "Korvat asks each image’s registry whether its tag moved on; a scheduled check waits while the connection is metered. Nothing is pulled until you ask."
            }
            KorSwitch {
                objectName: "notifyNewerImages"
                text: "Notify when a newer image is found"
                checked: window.settings.notifyNewerImages
                onToggled: window.settings.notifyNewerImages = checked
            }

            Caption {
                caption: "Appearance"
            }
            RowLayout {
                spacing: 6

                Repeater {
                    model: [
                        { label: "Auto", value: "auto", icon: "circle.lefthalf.filled" },
                        { label: "Light", value: "light", icon: "sun.max" },
                        { label: "Dark", value: "dark", icon: "moon" },
                    ]

                    KorButton {
                        required property var modelData

                        text: modelData.label
                        iconName: modelData.icon
                        variant: Theme.appearance === modelData.value ? "accent" : "quiet"
                        checkable: true
                        checked: Theme.appearance === modelData.value
                        Accessible.role: Accessible.RadioButton
                        Accessible.checkable: true
                        Accessible.checked: checked
                        onClicked: Theme.appearance = modelData.value
                    }
                }
            }
            Note {
                text: "Auto follows the system setting. Light is the Paper reading of the design, dark is Obsidian — neither is an afterthought."
            }

            Caption {
                visible: window.settings.hostEnginesShown
                caption: "Engine on this machine"
            }
            Note {
                visible: window.settings.hostEnginesShown && text !== ""
                text: window.settings.hostEnginesNote
            }
            Repeater {
                model: window.settings.hostEnginesShown ? window.settings.hostEngines : null

                EngineRow {
                    Layout.fillWidth: true
                    Layout.topMargin: 8
                    onAct: (engine, scope, unit) => window.settings.actOnUnit(engine, scope, unit)
                    onStartAtBoot: (engine, scope) => window.settings.startAtBoot(engine, scope)
                    onKeepRunningAfterLogout: window.settings.keepRunningAfterLogout()
                }
            }

            Caption {
                caption: "Engines on other machines"
            }
            Note {
                objectName: "remoteEnginesNote"
                visible: text !== ""
                text: window.settings.remoteEnginesNote
            }
            Repeater {
                model: window.settings.remoteEngines

                RemoteRow {
                    Layout.fillWidth: true
                    Layout.topMargin: 8
                    onWatchToggled: (name, on) => window.settings.setWatched(name, on)
                }
            }

            RowLayout {
                Layout.fillWidth: true
                Layout.topMargin: 18
                visible: !window.settings.hostEnginesShown

                SectionCaption {
                    Layout.fillWidth: true
                    caption: "Runtime tools"
                }
                KorButton {
                    objectName: "checkButton"
                    text: window.settings.checking ? "Checking" : "Check for updates"
                    iconName: "arrow.clockwise"
                    enabled: !window.settings.checking
                    onClicked: window.settings.check()
                }
            }
            Text {
                objectName: "statusLine"
                visible: !window.settings.hostEnginesShown
                text: window.settings.statusLine
                color: Theme.muted
                font: Theme.caption
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Rectangle {
                Layout.fillWidth: true
                Layout.topMargin: 8
                visible: window.settings.restartNeeded && !window.settings.hostEnginesShown
                implicitHeight: restart.implicitHeight + 20
                radius: 9
                color: Theme.badgeFill

                RowLayout {
                    id: restart

                    anchors.fill: parent
                    anchors.margins: 10
                    spacing: 10

                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2

                        Text {
                            text: "Restart the runtime to finish"
                            color: Theme.badgeInk
                            font: Theme.varied("Inter", 600, 13)
                        }
                        Text {
                            Layout.fillWidth: true
                            text: window.settings.restartText
                            color: Theme.ink
                            font: Theme.varied("Inter", 400, 12)
                            wrapMode: Text.Wrap
                        }
                    }
                    KorButton {
                        text: "Restart"
                        iconName: "arrow.triangle.2.circlepath"
                        variant: "accent"
                        onClicked: window.settings.restartServices()
                    }
                }
            }
            Repeater {
                model: window.settings.hostEnginesShown ? null : window.settings.tools

                ToolRow {
                    Layout.fillWidth: true
                    Layout.topMargin: 8
                    onActionClicked: (runsJob, formula, homepage) => {
                        if (runsJob)
                            window.settings.runTool(formula);
                        else
                            Qt.openUrlExternally(homepage);
                    }
                }
            }
            Note {
                Layout.topMargin: 10
                visible: !window.settings.brewAvailable && !window.settings.hostEnginesShown
                text: "Homebrew was not found, so Korvat can report versions but cannot update them."
            }
            KorButton {
                Layout.topMargin: 6
                visible: window.settings.canStartServices && !window.settings.hostEnginesShown
                text: "Start"
                iconName: "play"
                variant: "accent"
                onClicked: window.settings.startServices()
            }
            Item {
                Layout.preferredHeight: 24
            }
        }
    }
    ToolRunSheet {
        id: runSheet

        objectName: "runSheet"
        onClosedJob: run => window.settings.jobClosed(run)
    }
    Connections {
        target: window.settings

        function onJobOpened(run: JobRun) {
            runSheet.show(run);
        }
    }
}
