import QtQuick
import QtQuick.Controls.Basic
import Korvat

// A pop-up menu in the design's colours.
Menu {
    id: menu

    // What had the keyboard before the menu opened: Qt 6.4 leaves it on the window's root
    // when a menu closes, so a keyboard user would have to start over.
    property Item focusBefore: null

    padding: 5
    implicitWidth: 220
    // A submenu's entry looks like every other item.
    delegate: KorMenuItem {}
    onAboutToShow: menu.focusBefore = menu.parent?.Window.activeFocusItem ?? null
    onClosed: {
        const window = menu.focusBefore?.Window;
        if (window && (window.activeFocusItem === null || window.activeFocusItem === window.contentItem))
            menu.focusBefore.forceActiveFocus(Qt.TabFocusReason);
        menu.focusBefore = null;
    }

    background: Rectangle {
        implicitWidth: 220
        color: Theme.card
        border.color: Theme.line
        radius: 9
    }
}
