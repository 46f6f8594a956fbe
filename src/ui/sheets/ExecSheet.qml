import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One `sh -c` at a time in a container, with the transcript of everything run so far.
Sheet {
    id: sheet

    property ExecConsole console: null

    function show(target: ExecConsole) {
        sheet.console = target;
        sheet.open();
        field.forceActiveFocus();
    }

    width: 760
    height: 480
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
                text: "Close"
                onClicked: sheet.close()
            }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.fillHeight: true
            color: Theme.page
            border.color: Theme.line
            radius: 9

            Flickable {
                id: flick

                anchors.fill: parent
                anchors.margins: 10
                clip: true
                contentWidth: width
                contentHeight: output.height
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}

                TextEdit {
                    id: output

                    objectName: "transcript"
                    width: flick.width
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    text: sheet.console ? sheet.console.output : ""
                    color: Theme.inkSoft
                    selectionColor: Theme.ion
                    selectedTextColor: Theme.onAccent
                    font: Theme.varied("JetBrains Mono", 400, 11.5)
                    Accessible.role: Accessible.EditableText
                    Accessible.name: "Transcript"
                    onTextChanged: flick.contentY = Math.max(0, output.height - flick.height)
                }
            }
            Text {
                anchors.centerIn: parent
                width: parent.width - 60
                visible: output.text === ""
                text: "Runs `sh -c` in the container. Not a terminal: no prompts, no curses apps."
                color: Theme.muted
                font: Theme.varied("Inter", 400, 12.5)
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }
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
