import QtQuick
import QtQuick.Controls.Basic
import Korvat

// A pop-up menu in the design's colours.
Menu {
    padding: 5
    implicitWidth: 220

    background: Rectangle {
        implicitWidth: 220
        color: Theme.card
        border.color: Theme.line
        radius: 9
    }
}
