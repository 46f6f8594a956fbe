pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Korvat

// The one button of the interface: quiet, accent, ghost or danger; with text, an icon, or both.
T.Button {
    id: control

    property string variant: "quiet"
    property bool wide: false
    property string iconName: ""
    // Hover help; an icon-only button's accessible name.
    property string help: ""
    // What the button acts on (a container, a project), for a screen reader: "Stop" alone
    // does not say whose.
    property string subject: ""
    // Said after the name where the hover help alone does not say what happens.
    property string detail: ""
    // Inside a list the arrows reach the button, so Tab passes it by.
    property bool tabStop: true

    readonly property bool filled: variant === "accent" || variant === "danger"
    readonly property color fill: {
        if (variant === "accent")
            return hovered && enabled ? Theme.ionHover : Theme.ion;
        if (variant === "danger")
            return hovered && enabled ? Qt.lighter(Theme.danger, 1.08) : Theme.danger;
        if (variant === "quiet")
            return down ? Theme.wash : Theme.control;
        return down || (hovered && enabled) ? Theme.wash : "transparent";
    }
    readonly property color ink: {
        if (filled)
            return Theme.onAccent;
        if (hovered && enabled)
            return Theme.ionHover;
        return variant === "ghost" ? Theme.muted : Theme.ink;
    }

    implicitWidth: Math.max(implicitBackgroundWidth + leftInset + rightInset, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight + topInset + bottomInset, implicitContentHeight + topPadding + bottomPadding)
    Layout.fillWidth: wide
    // A row short of room elides its texts; its buttons keep their size.
    Layout.minimumWidth: implicitWidth
    padding: 6
    leftPadding: text === "" ? 6 : 12
    rightPadding: text === "" ? 6 : 12
    focusPolicy: tabStop ? Qt.StrongFocus : Qt.NoFocus
    opacity: enabled ? 1 : 0.45
    font: Theme.varied("Inter", 500, 12.5)
    hoverEnabled: true

    Accessible.role: Accessible.Button
    Accessible.name: text !== "" ? text : help
    Accessible.description: detail !== "" ? detail : subject !== "" ? subject : text !== "" ? help : ""
    // Qt 6.4's Button ignores the accessibility press action unless it is handled.
    Accessible.onPressAction: control.clicked()

    ToolTip.visible: hovered && help !== ""
    ToolTip.text: help
    ToolTip.delay: 600

    contentItem: Item {
        implicitWidth: children[0].implicitWidth
        implicitHeight: Math.max(children[0].implicitHeight, 16)

        Row {
            anchors.centerIn: parent
            spacing: 6

            KorIcon {
                anchors.verticalCenter: parent.verticalCenter
                name: control.iconName
                tint: control.ink
                size: 15
                visible: control.iconName !== ""
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: control.text
                font: control.font
                color: control.ink
                visible: control.text !== ""
                Accessible.ignored: true
            }
        }
    }

    background: Rectangle {
        implicitWidth: control.text === "" ? 28 : 64
        implicitHeight: 28
        radius: 7
        color: control.fill
        border.width: control.variant === "quiet" ? 1 : 0
        border.color: control.hovered && control.enabled ? Theme.ionHover : Theme.line

        // The focus ring stands off the button, so it shows on an accent fill as on any other.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            visible: control.visualFocus
            radius: 10
            color: "transparent"
            border.width: 2
            border.color: Theme.ion
        }
    }
}
