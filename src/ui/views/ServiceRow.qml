pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// A service the project's files define that has no container: never created, removed, or
// in a profile compose does not turn on. Up creates it alone.
Rectangle {
    id: root

    required property string serviceName
    required property string image
    required property string serviceState
    required property bool notCreated
    required property string description
    property bool enabledUp: true

    readonly property list<Item> keyButtons: [upButton]

    signal up

    function press() {
        if (upButton.enabled)
            root.up();
    }

    implicitHeight: 44
    color: hover.hovered ? Theme.control : "transparent"
    radius: 8
    border.width: activeFocus ? 2 : 0
    border.color: Theme.ion
    Accessible.role: Accessible.ListItem
    Accessible.name: serviceName
    Accessible.description: description

    HoverHandler {
        id: hover
    }
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 8
        spacing: 10

        // Hollow: nothing exists to be running or stopped.
        StatusDot {
            dot: "other"
            opacity: root.notCreated ? 1 : 0.5
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 90
            spacing: 2

            Text {
                Layout.fillWidth: true
                text: root.serviceName
                color: root.notCreated ? Theme.ink : Theme.muted
                font: Theme.varied("Inter", 500, 13)
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                text: root.image
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
                elide: Text.ElideMiddle
            }
        }
        KorBadge {
            objectName: "serviceState"
            Layout.minimumWidth: implicitWidth
            text: root.serviceState
        }
        KorButton {
            id: upButton

            objectName: "serviceUp"
            subject: root.serviceName
            tabStop: false
            text: "Up"
            iconName: "arrow.up.circle"
            variant: "quiet"
            help: "Create and start " + root.serviceName + " alone"
            enabled: root.enabledUp
            onClicked: root.up()
        }
    }
}
