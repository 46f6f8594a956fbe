import QtQuick
import QtQuick.Layouts
import Korvat

// Asks before an action that cannot be taken back, or whose reach needs saying first.
Sheet {
    id: sheet

    property string title: ""
    property string message: ""
    property string confirmText: ""
    // "danger" for what cannot be taken back; "accent" for what only needs saying first.
    property string confirmVariant: "danger"
    // A second way through, such as keeping a copy first; none when empty.
    property string alternativeText: ""
    // Lines to copy as they are, shown in the code face; none when empty.
    property string snippet: ""

    signal confirmed()
    signal alternative()

    width: 440

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        Text {
            text: sheet.title
            color: Theme.ink
            font: Theme.varied("Space Grotesk", 600, 15)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            objectName: "message"
            Layout.fillWidth: true
            text: sheet.message
            color: Theme.ink
            font: Theme.varied("Inter", 400, 12.5)
            wrapMode: Text.Wrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Rectangle {
            Layout.fillWidth: true
            visible: sheet.snippet !== ""
            implicitHeight: snippetText.implicitHeight + 16
            radius: 6
            color: Theme.wash
            border.color: Theme.line

            Text {
                id: snippetText

                objectName: "snippet"
                anchors.fill: parent
                anchors.margins: 8
                text: sheet.snippet
                color: Theme.ink
                font: Theme.varied("JetBrains Mono", 400, 12)
                textFormat: Text.PlainText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 4
            spacing: 8

            KorButton {
                objectName: "alternative"
                visible: sheet.alternativeText !== ""
                text: sheet.alternativeText
                onClicked: {
                    sheet.close();
                    sheet.alternative();
                }
            }
            Item {
                Layout.fillWidth: true
            }
            KorButton {
                text: "Cancel"
                onClicked: sheet.close()
            }
            KorButton {
                objectName: "confirm"
                text: sheet.confirmText
                variant: sheet.confirmVariant
                onClicked: {
                    sheet.close();
                    sheet.confirmed();
                }
            }
        }
    }
}
