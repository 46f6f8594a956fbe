pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// What a reclaim would remove, category by category and item by item, what it never
// touches, and the removal itself with each item's outcome in its row.
Sheet {
    id: sheet

    property Reclaiming reclaim: null

    function show(target: Reclaiming) {
        sheet.reclaim = target;
        sheet.open();
        if (target)
            target.start();
    }

    width: 600
    height: parent ? Math.min(640, parent.height - 60) : 640
    closePolicy: reclaim && reclaim.working ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: sheet.reclaim = null

    // A category's heading with its choice, or one of its items with how its removal went.
    component ReclaimLine: ColumnLayout {
        id: line

        required property Reclaiming reclaim
        required property bool heading
        required property int kind
        required property string title
        required property string size
        required property string note
        required property bool chosen
        required property string outcome
        required property string outcomeIcon

        spacing: 2

        RowLayout {
            Layout.topMargin: 10
            visible: line.heading
            spacing: 8

            KorButton {
                objectName: "choose" + line.kind
                variant: "ghost"
                text: line.title
                detail: line.size
                iconName: line.chosen ? "checkmark.square" : "square"
                checkable: true
                checked: line.chosen
                enabled: line.reclaim !== null && !line.reclaim.working && !line.reclaim.done && line.size !== "Nothing to remove"
                Accessible.role: Accessible.CheckBox
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: {
                    line.reclaim.setChosen(line.kind, !line.chosen);
                    checked = Qt.binding(() => line.chosen);
                }
            }
            Item {
                Layout.fillWidth: true
            }
            Text {
                text: line.size
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
                Accessible.ignored: true
            }
        }
        RowLayout {
            Layout.leftMargin: 14
            visible: !line.heading
            opacity: line.chosen ? 1 : 0.5
            spacing: 8
            Accessible.role: Accessible.ListItem
            Accessible.name: line.title + ", " + line.size + (line.outcome !== "" ? ", " + line.outcome : "")
            Accessible.description: line.note

            // Its place is kept before the removal starts, so no name moves once it does.
            Item {
                implicitWidth: 13
                implicitHeight: 13

                KorIcon {
                    anchors.centerIn: parent
                    visible: line.outcomeIcon !== ""
                    name: line.outcomeIcon
                    tint: line.outcome === "done" ? Theme.success : line.outcome === "failed" ? Theme.danger
                        : line.outcome === "running" ? Theme.ion : Theme.muted
                    size: 13
                }
            }
            Text {
                Layout.fillWidth: true
                text: line.title
                color: Theme.ink
                font: Theme.varied("JetBrains Mono", 400, 12)
                elide: Text.ElideMiddle
            }
            Text {
                text: line.size
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
            }
        }
        // A heading's warning; an item's failure, in the engine's words.
        Text {
            Layout.fillWidth: true
            Layout.leftMargin: 35
            visible: line.note !== ""
            text: line.note
            color: line.heading && !line.chosen ? Theme.muted : Theme.danger
            font: Theme.varied("Inter", 400, line.heading ? 12 : 11.5)
            wrapMode: Text.Wrap
        }
    }

    contentItem: ColumnLayout {
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            KorIcon {
                name: "trash"
                tint: Theme.danger
                size: 20
            }
            Text {
                Layout.fillWidth: true
                text: sheet.reclaim ? sheet.reclaim.title : "Reclaim space"
                color: Theme.ink
                font: Theme.varied("Space Grotesk", 600, 16)
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
        }
        Text {
            Layout.fillWidth: true
            text: sheet.reclaim && sheet.reclaim.error !== "" ? sheet.reclaim.error
                : "Exactly the items below go, each by its id, one at a time. Anything made after this list was read stays."
            color: sheet.reclaim && sheet.reclaim.error !== "" ? Theme.danger : Theme.muted
            font: Theme.varied("Inter", 400, 12)
            wrapMode: Text.Wrap
        }
        Text {
            visible: sheet.reclaim !== null && !sheet.reclaim.planned && sheet.reclaim.error === ""
            text: "Reading where the disk goes…"
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12.5)
        }
        ListView {
            objectName: "reclaimRows"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: sheet.reclaim !== null && sheet.reclaim.planned
            clip: true
            model: sheet.reclaim ? sheet.reclaim.rows : null
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: "What the reclaim removes"
            ScrollBar.vertical: ScrollBar {}

            // A heading and an item are one kind of delegate, so the list is one list.
            delegate: ReclaimLine {
                reclaim: sheet.reclaim
                width: ListView.view.width - 12
            }
        }
        // Said under the plan, always in sight however long the list.
        ColumnLayout {
            objectName: "neverSection"
            Layout.fillWidth: true
            visible: sheet.reclaim !== null && sheet.reclaim.planned
            spacing: 2

            Text {
                text: "Never removed"
                color: Theme.ink
                font: Theme.varied("Inter", 600, 13)
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Repeater {
                model: sheet.reclaim ? sheet.reclaim.never : []

                Text {
                    required property string modelData

                    Layout.fillWidth: true
                    text: "· " + modelData
                    color: Theme.muted
                    font: Theme.varied("Inter", 400, 12)
                    wrapMode: Text.Wrap
                }
            }
        }
        Text {
            objectName: "reclaimProgress"
            Layout.fillWidth: true
            visible: text !== ""
            text: sheet.reclaim ? sheet.reclaim.progress : ""
            color: Theme.ink
            font: Theme.varied("Inter", 500, 12.5)
            wrapMode: Text.Wrap
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            BusyIndicator {
                Layout.preferredWidth: 20
                Layout.preferredHeight: 20
                running: sheet.reclaim !== null && sheet.reclaim.working
                visible: running
                Accessible.name: "Removing"
            }
            Item {
                Layout.fillWidth: true
            }
            KorButton {
                objectName: "cancelOrStop"
                readonly property bool working: sheet.reclaim !== null && sheet.reclaim.working

                text: working ? "Stop" : sheet.reclaim && sheet.reclaim.done ? "Close" : "Cancel"
                detail: working ? "Ends the reclaim once the removal under way is done" : ""
                enabled: !working || !sheet.reclaim.stopping
                onClicked: working ? sheet.reclaim.stop() : sheet.close()
            }
            KorButton {
                objectName: "reclaimButton"
                visible: sheet.reclaim === null || !sheet.reclaim.done
                text: sheet.reclaim ? sheet.reclaim.label : "Remove"
                variant: "danger"
                enabled: sheet.reclaim !== null && sheet.reclaim.canRemove
                onClicked: sheet.reclaim.confirm()
            }
        }
    }
}
