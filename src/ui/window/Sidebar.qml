pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Korvat

// The library: one row per section with its count, and the running and stopped counters,
// which lead to the disk view.
Rectangle {
    id: root

    required property var categories
    required property var counts
    required property var spokenCounts
    required property int current
    required property string runningText
    required property string stoppedText

    signal picked(int category)

    color: Theme.chrome

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
            focusPolicy: Qt.StrongFocus
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
