import QtQuick
import QtQuick.Controls.Basic
import Korvat

// The lists of the detail area: keyboard-navigable, with the current row marked while the
// list has focus, and a scroll bar.
ListView {
    // The width a row takes between the side margins.
    readonly property real rowWidth: width - leftMargin - rightMargin

    clip: true
    leftMargin: 8
    rightMargin: 8
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    keyNavigationEnabled: true
    highlightMoveDuration: 0
    highlightResizeDuration: 0
    Accessible.role: Accessible.List
    ScrollBar.vertical: ScrollBar {}

    highlight: Rectangle {
        radius: 8
        color: "transparent"
        border.width: 2
        border.color: Theme.ion
        visible: ListView.view !== null && ListView.view.activeFocus
    }
}
