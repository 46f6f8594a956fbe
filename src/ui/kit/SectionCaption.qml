import QtQuick
import Korvat

// A short upper-case caption in the monospaced face.
Text {
    required property string caption

    text: caption.toUpperCase()
    color: Theme.muted
    font: Theme.caption
    Accessible.role: Accessible.Heading
    Accessible.name: caption
}
