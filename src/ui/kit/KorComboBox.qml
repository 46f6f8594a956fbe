pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// A choice among texts in the kit's look; a picker with richer rows replaces the delegate.
ComboBox {
    id: box

    // An icon before the text, saying what the choice is about where no label does.
    property string iconName: ""

    implicitWidth: 170
    implicitHeight: 30
    font: Theme.varied("Inter", 500, 12.5)

    background: Rectangle {
        radius: 8
        color: box.hovered ? Theme.wash : Theme.control
        border.width: box.visualFocus ? 2 : 1
        border.color: box.visualFocus ? Theme.ion : Theme.line

        KorIcon {
            x: 9
            anchors.verticalCenter: parent.verticalCenter
            visible: box.iconName !== ""
            name: box.iconName
            tint: Theme.muted
            size: 13
        }
    }
    contentItem: Text {
        leftPadding: box.iconName !== "" ? 28 : 10
        rightPadding: 26
        text: box.displayText
        font: box.font
        color: Theme.ink
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    indicator: KorIcon {
        x: box.width - width - 9
        y: (box.height - height) / 2
        name: "chevron.down"
        tint: Theme.muted
        size: 13
    }
    delegate: ItemDelegate {
        id: row

        required property string modelData
        required property int index

        width: box.width
        highlighted: box.highlightedIndex === index
        Accessible.name: modelData
        contentItem: Text {
            text: row.modelData
            font: box.font
            color: Theme.ink
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            color: row.highlighted ? Theme.wash : "transparent"
            radius: 5
        }
    }
    popup: Popup {
        y: box.height + 4
        width: box.width
        padding: 4
        implicitHeight: Math.min(contentItem.implicitHeight + 8, 320)
        contentItem: ListView {
            clip: true
            implicitHeight: contentHeight
            model: box.popup.visible ? box.delegateModel : null
            currentIndex: box.highlightedIndex
        }
        background: Rectangle {
            color: Theme.card
            border.color: Theme.line
            radius: 8
        }
    }
}
