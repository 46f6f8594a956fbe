import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// Follows a container's or a project's log until it closes; closing ends the child.
Sheet {
    id: sheet

    property LogFollower follower: null
    property string subject: ""
    // The reader is at the end: new output keeps them there. Scrolled up, it leaves them be.
    property bool following: true
    // Set while the sheet itself scrolls, so only the reader's scrolling changes following.
    property bool scrolling: false

    function show(source: LogFollower, name: string) {
        sheet.follower = source;
        sheet.subject = name;
        sheet.following = true;
        transcript.text = source ? source.text : "";
        sheet.open();
        sheet.scrolling = true;
        flick.contentY = Math.max(0, transcript.height - flick.height);
        sheet.scrolling = false;
        if (source)
            source.start();
    }

    width: Math.min(880, parent ? parent.width - 60 : 880)
    height: Math.min(560, parent ? parent.height - 60 : 560)
    onClosed: {
        if (sheet.follower)
            sheet.follower.stop();
        sheet.follower = null;
        transcript.text = "";
    }

    Connections {
        function onTextChanged() {
            transcript.text = sheet.follower.text;
            if (sheet.following) {
                sheet.scrolling = true;
                flick.contentY = Math.max(0, transcript.height - flick.height);
                sheet.scrolling = false;
            }
        }

        target: sheet.follower
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
            KorButton {
                text: "Copy"
                iconName: "doc.on.doc"
                enabled: transcript.text !== ""
                onClicked: {
                    transcript.selectAll();
                    transcript.copy();
                    transcript.deselect();
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

                objectName: "logScroll"
                anchors.fill: parent
                anchors.margins: 10
                clip: true
                contentWidth: width
                contentHeight: transcript.height
                boundsBehavior: Flickable.StopAtBounds
                onContentYChanged: if (!sheet.scrolling) sheet.following = flick.contentY >= flick.contentHeight - flick.height - 4
                ScrollBar.vertical: ScrollBar {}

                TextEdit {
                    id: transcript

                    objectName: "logText"
                    width: flick.width
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    color: Theme.inkSoft
                    selectionColor: Theme.ion
                    selectedTextColor: Theme.onAccent
                    font: Theme.varied("JetBrains Mono", 400, 11.5)
                    Accessible.role: Accessible.EditableText
                    Accessible.name: "Log output"
                }
            }
            Text {
                anchors.centerIn: parent
                visible: transcript.text === ""
                text: "waiting for output…"
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11.5)
            }
        }
    }
}
