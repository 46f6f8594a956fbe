pragma ComponentBehavior: Bound
import QtQuick
import Korvat

// A card per compose project, then one for the containers that belong to none.
KorListView {
    id: list

    required property Shell shell
    required property AppStore store

    signal containerAction(string kind, string id)
    signal projectAction(string kind, string name)

    objectName: "projectsList"
    Accessible.name: "Projects"
    model: shell.projects
    spacing: 12
    topMargin: 14
    bottomMargin: 16
    leftMargin: 14
    rightMargin: 14

    delegate: ProjectCard {
        id: card

        width: list.rowWidth
        busy: list.store.busy
        onProjectAction: kind => list.projectAction(kind, card.name)
        onContainerAction: (kind, id) => list.containerAction(kind, id)
    }
}
