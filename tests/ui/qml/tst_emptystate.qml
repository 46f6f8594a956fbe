import QtQuick
import QtTest
import Korvat

TestCase {
    id: testCase

    name: "EmptyState"
    when: windowShown
    visible: true
    width: 600
    height: 400

    Component {
        id: empty

        EmptyState {
            anchors.fill: parent
            iconName: "opticaldisc"
            title: "Images"
            detail: "No images on default."
        }
    }
    SignalSpy {
        id: cleared

        signalName: "clearFilter"
    }

    function test_filtering_data() {
        return [
            { tag: "plain", filtering: false },
            { tag: "filtered", filtering: true },
        ];
    }

    function test_filtering(data) {
        cleared.clear();
        const e = createTemporaryObject(empty, testCase, { filtering: data.filtering });
        cleared.target = e;
        const clear = findChild(e, "clearFilter");
        compare(clear.visible, data.filtering);
        if (data.filtering) {
            mouseClick(clear);
            compare(cleared.count, 1);
        }
    }
}
