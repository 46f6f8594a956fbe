pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// The runtime's networks, each with the containers attached and their addresses.
ColumnLayout {
    id: root

    required property Shell shell
    required property AppStore store

    signal networkAction(int verb, string name)

    spacing: 0

    KorListView {
        id: list

        objectName: "networksList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.topMargin: 10
        model: root.shell.networks
        Accessible.name: "Networks"

        delegate: PlainRow {
            id: row

            required property string name
            required property string key
            required property string subject
            // The row's engine's badge, from the model's role of that name.
            required engine
            required property string summary
            required property string members
            required property string project
            required property bool removable
            required property string keptReason
            required property string description

            function details() {
                root.networkAction(Verb.NetworkDetails, row.key);
            }

            width: list.rowWidth
            title: name
            detail: summary
            extra: members
            badge: project
            spoken: description
            iconName: "network"

            TapHandler {
                acceptedButtons: Qt.LeftButton
                onDoubleTapped: row.details()
            }
            KorButton {
                text: "Details"
                help: "Its subnet, gateway, containers and labels (Ctrl+I)"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                onClicked: row.details()
            }
            // Held in place while hidden, so every row's buttons stand in one column.
            KorButton {
                objectName: "removeNetwork"
                opacity: row.removable ? 1 : 0
                Accessible.ignored: !row.removable
                text: "Remove"
                help: "Remove " + row.name + ": no container is attached"
                subject: row.subject
                tabStop: false
                variant: "ghost"
                enabled: row.removable && !root.store.busy
                onClicked: root.networkAction(Verb.RemoveNetwork, row.key)
            }
        }
    }
}
