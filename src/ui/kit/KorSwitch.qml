import QtQuick
import QtQuick.Templates as T
import Korvat

// An on/off toggle with its label.
T.Switch {
    id: control

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Math.max(implicitContentHeight, implicitIndicatorHeight) + topPadding + bottomPadding
    padding: 4
    spacing: 10
    focusPolicy: Qt.StrongFocus
    font: Theme.varied("Inter", 500, 13)
    Accessible.role: Accessible.CheckBox
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onToggleAction: control.toggle()
    Accessible.onPressAction: control.toggle()

    indicator: Rectangle {
        x: control.leftPadding
        y: (control.height - height) / 2
        implicitWidth: 34
        implicitHeight: 20
        radius: 10
        color: control.checked ? Theme.ion : Theme.wash
        border.width: 1
        border.color: Theme.line

        // Off the track, so it shows on the accent fill of a switch that is on.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -3
            visible: control.visualFocus
            radius: 13
            color: "transparent"
            border.width: 2
            border.color: Theme.ion
        }

        Rectangle {
            x: control.checked ? parent.width - width - 3 : 3
            y: 3
            width: 14
            height: 14
            radius: 7
            color: control.checked ? Theme.onAccent : Theme.muted
        }
    }
    contentItem: Text {
        leftPadding: control.indicator.width + control.spacing
        text: control.text
        font: control.font
        color: Theme.ink
        verticalAlignment: Text.AlignVCenter
        Accessible.ignored: true
    }
}
