import QtQuick
import QtQuick.Layouts
import Korvat

// Long work under way: what it is, how far it got, a bar, and a way to stop it. A bar
// whose fraction is unknown (below 0) stays an empty track: nothing moves unless the work does.
RowLayout {
    id: root

    required property string title
    required property string detail
    required property real fraction
    required property bool stopping
    required property string spoken
    // Whose work it is, for the Stop button's description: "Stop" alone says little.
    required property string subject

    signal stop

    spacing: 10
    Accessible.role: Accessible.ProgressBar
    Accessible.name: root.spoken

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 4

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Text {
                Layout.fillWidth: true
                text: root.title
                color: Theme.ink
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideMiddle
            }
            Text {
                text: root.detail
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
            }
        }
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 4
            radius: 2
            color: Theme.wash

            Rectangle {
                width: parent.width * Math.max(0, Math.min(1, root.fraction))
                height: parent.height
                radius: 2
                color: root.stopping ? Theme.muted : Theme.ion
            }
        }
    }
    KorButton {
        objectName: "stopWork"
        text: "Stop"
        iconName: "stop"
        subject: root.subject
        detail: "Ends it now; what is done stays done"
        enabled: !root.stopping
        onClicked: root.stop()
    }
}
