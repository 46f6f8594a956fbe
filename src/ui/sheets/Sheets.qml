import QtQuick
import Korvat

// The window's sheets, each opened when the actions ask for it.
Item {
    id: root

    required property Actions actions
    required property AppStore store

    Connections {
        target: root.actions

        function onLogsRequested(source: LogFollower, title: string) {
            logs.show(source, title);
        }
        function onDetailsRequested(target: Inspection) {
            details.show(target);
        }
        function onConsoleRequested(target: ExecConsole) {
            exec.show(target);
        }
        function onCommitRequested(id: string, name: string) {
            commit.show(id, name);
        }
        function onDeletionRequested(target: ProjectDeletion) {
            deletion.show(target);
        }
        function onReclaimRequested(target: Reclaiming) {
            reclaim.show(target);
        }
        function onComposeFileRequested(target: ComposeFileState) {
            composeFile.show(target);
        }
        function onDownRequested(project: string, confirmation: string) {
            confirmDown.project = project;
            confirmDown.message = confirmation;
            confirmDown.open();
        }
        function onVolumeRemovalRequested(volume: string, message: string) {
            confirmVolume.volume = volume;
            confirmVolume.message = message;
            confirmVolume.open();
        }
        function onImagePullRequested(container: string, title: string, message: string) {
            confirmPull.container = container;
            confirmPull.title = title;
            confirmPull.message = message;
            confirmPull.open();
        }
        function onRestartLinesRequested(title: string, message: string, lines: string) {
            restartLines.title = title;
            restartLines.message = message;
            restartLines.snippet = lines;
            restartLines.open();
        }
        function onPruneRequested(images: bool) {
            confirmPrune.images = images;
            // Named when asked: the engine it goes to is the one selected now.
            confirmPrune.title = root.actions.pruneTitle(images);
            confirmPrune.open();
        }
    }

    LogsSheet {
        id: logs

        actions: root.actions
    }
    DetailsSheet {
        id: details

        actions: root.actions
    }
    ExecSheet {
        id: exec

        actions: root.actions
    }
    CommitSheet {
        id: commit

        busy: root.store.busy
        onCommit: (id, imageName) => root.actions.commit(id, imageName)
    }
    DeleteProjectSheet {
        id: deletion
    }
    ReclaimSheet {
        id: reclaim
    }
    ComposeFileSheet {
        id: composeFile

        actions: root.actions
    }
    ConfirmSheet {
        id: confirmDown

        property string project: ""

        objectName: "confirmDown"
        title: "Take " + root.actions.named(project) + " down?"
        confirmText: "Down"
        onConfirmed: root.actions.down(confirmDown.project)
    }
    ConfirmSheet {
        id: confirmVolume

        property string volume: ""

        objectName: "confirmVolume"
        title: "Remove " + root.actions.named(volume) + "?"
        confirmText: "Remove"
        alternativeText: "Back up first…"
        onConfirmed: root.actions.removeVolume(confirmVolume.volume)
        onAlternative: root.actions.backUpFirst(confirmVolume.volume)
    }
    ConfirmSheet {
        id: confirmPull

        property string container: ""

        objectName: "confirmPull"
        confirmText: "Pull"
        confirmVariant: "accent"
        onConfirmed: root.actions.pullNewerImage(confirmPull.container)
    }
    ConfirmSheet {
        id: restartLines

        objectName: "restartLines"
        confirmText: "Copy"
        confirmVariant: "accent"
        onConfirmed: root.actions.copyPlain(restartLines.snippet)
    }
    ConfirmSheet {
        id: confirmPrune

        property bool images: true

        objectName: "confirmPrune"
        message: images ? "Removes every dangling image: untagged, and used by no container. Tagged images stay."
                        : "Removes the volumes no container uses, with their data. This cannot be undone."
        confirmText: "Prune"
        onConfirmed: confirmPrune.images ? root.actions.pruneImages() : root.actions.pruneVolumes()
    }
}
