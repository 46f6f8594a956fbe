import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One runtime tool: what it is for, its versions, its badge and the one action that fits.
Rectangle {
    id: root

    required property string formula
    required property string name
    required property string purpose
    required property string installed
    required property string latest
    required property string badge
    required property string badgeKind
    required property bool actionRunsJob
    required property string actionLabel
    required property string actionHelp
    required property string homepage

    signal actionClicked(bool runsJob, string formula, string homepage)

    implicitHeight: row.implicitHeight + 24
    radius: 10
    color: Theme.card
    border.color: Theme.line
    Accessible.role: Accessible.Grouping
    Accessible.name: name

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: 12
        spacing: 12

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 3

            RowLayout {
                spacing: 8

                Text {
                    text: root.name
                    color: Theme.ink
                    font: Theme.varied("Inter", 600, 13)
                }
                KorBadge {
                    objectName: "toolBadge"
                    text: root.badge
                    fill: root.badgeKind === "error" ? Theme.errFill : root.badgeKind === "update" ? Theme.badgeFill : root.badgeKind === "success" ? Qt.rgba(Theme.success.r, Theme.success.g, Theme.success.b, 0.16) : Theme.pillFill
                    ink: root.badgeKind === "error" ? Theme.errInk : root.badgeKind === "update" ? Theme.badgeInk : root.badgeKind === "success" ? Theme.success : Theme.pillInk
                }
            }
            Text {
                Layout.fillWidth: true
                text: root.purpose
                color: Theme.muted
                font: Theme.varied("Inter", 400, 12)
                wrapMode: Text.Wrap
            }
            Text {
                text: "installed " + root.installed + "   latest " + root.latest
                color: Theme.ink
                font: Theme.varied("JetBrains Mono", 400, 11)
            }
        }
        KorButton {
            objectName: "toolAction"
            text: root.actionLabel
            help: root.actionHelp
            variant: root.actionRunsJob ? "accent" : "ghost"
            onClicked: root.actionClicked(root.actionRunsJob, root.formula, root.homepage)
        }
    }
}
