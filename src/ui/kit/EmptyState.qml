import QtQuick
import QtQuick.Layouts
import Korvat

// In place of a list with no rows: the section's icon and label, and while a filter hides
// everything, the way out of it.
Item {
    id: root

    required property string iconName
    required property string title
    required property string detail
    required property bool filtering

    signal clearFilter()

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 48, 420)
        spacing: 10

        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 4
            implicitWidth: 64
            implicitHeight: 64
            radius: 32
            color: Theme.wash

            KorIcon {
                anchors.centerIn: parent
                name: root.iconName
                tint: Theme.muted
                size: 28
            }
        }
        Text {
            Layout.alignment: Qt.AlignHCenter
            text: root.title
            color: Theme.ink
            font: Theme.varied("Space Grotesk", 600, 16)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            Layout.fillWidth: true
            text: root.detail
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12.5)
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        KorButton {
            objectName: "clearFilter"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 4
            visible: root.filtering
            text: "Clear filter"
            iconName: "xmark"
            onClicked: root.clearFilter()
        }
    }
}
