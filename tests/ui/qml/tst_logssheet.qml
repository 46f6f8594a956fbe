import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "LogsSheet"
    when: windowShown
    visible: true
    width: 900
    height: 600

    Component {
        id: sheetComponent

        LogsSheet {}
    }

    // New output keeps a reader at the end there, and leaves one who scrolled up alone with
    // a way back that counts what came meanwhile.
    function test_followsOnlyAtTheEnd() {
        const sheet = createTemporaryObject(sheetComponent, testCase);
        const log = Fixtures.log(200);
        sheet.show(log, "web-1");
        tryVerify(() => sheet.opened);
        const list = findChild(sheet.contentItem, "logScroll");
        tryVerify(() => list.contentHeight > list.height && list.atYEnd);

        Fixtures.more(log, 50);
        tryVerify(() => log.transcript.total === 250 && list.atYEnd, 2000, "kept at the end");

        // The reader scrolls to the top: a movement that ends away from the end.
        list.positionViewAtBeginning();
        list.movementEnded();
        tryVerify(() => !list.atYEnd);
        const jump = findChild(sheet.contentItem, "jumpToEnd");
        tryVerify(() => jump.visible);
        Fixtures.more(log, 50);
        tryCompare(jump, "text", "Jump to end (50 new lines)");
        compare(list.indexAt(10, list.contentY + 5), 0, "still reading the first line");

        mouseClick(jump);
        tryVerify(() => list.atYEnd && !jump.visible, 2000, "back at the end, followed again");
        sheet.close();
    }

    // Ctrl+F opens "Find in logs"; typing counts the matches, Enter moves, Esc closes find
    // before the sheet.
    function test_findCountsAndMoves() {
        const sheet = createTemporaryObject(sheetComponent, testCase);
        const log = Fixtures.log(30);
        sheet.show(log, "web-1");
        tryVerify(() => sheet.opened);
        keySequence(StandardKey.Find);
        const field = findChild(sheet.contentItem, "findField");
        tryVerify(() => field.activeFocus);
        compare(field.Accessible.name, "Find in logs");
        keyClick("2");
        keyClick("9");
        const status = findChild(sheet.contentItem, "findStatus");
        compare(status.text, "1 of 1");
        keyClick(Qt.Key_Backspace);
        compare(status.text, "13 of 13");   // the newest is current: readers are at the end
        keyClick(Qt.Key_Return);
        compare(status.text, "1 of 13");
        keyClick(Qt.Key_Return, Qt.ShiftModifier);
        compare(status.text, "13 of 13");
        keyClick("x");
        compare(status.text, "No matches");

        keyClick(Qt.Key_Escape);
        verify(!field.visible);
        verify(sheet.opened, "Esc closed find, not the sheet");
        keyClick(Qt.Key_Escape);
        tryVerify(() => !sheet.opened);
    }
}
