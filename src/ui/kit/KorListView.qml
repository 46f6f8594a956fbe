import QtQuick
import QtQuick.Controls.Basic
import QtQml.Models
import Korvat

// The lists of the detail area and the tray panel: one Tab stop however many rows and
// buttons they hold. Inside, the arrows, Page Up/Down and Home/End walk the rows (and a
// card's own rows, in reading order), Left/Right walk the focused row's buttons, Enter or
// Space presses its primary action, and the Menu key or Shift+F10 opens a menu of everything
// its buttons offer.
//
// A delegate takes part by offering any of: rowAt(i) (the item of its i-th inner row),
// keyButtons (its buttons, in order), press() (its primary action), openMenu() (its full
// menu). An inner row offers the same for itself. These are looked up by name, which the
// linter cannot follow.
// qmllint disable
ListView {
    id: list

    // The width a row takes between the side margins.
    readonly property real rowWidth: width - leftMargin - rightMargin
    property bool laidOut: false
    // How many inner rows each item holds; a flat list has none.
    property var rowCounts: () => new Array(list.count).fill(0)
    // Whether an item's own header is a stop (a project card) or only a caption (a tray group).
    property bool headerStops: true
    // Where the keyboard is: the item, and its inner row or -1 for the item itself.
    property point stop: Qt.point(0, -1)
    // The menu made from a row's buttons, while it is open.
    property KorMenu buttonMenu: null

    function stopItem(at: point): Item {
        const item = list.itemAtIndex(at.x);
        if (item === null || at.y < 0)
            return list.headerStops ? item : null;
        return item.rowAt ? item.rowAt(at.y) : null;
    }

    function go(move: int) {
        // A refresh moves rows under the keyboard; the view's current index moves with them.
        const at = Qt.point(list.currentIndex >= 0 ? list.currentIndex : list.stop.x, list.stop.y);
        const next = ListKeys.step(list.rowCounts(), list.headerStops, at, move, Math.max(1, Math.floor(list.height / 52)));
        if (next.x < 0)
            return;
        list.stop = next;
        list.currentIndex = next.x;
        if (list.itemAtIndex(next.x) === null)
            list.positionViewAtIndex(next.x, ListView.Contain);
        const target = list.stopItem(next);
        if (target === null)
            return;
        list.reveal(target);
        target.forceActiveFocus(Qt.TabFocusReason);
    }

    // Scrolls just enough to show the item whole, as far as it fits.
    function reveal(target: Item) {
        const top = target.mapToItem(list.contentItem, 0, 0).y;
        const bottom = top + target.height;
        if (top < list.contentY + list.topMargin)
            list.contentY = Math.max(top - list.topMargin, list.originY - list.topMargin);
        else if (bottom > list.contentY + list.height - list.bottomMargin)
            list.contentY = Math.min(bottom - list.height + list.bottomMargin, top - list.topMargin);
    }

    function buttonsOf(target: Item): list<Item> {
        const buttons = [];
        const all = target.keyButtons ?? [];
        for (let i = 0; i < all.length; ++i) {
            if (all[i].visible && all[i].enabled)
                buttons.push(all[i]);
        }
        return buttons;
    }

    function across(step: int) {
        const target = list.stopItem(list.stop);
        if (target === null)
            return;
        const buttons = list.buttonsOf(target);
        const at = buttons.indexOf(list.Window.activeFocusItem);
        const next = Math.max(-1, Math.min(at + step, buttons.length - 1));
        if (next < 0)
            target.forceActiveFocus(Qt.TabFocusReason);
        else
            buttons[next].forceActiveFocus(Qt.TabFocusReason);
    }

    function leave(forward: bool) {
        const next = list.nextItemInFocusChain(forward);
        if (next !== null && next !== list)
            next.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason);
    }

    function openMenu() {
        const target = list.stopItem(list.stop);
        if (target === null)
            return;
        if (target.openMenu) {
            target.openMenu();
            return;
        }
        list.buttonMenu = menuComponent.createObject(target, {buttons: list.buttonsOf(target)}) as KorMenu;
        list.buttonMenu.popup(target, 14, target.height);
    }

    clip: true
    leftMargin: 8
    rightMargin: 8
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    keyNavigationEnabled: false
    Accessible.role: Accessible.List
    ScrollBar.vertical: ScrollBar {}

    // Tab into the list lands on the row the keyboard last left (the view itself would hand
    // the keyboard to its current item, which may be a group with no stop of its own).
    onActiveFocusChanged: {
        if (!activeFocus)
            return;
        const target = list.stopItem(list.stop);
        let focused = Window.activeFocusItem;
        while (focused !== null && focused !== target && focused !== list)
            focused = focused.parent;
        if (target === null || focused !== target)
            list.go(ListKeys.Here);
    }

    Keys.onPressed: event => {
        const shift = (event.modifiers & Qt.ShiftModifier) !== 0;
        switch (event.key) {
        case Qt.Key_Up: list.go(ListKeys.Up); break;
        case Qt.Key_Down: list.go(ListKeys.Down); break;
        case Qt.Key_PageUp: list.go(ListKeys.PageUp); break;
        case Qt.Key_PageDown: list.go(ListKeys.PageDown); break;
        case Qt.Key_Home: list.go(ListKeys.Home); break;
        case Qt.Key_End: list.go(ListKeys.End); break;
        case Qt.Key_Left: list.across(-1); break;
        case Qt.Key_Right: list.across(1); break;
        case Qt.Key_Tab: list.leave(true); break;
        case Qt.Key_Backtab: list.leave(false); break;
        case Qt.Key_Menu: list.openMenu(); break;
        case Qt.Key_I: {
            // Ctrl+I: the details of the focused row, where it has any.
            const target = list.stopItem(list.stop);
            if ((event.modifiers & Qt.ControlModifier) === 0 || target === null || !target.details)
                return;
            target.details();
            break;
        }
        case Qt.Key_F10:
            if (!shift)
                return;
            list.openMenu();
            break;
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_Space: {
            // A focused button presses itself on Space; Enter and a focused row press here.
            const focused = list.Window.activeFocusItem;
            const target = list.stopItem(list.stop);
            if (focused !== target && focused !== list && focused.clicked)
                focused.clicked();
            else if (target !== null && target.press)
                target.press();
            break;
        }
        default:
            return;
        }
        event.accepted = true;
    }

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

    // The menu of a row that has none of its own: its buttons, by name.
    Component {
        id: menuComponent

        KorMenu {
            id: menu

            property var buttons: []

            onClosed: {
                list.buttonMenu = null;
                menu.destroy();
            }

            Instantiator {
                model: menu.buttons
                onObjectAdded: (index, object) => menu.insertItem(index, object as KorMenuItem)

                KorMenuItem {
                    required property var modelData

                    text: modelData.text !== "" ? modelData.text : modelData.help
                    onTriggered: modelData.clicked()
                }
            }
        }
    }
}
