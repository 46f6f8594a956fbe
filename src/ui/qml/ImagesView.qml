pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// The runtime's images.
ListView {
    id: list

    objectName: "imagesList"
    clip: true
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Images"
    ScrollBar.vertical: ScrollBar {}

    delegate: PlainRow {
        required property string reference
        required property string shortId
        required property string size

        width: ListView.view.width
        title: reference
        detail: shortId + "  ·  " + size
        iconName: "opticaldisc"
    }
}
