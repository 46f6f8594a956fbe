pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// The runtime's images, a field to pull one more, and the way to ask whether their tags moved on.
ColumnLayout {
    id: root

    required property Shell shell
    required property AppStore store

    signal imageAction(int verb, string id, string reference)

    function pull() {
        if (field.text.trim() === "")
            return;
        root.imageAction(Verb.Pull, "", field.text);
        field.clear();
    }

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: 16
        Layout.bottomMargin: 8
        spacing: 8

        TextField {
            id: field

            objectName: "pullField"
            Layout.fillWidth: true
            placeholderText: "repository:tag"
            placeholderTextColor: Theme.muted
            color: Theme.ink
            font: Theme.varied("JetBrains Mono", 400, 12)
            Accessible.name: placeholderText
            onAccepted: root.pull()
            background: Rectangle {
                implicitHeight: 30
                radius: 8
                color: Theme.control
                border.width: field.activeFocus ? 2 : 1
                border.color: field.activeFocus ? Theme.ion : Theme.line
            }
        }
        KorButton {
            objectName: "pull"
            text: "Pull"
            iconName: "arrow.down.circle"
            variant: "accent"
            enabled: field.text.trim() !== ""
            onClicked: root.pull()
        }
        KorButton {
            readonly property string label: root.shell.checkingNewer ? "Checking…" : "Check for newer images"

            objectName: "checkNewer"
            // Only its icon in a narrow window, where the field needs the room.
            text: root.width >= 760 ? label : ""
            iconName: "arrow.triangle.2.circlepath"
            help: text !== "" ? "Asks each image’s registry whether its tag moved on" : label
            enabled: !root.shell.checkingNewer
            onClicked: root.shell.checkNewer()
        }
        KorButton {
            objectName: "diskUsage"
            text: "Disk usage"
            iconName: "chart.pie"
            help: "Where the space goes, largest first, and what can be won back (Ctrl+6)"
            onClicked: root.shell.category = Sections.Disk
        }
        KorButton {
            objectName: "prune"
            text: "Prune unused"
            iconName: "trash"
            enabled: !root.store.busy
            onClicked: root.imageAction(Verb.PruneImages, "", "")
        }
    }
    // The pulls under way, each with its bar, between the field and the list.
    Repeater {
        model: root.shell.pulls

        WorkBar {
            required property int workId

            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            Layout.bottomMargin: 8
            objectName: "pullProgress"
            onStop: root.shell.pulls.stop(workId)
        }
    }
    KorListView {
        id: list

        objectName: "imagesList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: root.shell.sectionCount > 0
        model: root.shell.images
        Accessible.name: "Images"

        delegate: PlainRow {
            id: row

            required property string imageId
            required property string key
            required property string subject
            // The row's engine's badge, from the model's role of that name.
            required engine
            required property string reference
            required property string shortId
            required property string size
            required property bool newer
            required property string newerReason

            function details() {
                root.imageAction(Verb.ImageDetails, row.key, row.reference);
            }

            width: list.rowWidth
            title: reference
            detail: shortId + "  ·  " + size
            iconName: "opticaldisc"
            updateBadge: newer ? "Newer image" : ""
            updateHelp: newerReason

            TapHandler {
                acceptedButtons: Qt.LeftButton
                onDoubleTapped: row.details()
            }
            KorButton {
                text: "Details"
                subject: row.subject
                help: "What it is made of and what uses it (Ctrl+I)"
                tabStop: false
                variant: "ghost"
                onClicked: row.details()
            }

            KorButton {
                text: "Remove"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                enabled: !root.store.busy
                onClicked: root.imageAction(Verb.RemoveImage, row.key, row.reference)
            }
        }
    }
    EmptyState {
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: root.shell.sectionCount === 0
        iconName: root.shell.emptyIcon
        title: root.shell.categoryLabel
        detail: root.shell.emptyDetail
        filtering: root.shell.filtering
        onClearFilter: root.shell.clearFilter()
    }
}
