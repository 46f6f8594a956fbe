pragma ComponentBehavior: Bound
import QtQuick
import Korvat

// A card per compose project, then one for the containers that belong to none.
KorListView {
    id: list

    required property Shell shell
    required property AppStore store

    signal containerAction(int verb, string id, string detail)
    signal projectAction(int verb, string name, string detail)

    objectName: "projectsList"
    Accessible.name: "Projects"
    model: shell.projects
    rowCounts: () => list.shell.projects.rowCounts(true)
    spacing: 12
    topMargin: 14
    bottomMargin: 16
    leftMargin: 14
    rightMargin: 14

    delegate: ProjectCard {
        id: card

        width: list.rowWidth
        busy: list.store.busy
        onProjectAction: (verb, detail) => list.projectAction(verb, card.key, detail)
        onContainerAction: (verb, id, detail) => list.containerAction(verb, id, detail)
        onStopWork: id => list.shell.work.stop(id)
    }
}
