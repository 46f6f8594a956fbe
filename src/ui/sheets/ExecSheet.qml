import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One `sh -c` at a time in a container, with the transcript of everything run so far.
Sheet {
    id: sheet

    property ExecConsole console: null
    property Actions actions: null

    function show(target: ExecConsole) {
        sheet.console = target;
        sheet.open();
        field.forceActiveFocus();
    }

    width: 760
    height: 480
    closePolicy: transcript.findOpen ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: sheet.console = null

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
                    text: sheet.console ? sheet.console.containerName : ""
                    color: Theme.ink
                    font: Theme.varied("Space Grotesk", 600, 15)
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                SectionCaption {
                    caption: "Exec · sh -c · one command at a time"
                }
            }
            KorButton {
                text: "Copy"
                iconName: "doc.on.doc"
                enabled: sheet.console !== null && sheet.console.transcript.total > 0
                onClicked: sheet.actions.copyText(sheet.console.transcript)
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
            transcript: sheet.console ? sheet.console.transcript : null
            accessibleName: "Transcript"
            findName: "Find in transcript"
            emptyText: "Runs `sh -c` in the container. Not a terminal: no prompts, no curses apps."
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            TextField {
                id: field

                Layout.fillWidth: true
                placeholderText: "command"
                placeholderTextColor: Theme.muted
                color: Theme.ink
                font: Theme.varied("JetBrains Mono", 400, 12)
                enabled: sheet.console !== null && !sheet.console.running
                text: sheet.console ? sheet.console.command : ""
                Accessible.name: placeholderText
                onTextEdited: sheet.console.command = field.text
                onAccepted: sheet.console.run()
                background: Rectangle {
                    implicitHeight: 30
                    radius: 8
                    color: Theme.control
                    border.width: field.activeFocus ? 2 : 1
                    border.color: field.activeFocus ? Theme.ion : Theme.line
                }
            }
            BusyIndicator {
                Layout.preferredWidth: 20
                Layout.preferredHeight: 20
                running: sheet.console !== null && sheet.console.running
                visible: running
                Accessible.name: "Running"
            }
            KorButton {
                text: "Run"
                iconName: "play"
                variant: "accent"
                enabled: sheet.console !== null && !sheet.console.running
                onClicked: sheet.console.run()
            }
        }
    }
}
