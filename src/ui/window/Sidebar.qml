pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Korvat

// The library: one row per section with its count, and the running and stopped counters,
// which lead to the disk view. It is one Tab stop, as a list is: the arrows and Home/End walk
// the sections (the counters last), Enter or Space picks the one the keyboard is on.
Rectangle {
    id: root

    required property var categories
    required property var counts
    required property var spokenCounts
    required property int current
    required property string runningText
    required property string stoppedText

    signal picked(int category)

    // The sections in reading order, the counters last.
    function stops(): list<Item> {
        const all = [];
        for (let i = 0; i < sections.count; ++i)
            all.push(sections.itemAt(i));
        all.push(footer);
        return all;
    }

    function go(move: int) {
        const all = root.stops();
        let at = all.findIndex(stop => stop.activeFocus);
        // Tab in lands on the section shown.
        if (at < 0)
            at = all.findIndex(stop => stop.current);
        const next = ListKeys.step(all.map(() => 0), true, Qt.point(Math.max(at, 0), -1), move, all.length);
        if (next.x >= 0)
            all[next.x].forceActiveFocus(Qt.TabFocusReason);
    }

    function leave(forward: bool) {
        const next = root.nextItemInFocusChain(forward);
        if (next !== null && next !== root)
            next.forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason);
    }

    color: Theme.chrome
    activeFocusOnTab: true
    Accessible.role: Accessible.PageTabList
    Accessible.name: "Library"

    onActiveFocusChanged: {
        if (root.activeFocus)
            root.go(ListKeys.Here);
    }
    // The sections hold the keyboard by themselves; what they leave to their parents comes here.
    Keys.onPressed: event => {
        switch (event.key) {
        case Qt.Key_Up: root.go(ListKeys.Up); break;
        case Qt.Key_Down: root.go(ListKeys.Down); break;
        case Qt.Key_Home: root.go(ListKeys.Home); break;
        case Qt.Key_End: root.go(ListKeys.End); break;
        // A section would hand Backtab to this item, which would hand it straight back.
        case Qt.Key_Tab: root.leave(true); break;
        case Qt.Key_Backtab: root.leave(false); break;
        case Qt.Key_Return:
        case Qt.Key_Enter: {
            const stop = root.stops().find(s => s.activeFocus);
            if (stop === undefined)
                return;
            stop.clicked();
            break;
        }
        default:
            return;
        }
        event.accepted = true;
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 12
        anchors.topMargin: 16
        spacing: 2

        Text {
            Layout.leftMargin: 10
            Layout.bottomMargin: 18
            text: "Korvat"
            color: Theme.ink
            font: Theme.varied("Space Grotesk", 600, 17)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        SectionCaption {
            Layout.leftMargin: 10
            Layout.bottomMargin: 6
            caption: "Library"
        }
        Repeater {
            id: sections

            model: root.categories

            NavItem {
                required property var modelData
                required property int index

                Layout.fillWidth: true
                label: modelData.label
                iconName: modelData.icon
                count: root.counts[index] ?? 0
                spoken: root.spokenCounts[index] ?? label
                current: root.current === modelData.category
                onClicked: root.picked(modelData.category)
            }
        }
        Item {
            Layout.fillHeight: true
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.bottomMargin: 6
            implicitHeight: 1
            color: Theme.line
        }
        // The running and stopped counters open the disk view: what the engine holds, and
        // where its space goes.
        T.AbstractButton {
            id: footer

            objectName: "diskFooter"
            readonly property bool current: root.current === Sections.Disk

            Layout.fillWidth: true
            implicitHeight: implicitContentHeight + topPadding + bottomPadding
            topPadding: 7
            bottomPadding: 7
            focusPolicy: Qt.ClickFocus
            hoverEnabled: true
            Accessible.role: Accessible.PageTab
            Accessible.name: "Disk, " + root.runningText.toLowerCase() + ", " + root.stoppedText.toLowerCase()
            Accessible.description: "Where the engine's disk space goes (Ctrl+6)"
            Accessible.selected: current
            Accessible.onPressAction: root.picked(Sections.Disk)
            onClicked: root.picked(Sections.Disk)

            background: Rectangle {
                radius: 7
                color: footer.current ? Theme.wash : (footer.hovered ? Theme.control : "transparent")
                border.width: footer.visualFocus ? 2 : 0
                border.color: Theme.ion
            }
            contentItem: RowLayout {
                spacing: 8

                Column {
                    Layout.leftMargin: 10
                    Layout.fillWidth: true
                    spacing: 4

                    Row {
                        spacing: 8

                        StatusDot {
                            anchors.verticalCenter: parent.verticalCenter
                            dot: "running"
                        }
                        SectionCaption {
                            caption: root.runningText
                            color: Theme.ink
                        }
                    }
                    Row {
                        spacing: 8

                        StatusDot {
                            anchors.verticalCenter: parent.verticalCenter
                            dot: "exited"
                        }
                        SectionCaption {
                            caption: root.stoppedText
                        }
                    }
                }
                KorIcon {
                    Layout.rightMargin: 10
                    name: "chart.pie"
                    tint: footer.current ? Theme.ion : Theme.muted
                    size: 15
                }
            }
        }
    }
}
