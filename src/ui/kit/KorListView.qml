import QtQuick
import QtQuick.Controls.Basic
import Korvat

// The lists of the detail area: keyboard-navigable, with the current row marked while the
// list has focus, and a scroll bar.
ListView {
    id: list

    // The width a row takes between the side margins.
    readonly property real rowWidth: width - leftMargin - rightMargin
    property bool laidOut: false

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

    // Rows that arrive while the list has no height yet are placed above the first one with
    // the origin left behind, so the first screen would open scrolled into the middle.
    onHeightChanged: {
        if (!list.laidOut && list.height > 0) {
            list.laidOut = true;
            // Set by hand: positionViewAtBeginning() puts the first row at the very top, inside
            // the top margin.
            list.forceLayout();
            list.contentY = list.originY - list.topMargin;
        }
    }

    highlight: Rectangle {
        radius: 8
        color: "transparent"
        border.width: 2
        border.color: Theme.ion
        visible: ListView.view !== null && ListView.view.activeFocus
    }
}
