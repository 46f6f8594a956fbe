pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// Where the engine's disk space goes: a tile per kind, then every item, largest first.
ColumnLayout {
    id: root

    required property Shell shell
    required property AppStore store
    readonly property DiskPanel disk: shell.disk

    signal diskAction(int verb)

    spacing: 0

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: 16
        Layout.bottomMargin: 8
        spacing: 10

        BusyIndicator {
            Layout.preferredWidth: 16
            Layout.preferredHeight: 16
            running: root.disk.reading
            visible: running
            Accessible.name: "Reading"
        }
        Text {
            objectName: "diskStatus"
            Layout.fillWidth: true
            text: root.disk.status
            color: root.disk.failed ? Theme.danger : Theme.muted
            font: Theme.varied("Inter", 400, 12)
            elide: Text.ElideRight
        }
        KorButton {
            objectName: "reclaim"
            text: "Reclaim space…"
            help: "Choose what to remove, item by item; named volumes and anything in use stay"
            iconName: "trash"
            enabled: !root.store.busy && root.disk.hasReport
            onClicked: root.diskAction(Verb.Reclaim)
        }
    }
    GridLayout {
        id: tiles

        objectName: "diskTiles"
        Layout.fillWidth: true
        Layout.leftMargin: 16
        Layout.rightMargin: 16
        Layout.bottomMargin: 14
        columns: root.width > 900 ? 4 : 2
        columnSpacing: 10
        rowSpacing: 10

        Repeater {
            model: root.disk.tiles

            Rectangle {
                id: tile

                required property string title
                required property string iconName
                required property string total
                required property string detail
                required property string reclaimable
                required property string spoken
                required property string description

                Layout.fillWidth: true
                Layout.preferredWidth: 1
                implicitHeight: tileColumn.implicitHeight + 24
                radius: 10
                color: Theme.card
                border.width: 1
                border.color: Theme.line
                Accessible.role: Accessible.StaticText
                Accessible.name: spoken
                Accessible.description: description

                ColumnLayout {
                    id: tileColumn

                    anchors.fill: parent
                    anchors.margins: 12
                    spacing: 3

                    RowLayout {
                        spacing: 7

                        KorIcon {
                            name: tile.iconName
                            tint: Theme.muted
                            size: 14
                        }
                        Text {
                            Layout.fillWidth: true
                            text: tile.title
                            color: Theme.muted
                            font: Theme.varied("Inter", 500, 12)
                            elide: Text.ElideRight
                        }
                    }
                    Text {
                        text: tile.total
                        color: Theme.ink
                        font: Theme.varied("Space Grotesk", 600, 20)
                    }
                    Text {
                        Layout.fillWidth: true
                        text: tile.detail
                        color: Theme.muted
                        font: Theme.varied("Inter", 400, 11.5)
                        wrapMode: Text.Wrap
                        maximumLineCount: 2
                        elide: Text.ElideRight
                    }
                    Text {
                        Layout.fillWidth: true
                        visible: text !== ""
                        text: tile.reclaimable
                        color: Theme.inkSoft
                        font: Theme.varied("Inter", 500, 11.5)
                        elide: Text.ElideRight
                    }
                }
            }
        }
    }
    SectionCaption {
        // On the list's rows' leading edge, under the section's title.
        Layout.leftMargin: 22
        Layout.bottomMargin: 4
        visible: list.visible
        caption: "Largest first"
    }
    KorListView {
        id: list

        objectName: "diskList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: root.shell.sectionCount > 0
        model: root.disk.items
        Accessible.name: "Largest first"

        delegate: PlainRow {
            id: row

            required property string name
            required property string kindIcon
            required property string size
            required property string line
            required property real share
            required property string description
            // Its engine's badge, from the model's role of that name.
            required engine

            width: list.rowWidth
            title: name
            detail: line
            spoken: description
            iconName: kindIcon

            // The size beside its bar, read as one: how much, and how much of the largest.
            Row {
                anchors.verticalCenter: parent ? parent.verticalCenter : undefined
                spacing: 12

                Rectangle {
                    objectName: "shareTrack"
                    anchors.verticalCenter: parent.verticalCenter
                    width: 72
                    height: 5
                    radius: 2.5
                    color: Theme.wash
                    Accessible.ignored: true

                    Rectangle {
                        width: Math.max(parent.width * row.share, row.share > 0 ? 3 : 0)
                        height: parent.height
                        radius: 2.5
                        color: Theme.ion
                    }
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    width: 84
                    horizontalAlignment: Text.AlignRight
                    text: row.size
                    color: Theme.muted
                    font: Theme.varied("JetBrains Mono", 400, 11)
                    Accessible.ignored: true
                }
            }
        }
    }
    EmptyState {
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: root.shell.sectionCount === 0 && root.disk.hasReport
        iconName: root.shell.emptyIcon
        title: root.shell.categoryLabel
        detail: root.shell.emptyDetail
        filtering: root.shell.filtering
        onClearFilter: root.shell.clearFilter()
    }
    Item {
        Layout.fillHeight: true
        visible: !root.disk.hasReport
    }
}
