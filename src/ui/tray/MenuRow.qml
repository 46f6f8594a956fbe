import QtQuick
import QtQuick.Layouts
import Korvat

// One container in the tray panel: its dot, its name, and the one action its state allows.
Item {
    id: root

    required property string containerId
    required property string name
    required property string dot
    required property string actionLabel
    required property bool primaryQuiet
    required property bool failed
    required property string description
    readonly property list<Item> keyButtons: [rowAction]

    signal primary()

    function press() {
        root.primary();
    }

    implicitHeight: 30
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.description: description

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: 4
        anchors.rightMargin: 4
        radius: 7
        color: "transparent"
        border.width: root.activeFocus ? 2 : 0
        border.color: Theme.ion
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 6
        spacing: 8

        StatusDot {
            dot: root.dot
            failed: root.failed
        }
        Text {
            Layout.fillWidth: true
            text: root.name
            color: Theme.ink
            font: Theme.varied("Inter", 500, 12.5)
            elide: Text.ElideRight
        }
        KorButton {
            id: rowAction

            objectName: "rowAction"
            subject: root.name
            tabStop: false
            text: root.actionLabel
            variant: root.primaryQuiet ? "quiet" : "accent"
            padding: 3
            leftPadding: 10
            rightPadding: 10
            onClicked: root.primary()
        }
    }
}
