import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Korvat

// A modal sheet over the window: dims what is behind it, closes with Esc.
Popup {
    id: sheet

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    modal: true
    dim: true
    focus: true
    padding: 20
    closePolicy: Popup.CloseOnEscape

    background: Rectangle {
        color: Theme.chrome
        border.color: Theme.line
        radius: 14
    }
    T.Overlay.modal: Rectangle {
        color: Theme.scrim
    }
}
