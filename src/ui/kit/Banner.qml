import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One banner: an icon, a monospaced text that can be selected and copied, and its buttons.
Rectangle {
    id: root

    required property string kind
    required property string text
    property string actionText: ""

    signal dismissed()
    signal actionClicked()

    readonly property color ink: kind === "error" ? Theme.errInk : (kind === "update" ? Theme.badgeInk : Theme.ink)

    implicitHeight: row.implicitHeight + 16
    radius: 9
    color: kind === "error" ? Theme.errFill : (kind === "update" ? Theme.badgeFill : Theme.card)
    border.color: kind === "error" ? Theme.errLine : Theme.line
    border.width: 1
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 8
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 10

        KorIcon {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 5
            name: root.kind === "error" ? "exclamationmark.circle" : (root.kind === "update" ? "arrow.down.circle" : "exclamationmark.triangle")
            tint: root.kind === "notice" ? Theme.ionHover : root.ink
            size: 16
        }
        TextEdit {
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignVCenter
            text: root.text
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.Wrap
            color: root.ink
            selectionColor: Theme.ion
            selectedTextColor: Theme.onAccent
            font: Theme.varied("JetBrains Mono", 400, 11.5)
            Accessible.name: root.text
            Accessible.role: Accessible.StaticText
        }
        KorButton {
            Layout.alignment: Qt.AlignTop
            visible: root.actionText !== ""
            text: root.actionText
            variant: "accent"
            onClicked: root.actionClicked()
        }
        KorButton {
            Layout.alignment: Qt.AlignTop
            text: "Dismiss"
            variant: "ghost"
            onClicked: root.dismissed()
        }
    }
}
