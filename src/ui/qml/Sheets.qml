import QtQuick
import Korvat

// The window's sheets, and what each action name a view sends up does: a store call, a
// desktop service, or a sheet.
Item {
    id: root

    required property Actions actions
    required property AppStore store

    signal locateRequested(string project)

    function containerAction(kind: string, id: string) {
        switch (kind) {
        case "primary":
            return root.actions.primary(id);
        case "restart":
            return root.actions.restart(id);
        case "pause":
            return root.actions.pause(id);
        case "resume":
            return root.actions.unpause(id);
        case "remove":
            return root.actions.remove(id);
        case "copy":
            return root.actions.copyId(id);
        case "terminal":
            return root.actions.openTerminal(id);
        case "logs":
            return logs.show(root.actions.containerLogs(id), root.actions.containerName(id));
        case "console":
            return exec.show(root.actions.console(id));
        case "commit":
            return commit.show(id, root.actions.containerName(id));
        }
    }

    function imageAction(kind: string, id: string, reference: string) {
        switch (kind) {
        case "pull":
            return root.actions.pull(reference);
        case "remove":
            return root.actions.removeImage(id, reference);
        case "prune":
            confirmPrune.images = true;
            return confirmPrune.open();
        }
    }

    function volumeAction(kind: string, name: string) {
        switch (kind) {
        case "remove":
            return root.actions.removeVolume(name);
        case "prune":
            confirmPrune.images = false;
            return confirmPrune.open();
        }
    }

    function projectAction(kind: string, name: string) {
        switch (kind) {
        case "up":
            return root.actions.up(name);
        case "down":
            confirmDown.project = name;
            confirmDown.message = root.actions.downConfirmation(name);
            return confirmDown.open();
        case "startAll":
            return root.actions.startAll(name);
        case "stopAll":
            return root.actions.stopAll(name);
        case "forget":
            return root.actions.forget(name);
        case "reveal":
            return root.actions.reveal(name);
        case "locate":
            return root.locateRequested(name);
        case "logs":
            return logs.show(root.actions.projectLogs(name), name);
        case "delete":
            return deletion.show(root.actions.deletion(name));
        }
    }

    LogsSheet {
        id: logs

        objectName: "logsSheet"
    }
    ExecSheet {
        id: exec

        objectName: "execSheet"
    }
    CommitSheet {
        id: commit

        objectName: "commitSheet"

        busy: root.store.busy
        onCommit: (id, imageName) => root.actions.commit(id, imageName)
    }
    DeleteProjectSheet {
        id: deletion

        objectName: "deleteSheet"
    }
    ConfirmSheet {
        id: confirmDown

        property string project: ""

        objectName: "confirmDown"
        title: "Take " + project + " down?"
        confirmText: "Down"
        onConfirmed: root.actions.down(confirmDown.project)
    }
    ConfirmSheet {
        id: confirmPrune

        property bool images: true

        objectName: "confirmPrune"
        title: images ? "Prune unused images?" : "Prune unused volumes?"
        message: images ? "Removes every dangling image: untagged, and used by no container. Tagged images stay."
                        : "Removes the volumes no container uses, with their data. This cannot be undone."
        confirmText: "Prune"
        onConfirmed: confirmPrune.images ? root.actions.pruneImages() : root.actions.pruneVolumes()
    }
}
