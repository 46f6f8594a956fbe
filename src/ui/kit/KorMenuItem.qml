import QtQuick
import QtQuick.Controls.Basic
import Korvat

// One command of a KorMenu; hidden items take no room.
MenuItem {
    id: item

    property bool danger: false
    property string help: ""

    height: visible ? implicitHeight : 0
    implicitHeight: 30
    font: Theme.varied("Inter", 500, 12.5)
    ToolTip.visible: hovered && help !== ""
    ToolTip.text: help
    ToolTip.delay: 600
    Accessible.name: text

    contentItem: Text {
        leftPadding: 6
        text: item.text
        font: item.font
        color: !item.enabled ? Theme.muted : (item.danger ? Theme.danger : Theme.ink)
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    arrow: KorIcon {
        x: item.width - width - 8
        y: (item.height - height) / 2
        visible: item.subMenu !== null
        name: "chevron.right"
        tint: Theme.muted
        size: 14
    }
    background: Rectangle {
        radius: 6
        color: item.highlighted ? Theme.wash : "transparent"
    }
}
