pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// Every matching container, with the project it belongs to.
ListView {
    id: list

    objectName: "containersList"
    clip: true
    spacing: 0
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Containers"
    ScrollBar.vertical: ScrollBar {}

    delegate: PlainRow {
        required property string name
        required property string image
        required property string status
        required property string ports
        required property string project
        required property string dot
        required property bool failed

        width: ListView.view.width
        title: name
        detail: image + (ports !== "" ? "  ·  " + ports : "") + (project !== "" ? "  ·  " + project : "")
        trailing: status
        dotState: dot
        dotFailed: failed
    }
}
