import QtQuick
import QtQuick.Controls.Basic
import Korvat

// The search field: its text is the store's filter.
TextField {
    id: field

    property string filter: ""
    property string hint: "Filter"

    signal edited(string text)

    text: filter
    placeholderText: field.hint
    placeholderTextColor: Theme.muted
    color: Theme.ink
    selectionColor: Theme.ion
    selectedTextColor: Theme.onAccent
    font: Theme.varied("Inter", 400, 12.5)
    leftPadding: 30
    rightPadding: clear.visible ? 28 : 10
    implicitWidth: 240
    implicitHeight: 30
    onTextEdited: field.edited(text)
    Keys.onEscapePressed: event => {
        if (field.text === "") {
            event.accepted = false;
            return;
        }
        field.clear();
        field.edited("");
    }
    Accessible.name: placeholderText

    background: Rectangle {
        radius: 8
        color: Theme.control
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.ion : Theme.line
    }

    KorIcon {
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        name: "magnifyingglass"
        tint: Theme.muted
        size: 14
    }
    KorButton {
        id: clear

        anchors.right: parent.right
        anchors.rightMargin: 3
        anchors.verticalCenter: parent.verticalCenter
        variant: "ghost"
        iconName: "xmark"
        help: "Clear filter"
        visible: field.text !== ""
        padding: 3
        focusPolicy: Qt.NoFocus
        onClicked: {
            field.clear();
            field.edited("");
        }
    }
}
