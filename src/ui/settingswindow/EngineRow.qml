pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One engine installed here: its package and version, and each systemd unit that runs it
// with the one action its state allows.
Rectangle {
    id: root

    required property string name
    required property string versionLine
    required property string note
    required property var units

    signal act(string engine, int scope, string unit)

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
    }
}
