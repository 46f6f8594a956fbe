import QtQuick
import Korvat

// The detail area: the selected section's view, or its empty state. Only the shown view
// exists; its clicks come out of here as action names.
Item {
    id: root

    required property Shell shell
    required property AppStore store
    readonly property bool showsRows: shell.sectionCount > 0
    readonly property bool ownEmptyState: shell.sectionOwnsEmptyState

    signal containerAction(int verb, string id, string detail)
    signal projectAction(int verb, string name, string detail)
    signal imageAction(int verb, string id, string reference)
    signal volumeAction(int verb, string name)
    signal networkAction(int verb, string name)
    signal diskAction(int verb)

    function load() {
        if (root.showsRows || root.ownEmptyState)
            loader.setSource(root.shell.sectionView, {shell: root.shell, store: root.store});
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
        function onContainerAction(verb: int, id: string, detail: string) {
            root.containerAction(verb, id, detail);
        }
        function onProjectAction(verb: int, name: string, detail: string) {
            root.projectAction(verb, name, detail);
        }
        function onImageAction(verb: int, id: string, reference: string) {
            root.imageAction(verb, id, reference);
        }
        function onVolumeAction(verb: int, name: string) {
            root.volumeAction(verb, name);
        }
        function onNetworkAction(verb: int, name: string) {
            root.networkAction(verb, name);
        }
        function onDiskAction(verb: int) {
            root.diskAction(verb);
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
