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

    function atEnd(flick) {
        return flick.contentY >= flick.contentHeight - flick.height - 4;
    }

    // New output keeps a reader at the end there, and leaves one who scrolled up alone.
    function test_followsOnlyAtTheEnd() {
        const sheet = createTemporaryObject(sheetComponent, testCase);
        const log = Fixtures.log(200);
        sheet.show(log, "web-1");
        tryVerify(() => sheet.opened);
        const flick = findChild(sheet.contentItem, "logScroll");
        verify(flick.contentHeight > flick.height);
        verify(atEnd(flick));

        Fixtures.more(log, 50);
        verify(atEnd(flick), "kept at the end");

        flick.contentY = 100;
        Fixtures.more(log, 50);
        compare(flick.contentY, 100);

        flick.contentY = flick.contentHeight - flick.height;
        Fixtures.more(log, 50);
        verify(atEnd(flick), "back at the end, followed again");
        sheet.close();
    }
}
