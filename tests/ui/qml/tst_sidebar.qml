import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "Sidebar"
    when: windowShown
    visible: true
    width: 220
    height: 500

    Component {
        id: sidebar

        Sidebar {
            required property Shell shell

            width: 210
            height: 480
            categories: shell.categories
            counts: shell.counts
            spokenCounts: shell.spokenCounts
            current: shell.category
            runningText: shell.runningText
            stoppedText: shell.stoppedText
            onPicked: category => shell.category = category
        }
    }

    function navItems(root) {
        const items = [];
        const visit = item => {
            for (let i = 0; i < item.children.length; ++i) {
                const child = item.children[i];
                if (child.iconName !== undefined && child.count !== undefined)
                    items.push(child);
                visit(child);
            }
        };
        visit(root);
        return items;
    }

    function test_countsAndCounters() {
        const shell = Fixtures.shell("counts");
        const s = createTemporaryObject(sidebar, testCase, { shell: shell });
        const items = navItems(s);
        compare(items.map(i => i.label), ["Projects", "Containers", "Images", "Volumes", "Networks"]);
        compare(items.map(i => i.count), [7, 10, 10, 5, 6]);
        compare(items[1].Accessible.name, "Containers, 10");
        compare(shell.runningText, "6 RUNNING");
        compare(shell.stoppedText, "4 STOPPED");
    }

    function test_sectionIsKept() {
        const first = Fixtures.shell("kept");
        compare(first.category, 0);
        const s = createTemporaryObject(sidebar, testCase, { shell: first });
        const items = navItems(s);
        mouseClick(items[2]);
        compare(first.category, 2);
        verify(items[2].current && !items[0].current);
        compare(Fixtures.stored("kept", "category"), "images");

        // The next launch opens on the same section.
        const second = Fixtures.shell("kept");
        compare(second.category, 2);
        compare(second.categoryLabel, "Images");
    }

    // The sidebar is one stop: Tab lands on the section shown, the arrows and Home/End walk
    // the sections and then the disk counters without picking, Enter and Space pick.
    function test_keyboard_data() {
        return [
            { tag: "tab lands on the section shown", shown: 2, keys: [], focused: 2, picked: 2 },
            { tag: "down walks without picking", shown: 0, keys: [Qt.Key_Down, Qt.Key_Down], focused: 2, picked: 0 },
            { tag: "up stops at the first", shown: 1, keys: [Qt.Key_Up, Qt.Key_Up], focused: 0, picked: 1 },
            { tag: "the counters come last", shown: 4, keys: [Qt.Key_Down, Qt.Key_Down], focused: 5, picked: 4 },
            { tag: "home and end", shown: 3, keys: [Qt.Key_End, Qt.Key_Home], focused: 0, picked: 3 },
            { tag: "enter picks", shown: 0, keys: [Qt.Key_Down, Qt.Key_Return], focused: 1, picked: 1 },
            { tag: "space picks the counters", shown: 1, keys: [Qt.Key_End, Qt.Key_Space], focused: 5, picked: 5 },
        ];
    }

    function test_keyboard(data) {
        const shell = Fixtures.shell("keys");
        shell.category = data.shown;
        const s = createTemporaryObject(sidebar, testCase, { shell: shell });
        const stops = navItems(s).concat([findChild(s, "diskFooter")]);
        s.forceActiveFocus(Qt.TabFocusReason);
        for (const key of data.keys)
            keyClick(key);
        compare(stops.findIndex(stop => stop.activeFocus), data.focused);
        verify(stops[data.focused].visualFocus);
        compare(shell.category, data.picked);
        compare(stops.findIndex(stop => stop.current), data.picked);
    }
}
