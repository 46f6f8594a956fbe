pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One engine installed here: its package and version, each systemd unit that runs it
// with the one action its state allows, and whether it starts at boot with the fixes offered.
Rectangle {
    id: root

    required property string name
    required property string versionLine
    required property string note
    required property var units
    required property var startups

    signal act(string engine, int scope, string unit)
    signal startAtBoot(string engine, int scope)
    signal keepRunningAfterLogout()

    implicitHeight: column.implicitHeight + 24
    radius: 10
    color: Theme.card
    border.color: Theme.line
    Accessible.role: Accessible.Grouping
    Accessible.name: name
    Accessible.description: versionLine

    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.margins: 12
        spacing: 4

        Text {
            text: root.name
            color: Theme.ink
            font: Theme.varied("Inter", 600, 13)
        }
        Text {
            Layout.fillWidth: true
            text: root.versionLine
            color: Theme.ink
            font: Theme.varied("JetBrains Mono", 400, 11)
            elide: Text.ElideRight
        }
        Text {
            Layout.fillWidth: true
            visible: root.note !== ""
            text: root.note
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12)
            wrapMode: Text.Wrap
        }
        Repeater {
            model: root.units

            ColumnLayout {
                id: unit

                required property var modelData

                Layout.fillWidth: true
                Layout.topMargin: 4
                spacing: 2

                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10

                    Text {
                        Layout.fillWidth: true
                        text: unit.modelData.line
                        color: Theme.muted
                        font: Theme.varied("JetBrains Mono", 400, 11)
                        elide: Text.ElideRight
                    }
                    KorButton {
                        visible: unit.modelData.action !== ""
                        text: unit.modelData.action
                        iconName: unit.modelData.action === "Start" ? "play" : "arrow.triangle.2.circlepath"
                        variant: unit.modelData.action === "Start" ? "accent" : "quiet"
                        detail: unit.modelData.name
                        onClicked: root.act(root.name, unit.modelData.scope, unit.modelData.name)
                    }
                }
                Text {
                    Layout.fillWidth: true
                    visible: unit.modelData.error !== ""
                    text: unit.modelData.error
                    color: Theme.danger
                    font: Theme.varied("Inter", 400, 12)
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
        }
        Repeater {
            model: root.startups

            ColumnLayout {
                id: startup

                required property var modelData

                Layout.fillWidth: true
                Layout.topMargin: 6
                spacing: 2

                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10

                    Text {
                        Layout.fillWidth: true
                        text: startup.modelData.line
                        color: Theme.ink
                        font: Theme.varied("Inter", 500, 12)
                        elide: Text.ElideRight
                    }
                    KorButton {
                        visible: startup.modelData.enable !== ""
                        text: startup.modelData.enable
                        variant: "accent"
                        detail: root.name
                        onClicked: root.startAtBoot(root.name, startup.modelData.scope)
                    }
                    KorButton {
                        visible: startup.modelData.linger !== ""
                        text: startup.modelData.linger
                        detail: root.name
                        onClicked: root.keepRunningAfterLogout()
                    }
                }
                Text {
                    Layout.fillWidth: true
                    text: startup.modelData.reason
                    color: Theme.muted
                    font: Theme.varied("Inter", 400, 12)
                    wrapMode: Text.Wrap
                }
                Text {
                    Layout.fillWidth: true
                    visible: startup.modelData.error !== ""
                    text: startup.modelData.error
                    color: Theme.danger
                    font: Theme.varied("Inter", 400, 12)
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
        }
    }
}
