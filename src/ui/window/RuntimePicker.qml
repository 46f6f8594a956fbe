pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import Korvat

// Which engine Korvat talks to: the runtimes, unreachable ones marked offline.
KorComboBox {
    id: box

    required property int selectedRow

    signal picked(int row)

    textRole: "label"
    currentIndex: selectedRow
    implicitWidth: 190
    displayText: currentIndex < 0 ? "No runtime" : currentText
    Accessible.name: "Runtime"
    Accessible.description: "Container runtime"
    onActivated: index => {
        box.picked(index);
        // Choosing replaces the binding; the store's selection stays the source of truth.
        box.currentIndex = Qt.binding(() => box.selectedRow);
    }

    delegate: ItemDelegate {
        id: row

        required property string label
        required property bool reachable
        required property int index

        width: box.width
        highlighted: box.highlightedIndex === index
        Accessible.name: label
        contentItem: Text {
            text: row.label
            font: box.font
            color: row.reachable ? Theme.ink : Theme.muted
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            color: row.highlighted ? Theme.wash : "transparent"
            radius: 5
        }
    }
}
