import QtQuick
import Korvat

// A small pill: text in the ink colour on the fill.
Rectangle {
    id: root

    required property string text
    property color fill: Theme.pillFill
    property color ink: Theme.pillInk

    implicitWidth: label.implicitWidth + 14
    implicitHeight: label.implicitHeight + 4
    radius: height / 2
    color: fill
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Text {
        id: label

        anchors.centerIn: parent
        text: root.text
        color: root.ink
        font: Theme.varied("JetBrains Mono", 500, 10)
        Accessible.ignored: true
    }
}
