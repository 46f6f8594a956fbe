pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// A card's containers, one row each under a separator line.
ColumnLayout {
    id: root

    required property ContainerModel model
    property bool busy: false
    // The card adds its rows' use up, shown or not in the rows themselves.
    property bool readsUsage: true
    // Compose may act on the rows' services.
    property bool composeEnabled: false

    signal action(int verb, string id, string detail)

    // The i-th container's row, for the list's keyboard walk.
    function rowAt(i: int): Item {
        const entry = rows.itemAt(i);
        // Each entry is its separator line, then its row.
        return entry === null ? null : entry.children[1];
    }

    spacing: 0

    Repeater {
        id: rows

        model: root.model

        ColumnLayout {
            id: entry

            required property string containerId
            required property string name
            required property string engine
            required property string subject
            required property string image
            required property string status
            required property string ports
            required property string project
            required property string dot
            required property string containerState
            required property string actionLabel
            required property bool primaryQuiet
            required property string pauseLabel
            required property string terminalCommand
            required property bool running
            required property bool failed
            required property string description
            required property var links
            required property string usage
            required property string usageSpoken
            required property list<real> trend
            required property string service
            required property bool newer
            required property string newerReason
            required property string stays
            required property string staysReason
            required property bool keepable

            Layout.fillWidth: true
            spacing: 0

            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 1
                color: Theme.line
            }
            ContainerRow {
                Layout.fillWidth: true
                Layout.leftMargin: 4
                Layout.rightMargin: 4
                containerId: entry.containerId
                name: entry.name
                engine: entry.engine
                subject: entry.subject
                image: entry.image
                status: entry.status
                ports: entry.ports
                project: entry.project
                dot: entry.dot
                containerState: entry.containerState
                actionLabel: entry.actionLabel
                primaryQuiet: entry.primaryQuiet
                pauseLabel: entry.pauseLabel
                running: entry.running
                failed: entry.failed
                description: entry.description
                terminalHelp: entry.terminalCommand
                links: entry.links
                usage: entry.usage
                usageSpoken: entry.usageSpoken
                trend: entry.trend
                newer: entry.newer
                newerReason: entry.newerReason
                stays: entry.stays
                staysReason: entry.staysReason
                keepable: entry.keepable
                shownIn: root.model
                readsUsage: root.readsUsage
                service: root.composeEnabled ? entry.service : ""
                busy: root.busy
                onAction: (verb, detail) => root.action(verb, entry.containerId, detail)
            }
        }
    }
}
