import QtQuick
import QtTest
import Korvat
import KorvatTest

TestCase {
    id: testCase

    name: "Sheets"
    when: windowShown
    visible: true
    width: 1000
    height: 700

    Component {
        id: sheets

        Sheets {
            anchors.fill: parent
        }
    }
    Component {
        id: containers

        ContainersView {
            width: 1000
            height: 700
        }
    }
    Component {
        id: deleteSheet

        DeleteProjectSheet {}
    }

    function test_asksFirst_data() {
        return [
            { tag: "down", verb: Verb.Down, subject: "storefront", sheet: "confirmDown", title: "Take storefront down?",
              message: "Removes the 3 containers and the project network. Named volumes are kept, and the project stays in Korvat so Up can bring it back." },
            { tag: "prune images", verb: Verb.PruneImages, subject: "", sheet: "confirmPrune", title: "Prune unused images?",
              message: "Removes every dangling image: untagged, and used by no container. Tagged images stay." },
            { tag: "prune volumes", verb: Verb.PruneVolumes, subject: "", sheet: "confirmPrune", title: "Prune unused volumes?",
              message: "Removes the volumes no container uses, with their data. This cannot be undone." },
        ];
    }

    // A verb that destroys opens its confirmation, and Escape confirms nothing.
    function test_asksFirst(data) {
        Fixtures.shell("asks");
        const actions = Fixtures.actions();
        const host = createTemporaryObject(sheets, testCase, { actions: actions, store: Fixtures.store() });
        const confirm = findChild(host, data.sheet);
        actions.perform(data.verb, data.subject);
        tryVerify(() => confirm.opened);
        compare(confirm.title, data.title);
        compare(findChild(confirm.contentItem, "message").text, data.message);
        const confirmed = signalSpy.createObject(testCase, { target: confirm, signalName: "confirmed" });
        keyClick(Qt.Key_Escape);
        tryVerify(() => !confirm.visible);
        compare(confirmed.count, 0);
    }

    function test_primaryFollowsState() {
        const view = createTemporaryObject(containers, testCase, { shell: Fixtures.shell("rows"), store: Fixtures.store() });
        waitForRendering(view);
        const labels = {};
        const items = view.contentItem.children;
        for (let i = 0; i < items.length; ++i) {
            if (items[i].containerId !== undefined)
                labels[items[i].name] = findChild(items[i], "primary").text;
        }
        compare(labels["storefront-php-1"], "Stop");
        compare(labels["website-cache-1"], "Resume");
        compare(labels["storefront-worker-1"], "Start");
        compare(labels["scratchpad"], "Start");
    }

    function test_deleteSheet_data() {
        return [
            { tag: "planned", kind: "planned", sections: [true, true, true, true], label: "Delete 2 containers + 1 volume", trashed: "Delete 2 containers + 1 volume + files" },
            { tag: "nothing left", kind: "empty", sections: [false, false, false, false], label: "Remove from Korvat", trashed: "" },
            { tag: "still planning", kind: "unplanned", sections: [false, false, false, false], label: "Delete", trashed: "" },
        ];
    }

    function test_deleteSheet(data) {
        const sheet = createTemporaryObject(deleteSheet, testCase);
        const deletion = Fixtures.deletion(data.kind);
        sheet.show(deletion);
        tryVerify(() => sheet.opened);
        const names = ["containersSection", "volumesSection", "keptSection", "filesSection"];
        compare(names.map(n => findChild(sheet.contentItem, n).visible), data.sections);
        const button = findChild(sheet.contentItem, "deleteButton");
        compare(button.text, data.label);
        compare(button.enabled, data.kind !== "unplanned");
        if (data.trashed !== "") {
            mouseClick(findChild(sheet.contentItem, "moveToTrash"));
            compare(deletion.trashDirectory, true);
            compare(button.text, data.trashed);
            mouseClick(findChild(sheet.contentItem, "moveToTrash"));
            compare(button.text, data.label);
        }
        sheet.close();
    }

    Component {
        id: signalSpy

        SignalSpy {}
    }
}
