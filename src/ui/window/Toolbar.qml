import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// The section's title and the window's controls: runtime, search, refresh, add a project.
Rectangle {
    id: root

    required property string title
    required property int count
    required property var runtimes
    required property int selectedRow
    required property string filter
    required property string searchHint
    required property bool busy
    // The orders the section offers; none (or nothing to sort) hides the control.
    required property var sortChoices
    required property int sortIndex

    signal runtimePicked(int row)
    signal sortPicked(int index)
    signal filterEdited(string text)
    signal refreshRequested()
    signal addRequested()

    function focusSearch() {
        search.forceActiveFocus();
        search.selectAll();
    }

    implicitHeight: 56
    color: Theme.page

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 22
        anchors.rightMargin: 16
        spacing: 10

        Text {
            text: root.title
            color: Theme.ink
            font: Theme.varied("Space Grotesk", 600, 19)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            Layout.alignment: Qt.AlignBaseline
            text: root.count
            color: Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 12)
            Accessible.ignored: true
        }
        BusyIndicator {
            Layout.preferredWidth: 18
            Layout.preferredHeight: 18
            running: root.busy
            visible: root.busy
            Accessible.name: "Working"
        }
        Item {
            Layout.fillWidth: true
        }
        KorComboBox {
            id: sort

            objectName: "sort"
            iconName: "arrow.up.arrow.down"
            // Wide enough for its longest choice: the runtime and the filter shrink first.
            Layout.preferredWidth: 128
            Layout.minimumWidth: 128
            visible: root.sortChoices.length > 0 && root.count > 0
            model: root.sortChoices
            currentIndex: root.sortIndex
            Accessible.name: "Sort by"
            onActivated: index => {
                root.sortPicked(index);
                // The shell's choice stays the source of truth.
                sort.currentIndex = Qt.binding(() => root.sortIndex);
            }
        }
        SectionCaption {
            // Steps back first when the window is narrow: the picker says what it is.
            visible: root.width > 860
            caption: "Runtime"
        }
        RuntimePicker {
            Layout.fillWidth: true
            Layout.minimumWidth: 96
            Layout.maximumWidth: implicitWidth
            model: root.runtimes
            selectedRow: root.selectedRow
            onPicked: row => root.runtimePicked(row)
        }
        SearchField {
            id: search

            Layout.leftMargin: 6
            Layout.fillWidth: true
            Layout.minimumWidth: 110
            Layout.maximumWidth: implicitWidth
            filter: root.filter
            hint: root.searchHint
            onEdited: text => root.filterEdited(text)
        }
        KorButton {
            variant: "ghost"
            iconName: "arrow.clockwise"
            help: "Refresh now"
            onClicked: root.refreshRequested()
        }
        KorButton {
            variant: "ghost"
            iconName: "plus"
            help: "Add a project from a directory"
            detail: "Choose a directory with a compose file"
            onClicked: root.addRequested()
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
    }
}
