import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "ProjectCard"
    when: windowShown
    visible: true
    width: 1000
    height: 1800

    Component {
        id: projects

        ProjectsView {
            width: 1000
            height: 1800
        }
    }
    SignalSpy {
        id: projectActions

        signalName: "projectAction"
    }
    SignalSpy {
        id: containerActions

        signalName: "containerAction"
    }
    Rectangle {
        id: after

        activeFocusOnTab: true
    }

    function card(view, name) {
        const items = view.contentItem.children;
        for (let i = 0; i < items.length; ++i) {
            if (items[i].name === name && items[i].loose !== undefined)
                return items[i];
        }
        return null;
    }

    // The states themselves are C++ rules with a table of their own; here, that a card shows
    // its state and lets compose act only where the rule says, and that a card whose
    // services run images that moved on says so and offers their pull.
    function test_state_data() {
        return [
            { tag: "no compose file", project: "notes", badge: "No compose file", compose: false, newer: "" },
            { tag: "running", project: "storefront", badge: "", compose: true, newer: "" },
            { tag: "newer, no compose file", project: "notes", badge: "No compose file", compose: false, newer: "1 service has a newer image" },
            { tag: "newer images", project: "storefront", badge: "", compose: true, newer: "2 services have newer images" },
        ];
    }

    function test_state(data) {
        const shell = Fixtures.shell("cards");
        const view = createTemporaryObject(projects, testCase, { shell: shell, store: Fixtures.store() });
        waitForRendering(view);
        const c = card(view, data.project);
        verify(c, data.project);
        const badge = findChild(c, "stateBadge");
        compare(badge.visible, data.badge !== "");
        compare(badge.text, data.badge);
        compare(findChild(c, "help").visible, c.help !== "");
        compare(findChild(c, "up").enabled, data.compose);
        compare(findChild(c, "down").enabled, data.compose);

        projectActions.clear();
        projectActions.target = view;
        mouseClick(findChild(c, "up"));
        compare(projectActions.count, data.compose ? 1 : 0);

        c.newerLine = data.newer;
        const newer = findChild(c, "newerLine");
        compare(newer.visible, data.newer !== "");
        if (data.newer === "")
            return;
        waitForRendering(view);
        const pull = findChild(c, "pullNewer");
        compare(pull.enabled, data.compose);
        projectActions.clear();
        mouseClick(pull);
        compare(projectActions.count, data.compose ? 1 : 0);
        if (data.compose)
            compare(projectActions.signalArguments[0][0], Verb.PullNewer);
    }

    function test_looseCardComesLast() {
        const shell = Fixtures.shell("loose");
        const view = createTemporaryObject(projects, testCase, { shell: shell, store: Fixtures.store() });
        compare(view.count, 8);
        view.positionViewAtEnd();
        waitForRendering(view);
        const c = card(view, "Not in a project");
        verify(c && c.loose);
        compare(c.total, 2);
        verify(!findChild(c, "up").visible);
    }

    // What the owner's menu offers, a submenu's items after its title.
    function menuTexts(owner) {
        mouseClick(findChild(owner, "more"));
        tryVerify(() => owner.menu !== null && owner.menu.opened);
        const texts = [];
        for (let i = 0; i < owner.menu.count; ++i) {
            const item = owner.menu.itemAt(i);
            if (item.visible)
                texts.push(item.text);
            for (let j = 0; item.subMenu && j < item.subMenu.count; ++j)
                texts.push("  " + item.subMenu.itemAt(j).text);
        }
        owner.menu.close();
        tryVerify(() => owner.menu === null);
        return texts;
    }

    function rowNamed(item, name) {
        for (let i = 0; i < item.children.length; ++i) {
            const child = item.children[i];
            const found = child.keyButtons !== undefined && child.name === name ? child : rowNamed(child, name);
            if (found)
                return found;
        }
        return null;
    }

    function test_menus() {
        const shell = Fixtures.shell("menus");
        const view = createTemporaryObject(projects, testCase, { shell: shell, store: Fixtures.store() });
        waitForRendering(view);
        const storefront = card(view, "storefront");
        compare(menuTexts(storefront), ["Pull newer images", "Show compose file", "Start all", "Stop all", "Mute failure notifications", "Reveal in File Manager", "Locate compose file…", "Remove from Korvat", "Delete project…"]);
        // One published port is one item; two are a submenu; none, no item.
        // A service's own compose actions, where compose may act.
        compare(menuTexts(rowNamed(storefront, "storefront-php-1")),
                ["Pause", "Open in Terminal", "Open in browser", "Service php", "  Up", "  Start", "  Stop", "  Restart", "  Logs", "Details", "Copy container ID", "Commit to image…", "Remove"]);
        view.positionViewAtEnd();
        waitForRendering(view);
        compare(menuTexts(rowNamed(card(view, "legacy"), "legacy-api-1")),
                ["Pause", "Open in Terminal", "Open in browser", "  localhost:3000", "  127.0.0.1:9229", "Details", "Copy container ID", "Commit to image…", "Remove"]);

        // A newer image is pulled from a lone container's menu; a project's through compose.
        const legacy = rowNamed(card(view, "legacy"), "legacy-api-1");
        legacy.newer = true;
        verify(!menuTexts(legacy).includes("Pull newer image"));
        const agent = rowNamed(card(view, "Not in a project"), "backup-agent");
        verify(!menuTexts(agent).includes("Pull newer image"));
        agent.newer = true;
        // It would not come back after a restart either: a lone container is fixed in place.
        tryVerify(() => agent.keepable);
        compare(menuTexts(agent).slice(2, 5), ["Pull newer image", "Keep running after restarts", "Details"]);
        containerActions.clear();
        containerActions.target = view;
        for (const [item, verb] of [["Pull newer image", Verb.PullNewerImage], ["Keep running after restarts", Verb.KeepRunning]]) {
            mouseClick(findChild(agent, "more"));
            tryVerify(() => agent.menu !== null && agent.menu.opened);
            const menu = agent.menu;
            for (let i = 0; i < menu.count; ++i)
                if (menu.itemAt(i).text === item) { menu.itemAt(i).triggered(); break; }
            compare(Array.from(containerActions.signalArguments[containerActions.count - 1]), [verb, agent.containerId, ""]);
            menu.close();
            tryVerify(() => agent.menu === null);
        }
    }

    // The list is one Tab stop: the arrows walk cards and their rows, Left/Right the buttons.
    function test_keyboardWalk() {
        const shell = Fixtures.shell("keys");
        const view = createTemporaryObject(projects, testCase, { shell: shell, store: Fixtures.store(), height: 600 });
        waitForRendering(view);
        containerActions.clear();
        containerActions.target = view;
        view.forceActiveFocus(Qt.TabFocusReason);
        verify(view.itemAtIndex(0).activeFocus);
        // Cards without containers are one stop each.
        const k = view.rowCounts().findIndex(n => n > 0);
        for (let i = 0; i < k; ++i)
            keyClick(Qt.Key_Down);
        const first = view.itemAtIndex(k);
        verify(first.activeFocus);

        keyClick(Qt.Key_Down);
        const row = first.rowAt(0);
        verify(row.activeFocus);
        keyClick(Qt.Key_Right);
        keyClick(Qt.Key_Right);
        verify(row.keyButtons[1].activeFocus && row.keyButtons[1].visualFocus);
        keyClick(Qt.Key_Return);
        compare(containerActions.count, 1);
        compare(Array.from(containerActions.signalArguments[0]), [Verb.Restart, row.containerId, ""]);
        keyClick(Qt.Key_Left);
        keyClick(Qt.Key_Left);
        verify(row.activeFocus);
        keyClick(Qt.Key_Space);
        compare(Array.from(containerActions.signalArguments[1]), [Verb.Primary, row.containerId, ""]);

        keyClick(Qt.Key_F10, Qt.ShiftModifier);
        tryVerify(() => row.menu !== null && row.menu.opened);
        const texts = [];
        for (let i = 0; i < row.menu.count; ++i) {
            if (row.menu.itemAt(i).visible)
                texts.push(row.menu.itemAt(i).text);
        }
        compare(texts.slice(1, 4), ["Restart", "Logs", "Run a command"]);
        compare(texts[texts.length - 1], "Remove");
        keyClick(Qt.Key_Escape);
        tryVerify(() => row.menu === null);
        verify(row.activeFocus);

        // Past the card's last row to the next card; End to the very last stop.
        for (let i = 0; i < first.containers.count; ++i)
            keyClick(Qt.Key_Down);
        verify(view.itemAtIndex(k + 1).activeFocus);
        keyClick(Qt.Key_End);
        const last = view.itemAtIndex(view.count - 1);
        verify(last.containers.count === 0 ? last.activeFocus : last.rowAt(last.containers.count - 1).activeFocus);

        keyClick(Qt.Key_Tab);
        verify(!view.activeFocus);
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        // Back in, the keyboard is where it left.
        verify(view.stopItem(view.stop).activeFocus && view.stop.x === view.count - 1);
    }
}
