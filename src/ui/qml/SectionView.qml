import QtQuick
import Korvat

// The detail area: the selected section's view, or its empty state. Only the shown view exists.
Item {
    id: root

    required property Shell shell
    readonly property bool showsRows: shell.sectionCount > 0
    readonly property var views: ["ProjectsView.qml", "ContainersView.qml", "ImagesView.qml", "VolumesView.qml"]
    readonly property var models: [shell.projects, shell.containers, shell.images, shell.volumes]

    Loader {
        id: loader

        anchors.fill: parent
        anchors.leftMargin: 8
        anchors.rightMargin: 8
        active: root.showsRows
        // The models never change identity, so the view is given its own once.
        Component.onCompleted: setSource(root.views[root.shell.category], {model: root.models[root.shell.category]})
        onActiveChanged: if (active) setSource(root.views[root.shell.category], {model: root.models[root.shell.category]})

        Connections {
            function onCategoryChanged() {
                loader.setSource(root.views[root.shell.category], {model: root.models[root.shell.category]});
            }

            target: root.shell
        }
    }
    EmptyState {
        anchors.fill: parent
        visible: !root.showsRows
        iconName: root.shell.emptyIcon
        title: root.shell.categoryLabel
        detail: root.shell.emptyDetail
        filtering: root.shell.filtering
        onClearFilter: root.shell.clearFilter()
    }
}
