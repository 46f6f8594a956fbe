pragma ComponentBehavior: Bound
import QtQuick
import Korvat

// The runtime's images.
KorListView {
    id: list

    required property Shell shell
    required property AppStore store

    objectName: "imagesList"
    model: shell.images
    Accessible.name: "Images"

    delegate: PlainRow {
        required property string reference
        required property string shortId
        required property string size

        width: list.rowWidth
        title: reference
        detail: shortId + "  ·  " + size
        iconName: "opticaldisc"
    }
}
