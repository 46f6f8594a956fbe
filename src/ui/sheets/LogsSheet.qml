pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Korvat

// Follows a container's or a project's log until it closes; closing ends the child.
Sheet {
    id: sheet

    property LogFollower follower: null
    property Actions actions: null
    property string subject: ""

    function show(source: LogFollower, name: string) {
        sheet.follower = source;
        sheet.subject = name;
        sheet.open();
        if (source)
            source.start();
    }

    width: Math.min(960, parent ? parent.width - 60 : 960)
    height: Math.min(620, parent ? parent.height - 60 : 620)
    closePolicy: transcript.findOpen ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: {
        if (sheet.follower)
            sheet.follower.stop();
        sheet.follower = null;
    }

    FileDialog {
        id: saveDialog

        title: "Save log"
        fileMode: FileDialog.SaveFile
        nameFilters: ["Log files (*.log *.txt)", "All files (*)"]
        onAccepted: sheet.actions.saveText(sheet.follower.transcript, saveDialog.selectedFile)
    }
    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 3

                Text {
                    Layout.fillWidth: true
                    elide: Text.ElideRight
                    text: sheet.subject
                    color: Theme.ink
                    font: Theme.varied("Space Grotesk", 600, 15)
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                SectionCaption {
                    caption: sheet.follower ? sheet.follower.header : ""
                }
            }
            KorComboBox {
                id: services

                objectName: "serviceChooser"
                visible: sheet.follower !== null && sheet.follower.project && count > 1
                model: sheet.follower ? sheet.follower.transcript.serviceChoices : []
                Accessible.name: "Service"
                onActivated: index => sheet.follower.transcript.chooseService(index)
            }
            KorButton {
                objectName: "timestamps"
                variant: sheet.follower && sheet.follower.timestamps ? "quiet" : "ghost"
                iconName: "clock.plain"
                text: "Times"
                help: "Show when each line was written"
                checkable: true
                checked: sheet.follower ? sheet.follower.timestamps : false
                Accessible.checkable: true
                Accessible.checked: checked
                onToggled: sheet.follower.timestamps = checked
            }
            KorButton {
                variant: "ghost"
                iconName: "magnifyingglass"
                help: "Find in logs (Ctrl+F)"
                onClicked: transcript.openFind()
            }
            KorButton {
                text: "Copy"
                iconName: "doc.on.doc"
                enabled: sheet.follower !== null && sheet.follower.transcript.total > 0
                onClicked: sheet.actions.copyText(sheet.follower.transcript)
            }
            KorButton {
                text: "Save…"
                iconName: "square.and.arrow.down"
                enabled: sheet.follower !== null && sheet.follower.transcript.total > 0
                onClicked: {
                    saveDialog.selectedFile = sheet.actions.saveLocation(sheet.subject);
                    saveDialog.open();
                }
            }
            KorButton {
                text: "Close"
                onClicked: sheet.close()
            }
        }
        TranscriptView {
            id: transcript

            Layout.fillWidth: true
            Layout.fillHeight: true
            transcript: sheet.follower ? sheet.follower.transcript : null
            emptyText: "waiting for output…"
        }
    }
}
