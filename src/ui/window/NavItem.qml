import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import Korvat

// One sidebar row: a section's icon, label and row count. The sidebar, not the row, is the
// Tab stop.
T.AbstractButton {
    id: control

    required property string label
    required property string iconName
    required property int count
    // Its label and count as a screen reader says them.
    property string spoken: label
    property bool current: false

    implicitWidth: 180
    implicitHeight: 30
    focusPolicy: Qt.ClickFocus
    hoverEnabled: true
    checkable: false

    Accessible.role: Accessible.PageTab
    Accessible.name: spoken
    Accessible.selected: current
    Accessible.onPressAction: control.clicked()

    background: Rectangle {
        radius: 7
        color: control.current ? Theme.wash : (control.hovered ? Theme.control : "transparent")
        border.width: control.visualFocus ? 2 : 0
        border.color: Theme.ion
    }

    contentItem: RowLayout {
        spacing: 9

        KorIcon {
            Layout.leftMargin: 10
            name: control.iconName
            tint: control.current ? Theme.ion : Theme.muted
            size: 15
        }
        Text {
            Layout.fillWidth: true
            text: control.label
            color: Theme.ink
            font: Theme.varied("Inter", control.current ? 600 : 500, 13)
            elide: Text.ElideRight
            Accessible.ignored: true
        }
        Text {
            Layout.rightMargin: 10
            text: control.count
            color: Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11)
            Accessible.ignored: true
        }
    }
}
