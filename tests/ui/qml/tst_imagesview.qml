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
}
