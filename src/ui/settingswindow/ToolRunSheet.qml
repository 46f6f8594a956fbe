import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// Runs one toolchain job and streams its output; closing it while it runs ends the job.
Sheet {
    id: sheet

    property JobRun run: null

    signal closedJob(JobRun run)

    function show(job: JobRun) {
        sheet.run = job;
        sheet.open();
        if (job)
            job.start();
    }

    width: Math.min(720, parent ? parent.width - 40 : 720)
    height: Math.min(460, parent ? parent.height - 40 : 460)
    closePolicy: Popup.CloseOnEscape
    onClosed: {
        const ran = sheet.run;
        sheet.run = null;
        // Going away ends a job still running, as a closed terminal would.
        if (ran)
            sheet.closedJob(ran);
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Text {
                Layout.fillWidth: true
                text: sheet.run ? sheet.run.title : ""
                color: Theme.ink
                font: Theme.varied("Space Grotesk", 600, 15)
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            SectionCaption {
                objectName: "jobState"
                caption: !sheet.run ? "" : sheet.run.running ? "running" : !sheet.run.finished ? "" : sheet.run.succeeded ? "done" : "exit status " + sheet.run.exitStatus
                color: sheet.run && sheet.run.finished && !sheet.run.succeeded ? Theme.danger : Theme.muted
            }
            KorButton {
                objectName: "jobButton"
                text: sheet.run && sheet.run.running ? "Cancel" : "Close"
                variant: sheet.run && sheet.run.running ? "danger" : "quiet"
                onClicked: sheet.run && sheet.run.running ? sheet.run.cancel() : sheet.close()
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

                    objectName: "jobOutput"
                    width: flick.width
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    text: sheet.run ? sheet.run.output : ""
                    color: Theme.inkSoft
                    selectionColor: Theme.ion
                    selectedTextColor: Theme.onAccent
                    font: Theme.varied("JetBrains Mono", 400, 11.5)
                    Accessible.role: Accessible.EditableText
                    Accessible.name: "Job output"
                    onTextChanged: flick.contentY = Math.max(0, output.height - flick.height)
                }
            }
        }
    }
}
