import QtQuick
import Korvat

// The detail area: the selected section's view, or its empty state. Only the shown view
// exists; its clicks come out of here as action names.
Item {
    id: root

    required property Shell shell
    required property AppStore store
    readonly property bool showsRows: shell.sectionCount > 0
    // Images and volumes keep their bars (pull, prune) and show their own empty state.
    readonly property bool ownEmptyState: shell.category >= 2
    readonly property var views: ["ProjectsView.qml", "ContainersView.qml", "ImagesView.qml", "VolumesView.qml"]

    signal containerAction(string kind, string id)
    signal projectAction(string kind, string name)
    signal imageAction(string kind, string id, string reference)
    signal volumeAction(string kind, string name)

    function load() {
        if (root.showsRows || root.ownEmptyState)
            loader.setSource(root.views[root.shell.category], {shell: root.shell, store: root.store});
    }

    Loader {
        id: loader

        anchors.fill: parent
        active: root.showsRows || root.ownEmptyState
        Component.onCompleted: root.load()
        onActiveChanged: root.load()
    }
    Connections {
        function onCategoryChanged() {
            root.load();
        }

        target: root.shell
    }
    Connections {
        function onContainerAction(kind: string, id: string) {
            root.containerAction(kind, id);
        }
        function onProjectAction(kind: string, name: string) {
            root.projectAction(kind, name);
        }
        function onImageAction(kind: string, id: string, reference: string) {
            root.imageAction(kind, id, reference);
        }
        function onVolumeAction(kind: string, name: string) {
            root.volumeAction(kind, name);
        }

        target: loader.item
        ignoreUnknownSignals: true
    }
    EmptyState {
        anchors.fill: parent
        visible: !root.showsRows && !root.ownEmptyState
        iconName: root.shell.emptyIcon
        title: root.shell.categoryLabel
        detail: root.shell.emptyDetail
        filtering: root.shell.filtering
        onClearFilter: root.shell.clearFilter()
    }
}
