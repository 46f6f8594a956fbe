pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// A project's file as compose resolves it, then the variables it uses and where each
// value came from.
Sheet {
    id: sheet

    property ComposeFileState file: null
    property Actions actions: null

    function show(target: ComposeFileState) {
        sheet.file = target;
        target.start();
        sheet.open();
    }

    objectName: "composeFileSheet"
    width: 780
    height: 600
    closePolicy: document.findOpen ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: sheet.file = null

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
                    text: sheet.file ? sheet.file.title : ""
                    color: Theme.ink
                    font: Theme.varied("Space Grotesk", 600, 15)
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                Text {
                    Layout.fillWidth: true
                    text: "As compose resolves it in " + (sheet.file ? sheet.file.directory : "")
                    color: Theme.muted
                    font: Theme.varied("Inter", 400, 12)
                    elide: Text.ElideMiddle
                }
            }
            KorButton {
                visible: sheet.file !== null && sheet.file.hasSecrets
                text: sheet.file && sheet.file.showSecrets ? "Hide values" : "Show values"
                iconName: sheet.file && sheet.file.showSecrets ? "eye.slash" : "eye"
                help: "Values that look secret are hidden until shown, in the file and in what is copied and found"
                onClicked: sheet.file.showSecrets = !sheet.file.showSecrets
            }
            KorButton {
                text: "Find"
                iconName: "magnifyingglass"
                enabled: sheet.file !== null && sheet.file.loaded
                onClicked: document.openFind()
            }
            KorButton {
                text: "Copy"
                iconName: "doc.on.doc"
                help: "Copy the resolved file"
                enabled: sheet.file !== null && sheet.file.loaded
                onClicked: sheet.actions.copyText(sheet.file.document)
            }
            KorButton {
                text: "Close"
                onClicked: sheet.close()
            }
        }
        Banner {
            Layout.fillWidth: true
            visible: sheet.file !== null && sheet.file.problem !== ""
            kind: "error"
            text: sheet.file ? sheet.file.problem : ""
        }
        TranscriptView {
            id: document

            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 160
            transcript: sheet.file ? sheet.file.document : null
            accessibleName: "Resolved compose file"
            findName: "Find in the compose file"
            document: true
            emptyText: "reading…"
        }
        SectionCaption {
            Layout.fillWidth: true
            caption: sheet.file ? sheet.file.variablesCaption : ""
        }
        ListView {
            id: variables

            objectName: "variables"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(contentHeight, 168)
            clip: true
            model: sheet.file ? sheet.file.variables : []
            activeFocusOnTab: true
            keyNavigationEnabled: true
            Accessible.role: Accessible.List
            Accessible.name: "Variables"
            ScrollBar.vertical: ScrollBar {}

            delegate: Rectangle {
                id: line

                required property var modelData
                required property int index

                width: variables.width
                implicitHeight: cells.implicitHeight + 10
                color: ListView.isCurrentItem && variables.activeFocus ? Theme.control : "transparent"
                radius: 6
                Accessible.role: Accessible.ListItem
                Accessible.name: line.modelData.name + ", " + line.modelData.source
                                 + (line.modelData.value !== "" ? ", " + line.modelData.spokenValue : "")
                Accessible.description: line.modelData.help

                RowLayout {
                    id: cells

                    anchors.left: parent.left
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.leftMargin: 6
                    anchors.rightMargin: 6
                    spacing: 12

                    Text {
                        Layout.preferredWidth: 190
                        Layout.alignment: Qt.AlignTop
                        text: line.modelData.name
                        color: Theme.ink
                        font: Theme.varied("JetBrains Mono", 500, 12)
                        elide: Text.ElideRight
                    }
                    KorBadge {
                        Layout.alignment: Qt.AlignTop
                        text: line.modelData.source
                        fill: line.modelData.missing ? Theme.errFill : Theme.pillFill
                        ink: line.modelData.missing ? Theme.errInk : Theme.pillInk
                    }
                    Text {
                        Layout.fillWidth: true
                        Layout.alignment: Qt.AlignTop
                        text: line.modelData.missing ? line.modelData.help : line.modelData.value
                        color: line.modelData.missing ? Theme.errInk : Theme.muted
                        font: line.modelData.missing ? Theme.varied("Inter", 400, 12) : Theme.varied("JetBrains Mono", 400, 12)
                        wrapMode: line.modelData.missing ? Text.Wrap : Text.NoWrap
                        elide: Text.ElideRight
                    }
                }
            }
        }
    }
}
