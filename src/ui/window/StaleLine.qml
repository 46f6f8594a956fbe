import QtQuick
import QtQuick.Layouts
import Korvat

// A quiet line, not a banner: the lists below are old because the engine keeps us waiting.
RowLayout {
    id: root

    required property string text

    visible: root.text !== ""
    spacing: 6

    KorIcon {
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 1
        name: "clock"
        tint: Theme.muted
        size: 13
    }
    Text {
        objectName: "staleText"
        Layout.fillWidth: true
        text: root.text
        color: Theme.muted
        font: Theme.varied("Inter", 500, 12)
        wrapMode: Text.WordWrap
        Accessible.role: Accessible.StaticText
        Accessible.name: root.text
    }
}
