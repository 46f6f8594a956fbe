pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Korvat

// Why a container, image, volume or network is the way it is, section by section, and the whole inspect
// document. Read when it opens and on the object's changes while open; closing stops that.
Sheet {
    id: sheet

    property Inspection inspection: null
    property Actions actions: null
    // 0: the sections, 1: the inspect document.
    property int page: 0

    function show(target: Inspection) {
        sheet.inspection = target;
        sheet.page = 0;
        sheet.open();
        target.start();
        scroller.forceActiveFocus();
    }

    objectName: "detailsSheet"
    width: Math.min(860, parent ? parent.width - 60 : 860)
    // As tall as its sections need, up to the window's; the document always takes the most.
    height: Math.min(sheet.page === 0 ? Math.max(360, body.implicitHeight + 110) : 680, parent ? parent.height - 60 : 680)
    closePolicy: document.findOpen ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: {
        if (sheet.inspection)
            sheet.inspection.stop();
        sheet.inspection = null;
    }

    FileDialog {
        id: saveDialog

        title: "Save inspect document"
        fileMode: FileDialog.SaveFile
        nameFilters: ["JSON files (*.json)", "All files (*)"]
        onAccepted: sheet.actions.saveText(sheet.inspection.document, saveDialog.selectedFile)
    }
    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Text {
                Layout.fillWidth: true
                elide: Text.ElideRight
                text: sheet.inspection ? sheet.inspection.title : ""
                color: Theme.ink
                font: Theme.varied("Space Grotesk", 600, 15)
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            KorButton {
                objectName: "detailsPage"
                variant: sheet.page === 0 ? "quiet" : "ghost"
                text: "Details"
                checkable: true
                checked: sheet.page === 0
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: sheet.page = 0
            }
            KorButton {
                objectName: "inspectPage"
                variant: sheet.page === 1 ? "quiet" : "ghost"
                text: "Inspect"
                help: "The whole docker inspect document"
                checkable: true
                checked: sheet.page === 1
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: sheet.page = 1
            }
            KorButton {
                objectName: "showValues"
                // One switch for both pages: what the sections hide, the document hides too.
                visible: sheet.inspection !== null && sheet.inspection.hasSecrets
                text: sheet.inspection && sheet.inspection.showSecrets ? "Hide values" : "Show values"
                iconName: sheet.inspection && sheet.inspection.showSecrets ? "eye.slash" : "eye"
                help: "Values that look secret are hidden until shown, on both pages and in what is copied, saved and found"
                onClicked: sheet.inspection.showSecrets = !sheet.inspection.showSecrets
            }
            KorButton {
                visible: sheet.page === 1
                variant: "ghost"
                iconName: "magnifyingglass"
                help: "Find (Ctrl+F)"
                onClicked: document.openFind()
            }
            KorButton {
                text: "Copy"
                iconName: "doc.on.doc"
                help: sheet.page === 0 ? (sheet.inspection ? sheet.inspection.copyHelp : "") : "Copy the inspect document"
                enabled: sheet.inspection !== null && sheet.inspection.loaded
                onClicked: sheet.page === 0 ? sheet.actions.copyString(sheet.inspection.copyText())
                                            : sheet.actions.copyText(sheet.inspection.document)
            }
            KorButton {
                visible: sheet.page === 1
                text: "Save…"
                iconName: "square.and.arrow.down"
                enabled: sheet.inspection !== null && sheet.inspection.loaded
                onClicked: {
                    saveDialog.selectedFile = sheet.actions.saveLocation(sheet.inspection.title);
                    saveDialog.open();
                }
            }
            KorButton {
                text: "Close"
                onClicked: sheet.close()
            }
        }
        // Said in place: a removed object keeps what was shown beneath it.
        Text {
            Layout.fillWidth: true
            objectName: "detailsGone"
            visible: sheet.inspection !== null && (sheet.inspection.gone || sheet.inspection.problem !== "")
            text: sheet.inspection ? (sheet.inspection.gone ? sheet.inspection.goneText : sheet.inspection.problem) : ""
            wrapMode: Text.Wrap
            color: sheet.inspection && sheet.inspection.gone ? Theme.muted : Theme.danger
            font: Theme.varied("Inter", 500, 13)
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        // One Tab stop that the arrows, Page Up/Down, Home and End scroll, so every section is
        // reachable without a pointer.
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: sheet.page === 0

            Flickable {
                id: scroller

                objectName: "detailsBody"
                anchors.fill: parent
                contentWidth: width
                contentHeight: body.implicitHeight + 16
                clip: true
                boundsBehavior: Flickable.StopAtBounds
                activeFocusOnTab: true
                Accessible.role: Accessible.Pane
                Accessible.name: "Details of " + (sheet.inspection ? sheet.inspection.title : "")
                ScrollBar.vertical: ScrollBar {}
                Keys.onPressed: event => {
                    const end = Math.max(0, scroller.contentHeight - scroller.height);
                    const step = event.key === Qt.Key_PageDown || event.key === Qt.Key_PageUp ? scroller.height - 40 : 40;
                    switch (event.key) {
                    case Qt.Key_Down:
                    case Qt.Key_PageDown: scroller.contentY = Math.min(end, scroller.contentY + step); break;
                    case Qt.Key_Up:
                    case Qt.Key_PageUp: scroller.contentY = Math.max(0, scroller.contentY - step); break;
                    case Qt.Key_Home: scroller.contentY = 0; break;
                    case Qt.Key_End: scroller.contentY = end; break;
                    default: return;
                    }
                    event.accepted = true;
                }

                ColumnLayout {
                    id: body

                    x: 10
                    y: 8
                    width: scroller.width - 28
                    spacing: 18

                    Text {
                        visible: sheet.inspection !== null && !sheet.inspection.loaded && sheet.inspection.problem === ""
                        text: "Reading…"
                        color: Theme.muted
                        font: Theme.varied("Inter", 400, 13)
                    }
                    Repeater {
                        model: sheet.inspection ? sheet.inspection.sections : []

                        delegate: ColumnLayout {
                            id: section

                            required property var modelData

                            Layout.fillWidth: true
                            spacing: 6

                            SectionCaption {
                                caption: section.modelData.title
                            }
                            Text {
                                visible: section.modelData.note !== ""
                                text: section.modelData.note
                                color: Theme.muted
                                font: Theme.varied("Inter", 400, 13)
                            }
                            Repeater {
                                model: section.modelData.rows

                                delegate: RowLayout {
                                    id: row

                                    required property var modelData

                                    Layout.fillWidth: true
                                    spacing: 14

                                    Text {
                                        Layout.preferredWidth: 170
                                        Layout.alignment: Qt.AlignTop
                                        text: row.modelData.label
                                        color: Theme.muted
                                        font: Theme.varied("Inter", 500, 13)
                                        // Label keys run long (org.opencontainers.image.…): wrapped, never cut.
                                        wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                                    }
                                    TextEdit {
                                        Layout.fillWidth: true
                                        text: row.modelData.value
                                        color: row.modelData.alarm ? Theme.danger : Theme.ink
                                        font: row.modelData.secret ? Theme.varied("JetBrains Mono", 400, 12) : Theme.varied("Inter", 400, 13)
                                        wrapMode: TextEdit.Wrap
                                        readOnly: true
                                        selectByMouse: true
                                        activeFocusOnTab: false
                                        Accessible.role: Accessible.StaticText
                                        Accessible.name: row.modelData.label + ": " + row.modelData.spoken
                                    }
                                    KorButton {
                                        visible: row.modelData.volume !== ""
                                        text: "Show in Volumes"
                                        help: "Close this and show " + row.modelData.volume + " among the volumes"
                                        variant: "ghost"
                                        Layout.alignment: Qt.AlignTop
                                        // Centred on the value's first line, without making the row taller.
                                        Layout.topMargin: -5
                                        Layout.bottomMargin: -5
                                        onClicked: {
                                            const volume = row.modelData.volume;
                                            sheet.close();
                                            sheet.actions.perform(Verb.ShowVolume, volume);
                                        }
                                    }
                                    KorButton {
                                        visible: row.modelData.url !== ""
                                        text: "Open in browser"
                                        help: row.modelData.url
                                        variant: "ghost"
                                        Layout.alignment: Qt.AlignTop
                                        // Centred on the value's first line, without making the row taller.
                                        Layout.topMargin: -5
                                        Layout.bottomMargin: -5
                                        onClicked: sheet.actions.perform(Verb.OpenInBrowser, "", row.modelData.url)
                                    }
                                }
                            }
                        }
                    }
                }
            }
            Rectangle {
                anchors.fill: parent
                color: "transparent"
                radius: 8
                border.width: scroller.activeFocus ? 2 : 0
                border.color: Theme.ion
            }
        }
        TranscriptView {
            id: document

            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: sheet.page === 1
            transcript: sheet.inspection ? sheet.inspection.document : null
            accessibleName: "Inspect document"
            findName: "Find in the document"
            emptyText: "reading…"
        }
    }
}
