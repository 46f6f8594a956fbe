pragma ComponentBehavior: Bound
import QtQuick
import Korvat

// Every matching container, with the project it belongs to.
KorListView {
    id: list

    required property Shell shell
    required property AppStore store

    signal containerAction(int verb, string id, string detail)
    signal projectAction(int verb, string name, string detail)

    objectName: "containersList"
    Accessible.name: "Containers"
    model: shell.containers

    delegate: ContainerRow {
        id: row

        required property string terminalCommand

        width: list.rowWidth
        showProject: true
        shownIn: list.shell.containers
        busy: list.store.busy
        terminalHelp: terminalCommand
        onAction: (verb, detail) => list.containerAction(verb, row.containerId, detail)
    }
}
