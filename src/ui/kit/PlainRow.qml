import QtQuick
import QtQuick.Layouts
import Korvat

// A list row: a leading mark, a title, a monospaced second line and a trailing text.
Rectangle {
    id: root

    required property string title
    property string detail: ""
    // A third line, for what the row holds: a network's containers.
    property string extra: ""
    property string trailing: ""
    // What a screen reader hears after the title; the second line unless said otherwise.
    property string spoken: detail
    // A pill before the trailing text, such as the project a container belongs to.
    property string badge: ""
    // A pill in the update colours before it, such as "Newer image"; updateHelp says why.
    property string updateBadge: ""
    property string updateHelp: ""
    // Its engine's name, while rows of several engines are shown.
    property string engine: ""
    // The leading mark: a status dot, a run ring (ringTotal ≥ 0) or an icon.
    property string dotState: ""
    property bool dotFailed: false
    property int ringRunning: 0
    property int ringTotal: -1
    property string iconName: ""
    // Buttons at the end of the row.
    default property alias actions: actionsRow.data
    readonly property var keyButtons: actionsRow.children

    implicitHeight: extra === "" ? 52 : 70
    color: hover.hovered ? Theme.control : "transparent"
    radius: 8
    border.width: activeFocus ? 2 : 0
    border.color: Theme.ion
    Accessible.role: Accessible.ListItem
    Accessible.name: title
    Accessible.description: spoken

    HoverHandler {
        id: hover
    }
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        spacing: 12

        Item {
            implicitWidth: 22
            implicitHeight: 22

            StatusDot {
                anchors.centerIn: parent
                visible: root.dotState !== ""
                dot: root.dotState
                failed: root.dotFailed
            }
            RunRing {
                anchors.centerIn: parent
                visible: root.ringTotal >= 0
                running: root.ringRunning
                total: Math.max(root.ringTotal, 0)
                dimmed: root.ringRunning === 0
            }
            KorIcon {
                anchors.centerIn: parent
                visible: root.iconName !== ""
                name: root.iconName
                tint: Theme.muted
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Text {
                Layout.fillWidth: true
                text: root.title
                color: Theme.ink
                font: Theme.varied("Inter", 500, 13)
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                visible: root.detail !== ""
                text: root.detail
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
                elide: Text.ElideMiddle
            }
            Text {
                Layout.fillWidth: true
                visible: root.extra !== ""
                text: root.extra
                color: Theme.muted
                font: Theme.varied("Inter", 400, 12)
                elide: Text.ElideRight
            }
        }
        KorBadge {
            objectName: "updateBadge"
            visible: root.updateBadge !== ""
            text: root.updateBadge
            help: root.updateHelp
            fill: Theme.badgeFill
            ink: Theme.badgeInk
        }
        KorBadge {
            visible: root.badge !== ""
            text: root.badge
        }
        KorBadge {
            objectName: "engineBadge"
            visible: root.engine !== ""
            text: root.engine
            fill: "transparent"
            ink: Theme.muted
            Accessible.ignored: true
        }
        Row {
            id: actionsRow

            spacing: 4
        }
        Text {
            Layout.preferredWidth: 190
            horizontalAlignment: Text.AlignRight
            elide: Text.ElideRight
            visible: root.trailing !== ""
            text: root.trailing
            color: Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11)
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        height: 1
        color: Theme.line
        opacity: 0.6
    }
}
