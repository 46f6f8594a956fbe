import QtQuick
import Korvat

// The window's sheets, and what each action name a view sends up does: a store call, a
// desktop service, or a sheet.
Item {
    id: root

    required property Actions actions
    required property AppStore store

    signal locateRequested(string project)

    function containerAction(verb: int, id: string) {
        switch (verb) {
        case Verb.Primary:
            return root.actions.primary(id);
        case Verb.Restart:
            return root.actions.restart(id);
        case Verb.TogglePause:
            return root.actions.togglePause(id);
        case Verb.RemoveContainer:
            return root.actions.remove(id);
        case Verb.CopyId:
            return root.actions.copyId(id);
        case Verb.OpenTerminal:
            return root.actions.openTerminal(id);
        case Verb.ContainerLogs:
            return logs.show(root.actions.containerLogs(id), root.actions.containerName(id));
        case Verb.Console:
            return exec.show(root.actions.console(id));
        case Verb.Commit:
            return commit.show(id, root.actions.containerName(id));
        }
    }

    function imageAction(verb: int, id: string, reference: string) {
        switch (verb) {
        case Verb.Pull:
            return root.actions.pull(reference);
        case Verb.RemoveImage:
            return root.actions.removeImage(id, reference);
        case Verb.PruneImages:
            confirmPrune.images = true;
            return confirmPrune.open();
        }
    }

    function volumeAction(verb: int, name: string) {
        switch (verb) {
        case Verb.RemoveVolume:
            return root.actions.removeVolume(name);
        case Verb.PruneVolumes:
            confirmPrune.images = false;
            return confirmPrune.open();
        }
    }

    function projectAction(verb: int, name: string) {
        switch (verb) {
        case Verb.Up:
            return root.actions.up(name);
        case Verb.Down:
            confirmDown.project = name;
            confirmDown.message = root.actions.downConfirmation(name);
            return confirmDown.open();
        case Verb.StartAll:
            return root.actions.startAll(name);
        case Verb.StopAll:
            return root.actions.stopAll(name);
        case Verb.Forget:
            return root.actions.forget(name);
        case Verb.Reveal:
            return root.actions.reveal(name);
        case Verb.Locate:
            return root.locateRequested(name);
        case Verb.ProjectLogs:
            return logs.show(root.actions.projectLogs(name), name);
        case Verb.DeleteProject:
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
