import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "ImagesView"
    when: windowShown
    visible: true
    width: 1000
    height: 600

    Component {
        id: images

        ImagesView {
            width: 1000
            height: 600
        }
    }
    SignalSpy {
        id: actions

        signalName: "imageAction"
    }

    function test_pullTakesTheFieldAsTyped() {
        const view = createTemporaryObject(images, testCase, { shell: Fixtures.shell("images"), store: Fixtures.store() });
        actions.clear();
        actions.target = view;
        const field = findChild(view, "pullField");
        const pull = findChild(view, "pull");
        verify(!pull.enabled);
        field.forceActiveFocus();
        keyClick(Qt.Key_Space);
        verify(!pull.enabled, "blank is not a reference");
        field.text = "registry.example:5000/Team/app:1.0 ";
        verify(pull.enabled);
        keyClick(Qt.Key_Return);
        compare(actions.count, 1);
        compare(actions.signalArguments[0][0], Verb.Pull);
        compare(actions.signalArguments[0][2], "registry.example:5000/Team/app:1.0 ");
        compare(field.text, "");
    }

    // A row without a menu of its own gets one of its buttons from the keyboard.
    function test_menuKeyOffersTheRowsButtons() {
        const view = createTemporaryObject(images, testCase, { shell: Fixtures.shell("images"), store: Fixtures.store() });
        actions.clear();
        actions.target = view;
        const list = findChild(view, "imagesList");
        list.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Down);
        const row = list.itemAtIndex(1);
        verify(row.activeFocus);
        keyClick(Qt.Key_Menu);
        tryVerify(() => list.buttonMenu !== null && list.buttonMenu.opened);
        const menu = list.buttonMenu;
        compare(menu.count, 2);
        compare(menu.itemAt(0).text, "Details");
        compare(menu.itemAt(1).text, "Remove");
        keyClick(Qt.Key_Down);
        keyClick(Qt.Key_Down);
        keyClick(Qt.Key_Return);
        compare(actions.count, 1);
        compare(actions.signalArguments[0][0], Verb.RemoveImage);
        compare(actions.signalArguments[0][1], row.key);
    }
}
