import QtQuick
import QtTest
import Korvat

TestCase {
    id: testCase

    property string error: ""
    property string notice: ""
    property string update: ""
    property int settingsOpened: 0

    name: "Banners"
    when: windowShown
    visible: true
    width: 700
    height: 400

    Component {
        id: banners

        Banners {
            width: 600
            errorText: testCase.error
            noticeText: testCase.notice
            updateText: testCase.update
            onDismissError: testCase.error = ""
            onDismissNotice: testCase.notice = ""
            onDismissUpdate: testCase.update = ""
            onOpenSettings: testCase.settingsOpened++
        }
    }

    function banner(root, name) {
        return findChild(root, name);
    }

    function button(parentItem, label) {
        for (let i = 0; i < parentItem.children.length; ++i) {
            const child = parentItem.children[i];
            if (child.text === label && child.clicked !== undefined)
                return child;
            const found = button(child, label);
            if (found)
                return found;
        }
        return null;
    }

    function init() {
        error = "";
        notice = "";
        update = "";
        settingsOpened = 0;
    }

    function test_nothingToSay() {
        const b = createTemporaryObject(banners, testCase);
        verify(!b.visible);
    }

    function test_orderAndDismissal() {
        error = "Error response from daemon: no such container";
        notice = "staging is not answering — switched to default.";
        update = "Docker Compose 2.30.3 is available";
        const b = createTemporaryObject(banners, testCase);
        waitForRendering(b);
        const e = banner(b, "errorBanner"), n = banner(b, "noticeBanner"), u = banner(b, "updateBanner");
        verify(e.visible && n.visible && u.visible);
        verify(e.y < n.y && n.y < u.y, "error, then notice, then update");

        mouseClick(button(e, "Dismiss"));
        verify(!e.visible);
        verify(n.visible && u.visible);
        waitForRendering(b);
        verify(n.y < u.y);

        mouseClick(button(u, "Update in Settings"));
        compare(settingsOpened, 1);
        mouseClick(button(u, "Dismiss"));
        verify(!u.visible);
        verify(n.visible);
        compare(notice, "staging is not answering — switched to default.");
    }
}
