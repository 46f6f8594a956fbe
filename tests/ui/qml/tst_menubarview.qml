import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "MenuBarView"
    when: windowShown
    visible: true
    width: 100
    height: 100

    Component {
        id: panelComponent

        MenuBarView {}
    }

    function open(settingsName) {
        const shell = Fixtures.shell(settingsName);
        const panel = createTemporaryObject(panelComponent, testCase, {
            shell: shell, store: Fixtures.store(), toolchain: Fixtures.toolchain(), actions: Fixtures.actions()
        });
        panel.show();
        waitForRendering(panel.contentItem);
        return panel;
    }

    function collect(item, test, out) {
        for (let i = 0; i < item.children.length; ++i) {
            if (test(item.children[i]))
                out.push(item.children[i]);
            collect(item.children[i], test, out);
        }
        return out;
    }

    function test_groupsAndRows() {
        const panel = open("panel");
        const list = findChild(panel.contentItem, "panelGroups");
        list.height = 2000;
        waitForRendering(panel.contentItem);
        const groups = collect(list.contentItem, c => c.objectName === "groupName" && c.visible, []).map(c => c.text);
        compare(groups, ["ARCHIVE", "BILLING", "DOCS", "LEGACY", "NOTES", "STOREFRONT", "WEBSITE", "OTHER"]);
        const rows = {};
        collect(list.contentItem, c => c.containerId !== undefined && c.actionLabel !== undefined, [])
            .forEach(r => rows[r.name] = findChild(r, "rowAction").text);
        compare(rows["storefront-db-1"], "Stop");
        compare(rows["website-cache-1"], "Resume");
        compare(rows["storefront-worker-1"], "Start");
        compare(rows["scratchpad"], "Start");
        compare(rows["backup-agent"], "Stop");
        verify(!findChild(panel.contentItem, "noContainers").visible);
        compare(findChild(panel.contentItem, "runningCount").text, "6 running");

        // The keyboard passes over the captions and the groups with nothing in them.
        panel.requestActivate();
        list.forceActiveFocus(Qt.TabFocusReason);
        compare(panel.activeFocusItem.name, "docs-site-1");
        keyClick(Qt.Key_Down);
        compare(panel.activeFocusItem.name, "legacy-api-1");
    }

    function test_nothingToList() {
        const panel = open("panel-empty");
        verify(findChild(panel.contentItem, "noContainers").visible);
        compare(findChild(panel.contentItem, "noContainers").text, "No containers");
        verify(!findChild(panel.contentItem, "updateLine").parent.visible);
    }

    function test_openKorvat() {
        const panel = open("panel-open");
        const spy = createTemporaryObject(spyComponent, testCase, { target: panel, signalName: "openMain" });
        mouseClick(findChild(panel.contentItem, "openKorvat"));
        compare(spy.count, 1);
        verify(!panel.visible);
    }

    Component {
        id: spyComponent

        SignalSpy {}
    }
}
