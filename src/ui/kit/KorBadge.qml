import QtQuick
import QtQuick.Controls.Basic
import Korvat

// A small pill: text in the ink colour on the fill; help, where given, says why on hover and
// to a screen reader.
Rectangle {
    id: root

    required property string text
    property color fill: Theme.pillFill
    property color ink: Theme.pillInk
    property string help: ""

    implicitWidth: label.implicitWidth + 14
    implicitHeight: label.implicitHeight + 4
    radius: height / 2
    color: fill
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Accessible.description: help
    ToolTip.visible: hover.hovered
    ToolTip.text: help
    ToolTip.delay: 600

    HoverHandler {
        id: hover

        enabled: root.help !== ""
    }
    Text {
        id: label

        anchors.centerIn: parent
        text: root.text
        color: root.ink
        font: Theme.varied("JetBrains Mono", 500, 10)
        Accessible.ignored: true
    }
}
