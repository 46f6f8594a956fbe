pragma ComponentBehavior: Bound
import QtQuick
import Korvat

// The runtime's volumes.
KorListView {
    id: list

    required property Shell shell
    required property AppStore store

    objectName: "volumesList"
    model: shell.volumes
    Accessible.name: "Volumes"

    delegate: PlainRow {
        required property string name
        required property string driver
        required property string mountpoint

        width: list.rowWidth
        title: name
        detail: driver + "  ·  " + mountpoint
        iconName: "externaldrive"
    }
}
