pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// Every compose project with its share of running containers.
ListView {
    id: list

    objectName: "projectsList"
    clip: true
    topMargin: 6
    bottomMargin: 12
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Projects"
    ScrollBar.vertical: ScrollBar {}

    delegate: PlainRow {
        required property string name
        required property string workingDir
        required property int runningCount
        required property int total

        width: ListView.view.width
        title: name
        detail: workingDir !== "" ? workingDir : "no working directory"
        trailing: runningCount + " of " + total + " running"
        ringRunning: runningCount
        ringTotal: total
    }
}
