import QtQuick
import QtQuick.Layouts
import QtTest
import Korvat

TestCase {
    id: testCase

    name: "KorButton"
    when: windowShown
    visible: true
    width: 400
    height: 200

    Component {
        id: button

        KorButton {
            text: "Up"
        }
    }
    Component {
        id: row

        RowLayout {
            width: 300

            KorButton {
                text: "Delete"
                wide: true
            }
        }
    }
    SignalSpy {
        id: clicked

        signalName: "clicked"
    }

    function init() {
        clicked.clear();
    }

    function test_disabled() {
        const b = createTemporaryObject(button, testCase, { variant: "accent", enabled: false });
        clicked.target = b;
        mouseClick(b);
        keyClick(Qt.Key_Space);
        compare(clicked.count, 0);
        verify(b.opacity < 1);
        mouseMove(b, b.width / 2, b.height / 2);
        // A disabled accent button does not light up under the pointer.
        verify(Qt.colorEqual(b.fill, Theme.ion));
    }

    function test_iconOnlyIsNamedByItsHelp() {
        const b = createTemporaryObject(button, testCase, { text: "", iconName: "arrow.clockwise", help: "Refresh now" });
        compare(b.Accessible.name, "Refresh now");
        verify(b.width <= 32);
    }

    function test_wideFillsItsRow() {
        const layout = createTemporaryObject(row, testCase);
        waitForRendering(layout);
        compare(layout.children[0].width, 300);
    }
}
