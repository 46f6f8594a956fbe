pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// The library: one row per section with its count, and the running and stopped counters.
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
            Layout.bottomMargin: 10
            implicitHeight: 1
            color: Theme.line
        }
        Row {
            Layout.leftMargin: 10
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
            Layout.leftMargin: 10
            Layout.topMargin: 4
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
}
