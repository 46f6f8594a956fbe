pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// The lines of a log or an exec transcript: drawn in the theme's colours, followed at the
// end, found in, filtered. Only the lines on screen exist as items, so a flood of output
// costs what the buffer holds, not what has scrolled by.
ColumnLayout {
    id: view

    property Transcript transcript: null
    property string emptyText: ""
    property string accessibleName: "Log output"
    property string findName: "Find in logs"
    // The reader is at the end: new output keeps them there. Scrolled up, they stay put.
    property bool following: true
    // A whole document read once, not a stream: shown from its top, nothing to follow.
    property bool document: false
    property int newLines: 0
    property bool findOpen: false
    // Set while the view itself scrolls, so only the reader's scrolling changes following.
    property bool scrolling: false
    property int seen: 0

    function openFind() {
        view.findOpen = true;
        field.forceActiveFocus();
        field.selectAll();
    }
    function closeFind() {
        view.findOpen = false;
        if (view.transcript) {
            view.transcript.filtering = false;
            view.transcript.findText = "";
        }
        list.forceActiveFocus();
    }
    function jumpToEnd() {
        view.scrolling = true;
        list.positionViewAtEnd();
        view.scrolling = false;
        view.following = true;
        view.newLines = 0;
    }
    function showCurrent() {
        if (!view.transcript || view.transcript.currentRow < 0)
            return;
        view.following = false;
        view.scrolling = true;
        list.positionViewAtIndex(view.transcript.currentRow, ListView.Center);
        view.scrolling = false;
    }

    spacing: 8
    onTranscriptChanged: {
        Theme.paint(view.transcript);
        view.seen = view.transcript ? view.transcript.count : 0;
        view.findOpen = false;
        view.following = !view.document;
        toEnd.restart();
    }

    TextMetrics {
        id: serviceColumn

        font: Theme.varied("JetBrains Mono", 500, 11.5)
        text: view.transcript ? view.transcript.widestService : ""
    }
    // Jumps once the view has laid out what was added.
    Timer {
        id: toEnd

        interval: 0
        // The reader may have scrolled away since it was asked for.
        onTriggered: if (view.following) view.jumpToEnd()
    }

    Connections {
        function onReadingChanged() {
            Theme.paint(view.transcript);
        }
        target: Theme
    }
    Connections {
        function onCountChanged() {
            const added = view.transcript.count - view.seen;
            view.seen = view.transcript.count;
            if (view.following)
                toEnd.restart();
            else if (added > 0 && !view.document)
                view.newLines += added;
        }
        target: view.transcript
    }
    Shortcut {
        sequence: "Ctrl+F"
        // Only while the sheet shows: the window's own Ctrl+F searches the lists.
        enabled: view.visible
        onActivated: view.openFind()
    }
    Shortcut {
        sequences: ["F3", "Ctrl+G"]
        enabled: view.visible && view.findOpen
        onActivated: {
            view.transcript.next();
            view.showCurrent();
        }
    }
    Shortcut {
        sequences: ["Shift+F3", "Ctrl+Shift+G"]
        enabled: view.visible && view.findOpen
        onActivated: {
            view.transcript.previous();
            view.showCurrent();
        }
    }
    Shortcut {
        sequence: "Alt+R"
        enabled: view.visible && view.findOpen
        onActivated: view.transcript.regex = !view.transcript.regex
    }
    Shortcut {
        sequence: "Esc"
        enabled: view.visible && view.findOpen
        onActivated: view.closeFind()
    }

    RowLayout {
        Layout.fillWidth: true
        visible: view.findOpen
        spacing: 6

        TextField {
            id: field

            objectName: "findField"
            Layout.fillWidth: true
            placeholderText: view.findName
            placeholderTextColor: Theme.muted
            color: Theme.ink
            selectionColor: Theme.ion
            selectedTextColor: Theme.onAccent
            font: Theme.varied("JetBrains Mono", 400, 12)
            leftPadding: 30
            implicitHeight: 30
            text: view.transcript ? view.transcript.findText : ""
            Accessible.name: view.findName
            Accessible.description: status.text
            onTextEdited: {
                view.transcript.findText = field.text;
                view.showCurrent();
            }
            Keys.onReturnPressed: event => {
                if (event.modifiers & Qt.ShiftModifier)
                    view.transcript.previous();
                else
                    view.transcript.next();
                view.showCurrent();
            }
            Keys.onEnterPressed: event => Keys.returnPressed(event)
            background: Rectangle {
                radius: 8
                color: Theme.control
                border.width: field.activeFocus ? 2 : 1
                border.color: view.transcript && view.transcript.findInvalid ? Theme.danger : field.activeFocus ? Theme.ion : Theme.line
            }

            KorIcon {
                anchors.left: parent.left
                anchors.leftMargin: 10
                anchors.verticalCenter: parent.verticalCenter
                name: "magnifyingglass"
                tint: Theme.muted
                size: 14
            }
        }
        Text {
            id: status

            objectName: "findStatus"
            Layout.maximumWidth: 280
            elide: Text.ElideRight
            text: view.transcript ? view.transcript.findStatus : ""
            color: view.transcript && view.transcript.findInvalid ? Theme.errInk : Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11.5)
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        KorButton {
            variant: "ghost"
            iconName: "chevron.up"
            help: "Previous match (Shift+Enter)"
            onClicked: {
                view.transcript.previous();
                view.showCurrent();
            }
        }
        KorButton {
            variant: "ghost"
            iconName: "chevron.down"
            help: "Next match (Enter)"
            onClicked: {
                view.transcript.next();
                view.showCurrent();
            }
        }
        KorButton {
            variant: view.transcript && view.transcript.regex ? "quiet" : "ghost"
            iconName: "regex"
            help: "Regular expression (Alt+R)"
            checkable: true
            checked: view.transcript ? view.transcript.regex : false
            Accessible.checkable: true
            Accessible.checked: checked
            onToggled: view.transcript.regex = checked
        }
        KorButton {
            variant: view.transcript && view.transcript.filtering ? "quiet" : "ghost"
            iconName: "line.3.horizontal.decrease.circle"
            text: "Only matching"
            checkable: true
            checked: view.transcript ? view.transcript.filtering : false
            Accessible.checkable: true
            Accessible.checked: checked
            onToggled: view.transcript.filtering = checked
        }
        KorButton {
            variant: "ghost"
            iconName: "xmark"
            help: "Close find (Esc)"
            onClicked: view.closeFind()
        }
    }
    Text {
        Layout.fillWidth: true
        visible: text !== ""
        text: view.transcript ? view.transcript.note : ""
        wrapMode: Text.Wrap
        color: Theme.muted
        font: Theme.varied("Inter", 400, 11.5)
    }
    Rectangle {
        Layout.fillWidth: true
        Layout.fillHeight: true
        color: Theme.page
        border.color: Theme.line
        radius: 9

        ListView {
            id: list

            objectName: "logScroll"
            anchors.fill: parent
            anchors.margins: 10
            clip: true
            model: view.transcript
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            Accessible.role: Accessible.List
            Accessible.name: view.accessibleName
            Accessible.description: view.transcript ? view.transcript.shownText : ""
            ScrollBar.vertical: ScrollBar {}
            // Only the reader's own scrolling (a drag, a flick, the wheel) changes following.
            onContentYChanged: {
                if (!view.scrolling && list.moving)
                    view.following = list.atYEnd;
            }
            onMovementEnded: {
                view.following = list.atYEnd;
                if (view.following)
                    view.newLines = 0;
            }
            Keys.onPressed: event => {
                if (event.key === Qt.Key_End) {
                    view.jumpToEnd();
                    event.accepted = true;
                }
            }

            delegate: RowLayout {
                id: row

                required property string text
                required property string styled
                required property string time
                required property string service
                required property string serviceColor
                // Korvat's own note where lines were passed over: never drawn as output.
                required property bool note

                width: ListView.view.width
                spacing: 8

                Text {
                    Layout.alignment: Qt.AlignTop
                    visible: row.time !== ""
                    text: row.time
                    color: Theme.muted
                    font: Theme.varied("JetBrains Mono", 400, 11.5)
                    Accessible.ignored: true
                }
                Text {
                    Layout.alignment: Qt.AlignTop
                    Layout.preferredWidth: serviceColumn.width
                    visible: row.service !== ""
                    text: row.service
                    color: row.serviceColor !== "" ? row.serviceColor : Theme.muted
                    font: Theme.varied("JetBrains Mono", 500, 11.5)
                    Accessible.ignored: true
                }
                Text {
                    Layout.fillWidth: true
                    textFormat: Text.RichText
                    text: row.styled
                    wrapMode: Text.WrapAnywhere
                    color: row.note ? Theme.muted : Theme.inkSoft
                    font: Theme.varied("JetBrains Mono", 400, 11.5)
                    Accessible.role: Accessible.StaticText
                    Accessible.name: (row.service !== "" ? row.service + ": " : "") + row.text
                }
            }
        }
        Text {
            anchors.centerIn: parent
            width: parent.width - 60
            visible: !view.transcript || view.transcript.total === 0
            text: view.emptyText
            color: Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11.5)
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        KorButton {
            objectName: "jumpToEnd"
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            anchors.margins: 14
            visible: !view.following && !view.document
            variant: "accent"
            iconName: "arrow.down.to.line"
            text: view.transcript ? view.transcript.jumpText(view.newLines) : ""
            onClicked: view.jumpToEnd()
        }
        Text {
            anchors.left: parent.left
            anchors.bottom: parent.bottom
            anchors.margins: 14
            visible: text !== ""
            text: view.transcript ? view.transcript.shownText : ""
            color: Theme.muted
            font: Theme.varied("Inter", 500, 11.5)
        }
    }
}
