pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// The runtime's volumes.
ColumnLayout {
    id: root

    required property Shell shell
    required property AppStore store

    signal volumeAction(int verb, string name)

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: 16
        Layout.bottomMargin: 8

        Item {
            Layout.fillWidth: true
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
            onClicked: root.volumeAction(Verb.PruneVolumes, "")
        }
    }
    // Backups and restores under way, each with its bar.
    Repeater {
        model: root.shell.transfers

        WorkBar {
            required property int workId

            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            Layout.bottomMargin: 8
            objectName: "transferProgress"
            onStop: root.shell.transfers.stop(workId)
        }
    }
    KorListView {
        id: list

        objectName: "volumesList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: root.shell.sectionCount > 0
        model: root.shell.volumes
        Accessible.name: "Volumes"

        delegate: PlainRow {
            id: row

            required property string name
            required property string key
            required property string subject
            // The row's engine's badge, from the model's role of that name.
            required engine
            required property string driver
            required property string mountpoint
            required property bool inUse
            required property string description

            function details() {
                root.volumeAction(Verb.VolumeDetails, row.key);
            }

            width: list.rowWidth
            title: name
            detail: driver + "  ·  " + mountpoint
            badge: inUse ? "in use" : ""
            spoken: description
            iconName: "externaldrive"

            TapHandler {
                acceptedButtons: Qt.LeftButton
                onDoubleTapped: row.details()
            }
            KorButton {
                text: "Details"
                help: "What mounts it, its size and labels (Ctrl+I)"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                onClicked: row.details()
            }
            KorButton {
                text: "Back up…"
                help: "Save " + row.name + "'s files to a .tar archive"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                enabled: !root.store.busy
                onClicked: root.volumeAction(Verb.BackupVolume, row.key)
            }
            KorButton {
                text: "Restore…"
                help: "Fill " + row.name + " from a .tar archive made by Back up"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                enabled: !root.store.busy
                onClicked: root.volumeAction(Verb.RestoreVolume, row.key)
            }
            KorButton {
                text: "Remove…"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                enabled: !root.store.busy
                onClicked: root.volumeAction(Verb.RemoveVolume, row.key)
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
