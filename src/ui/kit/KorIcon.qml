import QtQuick
import Korvat

// A symbol from the icon table, drawn in the colour of its context.
Image {
    id: root

    required property string name
    property color tint: Theme.ink
    property int size: 16

    width: size
    height: size
    sourceSize.width: size
    sourceSize.height: size
    source: name === "" ? "" : "image://icon/" + name + "/" + root.tint.toString().substring(1)
    fillMode: Image.PreserveAspectFit
    smooth: true
    Accessible.ignored: true
}
