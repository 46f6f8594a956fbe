pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// The runtime's volumes.
ListView {
    id: list

    objectName: "volumesList"
    clip: true
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Volumes"
    ScrollBar.vertical: ScrollBar {}

    delegate: PlainRow {
        required property string name
        required property string driver
        required property string mountpoint

        width: ListView.view.width
        title: name
        detail: driver + "  ·  " + mountpoint
        iconName: "externaldrive"
    }
}
