import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "Settings"
    when: windowShown
    visible: true
    width: 200
    height: 200

    Component {
        id: settingsWindow

        SettingsWindow {}
    }

    function cleanup() {
        Fixtures.dropTools();
    }

    function rows(window) {
        const found = {};
        const visit = item => {
            for (let i = 0; i < item.children.length; ++i) {
                const child = item.children[i];
                if (child.formula !== undefined && child.actionLabel !== undefined)
                    found[child.formula] = child;
                visit(child);
            }
        };
        visit(window.contentItem);
        return found;
    }

    function test_toolRowsFollowTheirVersions() {
        const window = createTemporaryObject(settingsWindow, testCase, { settings: Fixtures.settings("sample") });
        window.show();
        tryVerify(() => window.visible);
        const r = rows(window);
        compare(findChild(r["container"], "toolBadge").text, "update");
        compare(findChild(r["container"], "toolAction").text, "Update");
        compare(findChild(r["socktainer"], "toolBadge").text, "not installed");
        compare(findChild(r["socktainer"], "toolAction").text, "Install");
        compare(findChild(r["docker"], "toolAction").text, "Release notes");
        compare(findChild(r["docker-compose"], "toolBadge").text, "up to date");
        compare(findChild(r["docker-compose"], "toolAction").text, "Homepage");
        verify(findChild(window.contentItem, "statusLine").text.startsWith("SERVICES RUNNING · SERVER 0.5.0 · CHECKED "));
    }

    // A remote runtime is a row whose switch, read aloud by its name, remembers the choice;
    // this machine's runtimes are watched anyway and get none. How often newer images are
    // looked for is remembered by the setting's own names, every 6 hours until chosen.
    function test_remoteEnginesAreWatchedByName_data() {
        return [
            { tag: "one on another machine", kind: "sample", rows: ["staging"], note: "", schedule: 3, stored: "hourly" },
            { tag: "only this machine's", kind: "probe", rows: [], note: "No remote contexts. Add one with docker context create.", schedule: 0, stored: "off" },
        ];
    }

    function test_remoteEnginesAreWatchedByName(data) {
        const settings = Fixtures.settings(data.kind);
        const window = createTemporaryObject(settingsWindow, testCase, { settings: settings });
        window.show();
        tryVerify(() => window.visible);
        const note = findChild(window.contentItem, "remoteEnginesNote");
        compare(note.visible ? note.text : "", data.note);
        compare(settings.remoteEngines.count, data.rows.length);
        for (const name of data.rows) {
            const toggle = findChild(window.contentItem, "watch-" + name);
            compare(toggle.Accessible.name, "Watch " + name);
            verify(!toggle.checked);
            mouseClick(toggle);
            tryVerify(() => toggle.checked);
            compare(Fixtures.stored("settings-" + data.kind, "watchedRemotes"), name);
        }

        const schedule = findChild(window.contentItem, "newerSchedule");
        compare(schedule.displayText, "Every 6 hours");
        schedule.activated(data.schedule);
        compare(Fixtures.stored("settings-" + data.kind, "newerImagesSchedule"), data.stored);
        compare(schedule.currentIndex, data.schedule);
        const notify = findChild(window.contentItem, "notifyNewerImages");
        verify(notify.checked);
        mouseClick(notify);
        compare(Fixtures.stored("settings-" + data.kind, "notifyNewerImages"), "false");
    }

    function test_checkingDisablesTheButton() {
        const settings = Fixtures.settings("slow");
        compare(settings.statusLine, "SERVICES STOPPED · NOT CHECKED");
        const window = createTemporaryObject(settingsWindow, testCase, { settings: settings });
        const button = findChild(window.contentItem, "checkButton");
        compare(button.text, "Check for updates");
        settings.check();
        tryVerify(() => settings.checking);
        compare(button.text, "Checking");
        verify(!button.enabled);
        tryVerify(() => !settings.checking, 10000);
        compare(button.text, "Check for updates");
        verify(button.enabled);
    }

    function test_jobSheetShowsAFailingJob() {
        const settings = Fixtures.settings("sample");
        const window = createTemporaryObject(settingsWindow, testCase, { settings: settings });
        window.show();
        const run = Fixtures.failingJob();
        settings.jobOpened(run);
        const runSheet = findChild(window.contentItem, "runSheet");
        tryVerify(() => run.finished, 10000);
        compare(run.exitStatus, 3);
        const output = findChild(runSheet.contentItem, "jobOutput");
        verify(output.text.startsWith("$ brew upgrade container\n"), output.text);
        verify(output.text.includes("upgrading container"));
        verify(output.text.includes("no bottle"));
        compare(findChild(runSheet.contentItem, "jobState").text, "EXIT STATUS 3");
        compare(findChild(runSheet.contentItem, "jobButton").text, "Close");
        runSheet.close();
    }
}
