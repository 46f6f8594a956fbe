import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// Saves a container's filesystem as a new image under the name typed here.
Sheet {
    id: sheet

    property string containerId: ""
    property string containerName: ""
    property bool busy: false

    signal commit(string id, string imageName)

    function show(id: string, name: string) {
        sheet.containerId = id;
        sheet.containerName = name;
        field.text = "";
        sheet.open();
        field.forceActiveFocus();
    }

    width: 440

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        Text {
            text: "Commit " + sheet.containerName
            color: Theme.ink
            font: Theme.varied("Space Grotesk", 600, 15)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            Layout.fillWidth: true
            text: "Saves the container's filesystem as a new image."
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12.5)
            wrapMode: Text.Wrap
        }
        TextField {
            id: field

            Layout.fillWidth: true
            placeholderText: "repository:tag"
            placeholderTextColor: Theme.muted
            color: Theme.ink
            font: Theme.varied("JetBrains Mono", 400, 12)
            Accessible.name: placeholderText
            onAccepted: commitButton.clicked()
            background: Rectangle {
                implicitHeight: 30
                radius: 8
                color: Theme.control
                border.width: field.activeFocus ? 2 : 1
                border.color: field.activeFocus ? Theme.ion : Theme.line
            }
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 4
            spacing: 8

            Item {
                Layout.fillWidth: true
            }
            KorButton {
                text: "Cancel"
                onClicked: sheet.close()
            }
            KorButton {
                id: commitButton

                text: "Commit"
                variant: "accent"
                enabled: field.text.trim() !== "" && !sheet.busy
                onClicked: {
                    sheet.commit(sheet.containerId, field.text.trim());
                    sheet.close();
                }
            }
        }
    }
}
