pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Korvat

// One container with every action on it. It asks for nothing itself: each click goes up as
// an action name, and the window decides what it does.
Rectangle {
    id: root

    required property string containerId
    required property string name
    // Its engine's name while rows of several are shown; how its buttons name it aloud.
    required property string engine
    required property string subject
    required property string image
    required property string status
    required property string ports
    required property string project
    required property string dot
    required property string containerState
    required property string actionLabel
    required property bool primaryQuiet
    required property string pauseLabel
    required property bool running
    required property bool failed
    // What its line shows, for a screen reader.
    required property string description
    // Where a browser reaches its published TCP ports: {label, url} each.
    required property var links
    // Its machine use ("CPU 12% · 48 MB") and the last minute of its CPU, while it runs.
    required property string usage
    required property string usageSpoken
    required property list<real> trend
    // The registry has a newer image for its tag, and why Korvat says so.
    required property bool newer
    required property string newerReason
    // It runs now but is not sure to run once its engine starts again: the mark, and why.
    required property string stays
    required property string staysReason
    // Restart policy unless-stopped would bring it back.
    required property bool keepable
    // The model the row comes from, told while the row shows its use: only what someone
    // sees is read.
    property ContainerModel shownIn: null
    // Whether its use is read: while it shows it, or while its card adds it up.
    property bool readsUsage: usageBlock.visible
    property bool showProject: false
    property bool busy: false
    // The open menu, while one is open.
    property KorMenu menu: null
    property string terminalHelp: ""
    // Its compose service, where compose may act on it; empty elsewhere.
    property string service: ""

    readonly property list<Item> keyButtons: [primaryButton, restartButton, logsButton, consoleButton, more]

    signal action(int verb, string detail)

    function press() {
        root.action(Verb.Primary, "");
    }
    function details() {
        root.action(Verb.Details, "");
    }
    // From the keyboard: every action of the row, its buttons' first.
    function openMenu() {
        root.menu = menuComponent.createObject(root, {everything: true}) as KorMenu;
        root.menu.popup(root, 40, root.height);
    }

    UsageTicket {
        model: root.shownIn
        containerId: root.containerId
        active: root.readsUsage
    }

    implicitHeight: 52
    color: hover.hovered ? Theme.control : "transparent"
    radius: 8
    border.width: activeFocus ? 2 : 0
    border.color: Theme.ion
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.description: description

    HoverHandler {
        id: hover
    }
    TapHandler {
        acceptedButtons: Qt.LeftButton
        onDoubleTapped: root.details()
    }
    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 8
        spacing: 10

        StatusDot {
            dot: root.dot
            failed: root.failed
        }
        ColumnLayout {
            Layout.fillWidth: true
            Layout.minimumWidth: 90
            spacing: 2
            // The command a user would type to get a shell here, as "Open in Terminal" runs it.
            ToolTip.visible: nameHover.hovered && root.terminalHelp !== ""
            ToolTip.text: root.terminalHelp
            ToolTip.delay: 900

            HoverHandler {
                id: nameHover
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: 8

                // Its own width, so the badge sits beside it; short of room, it elides. The
                // width is measured apart: an elided Text reports its elided width as implicit.
                TextMetrics {
                    id: nameWidth

                    font: nameText.font
                    text: root.name
                }
                Text {
                    id: nameText

                    Layout.preferredWidth: Math.ceil(nameWidth.advanceWidth)
                    Layout.minimumWidth: 30
                    text: root.name
                    color: Theme.ink
                    font: Theme.varied("Inter", 500, 13)
                    elide: Text.ElideRight
                }
                // Steps back in a narrow window, where the name matters more.
                KorBadge {
                    Layout.minimumWidth: implicitWidth
                    // Beside an engine's badge only where there is room for both.
                    visible: root.showProject && root.project !== "" && root.width >= (root.engine !== "" ? 1200 : 620)
                    text: root.project
                }
                KorBadge {
                    objectName: "engineBadge"
                    Layout.minimumWidth: implicitWidth
                    visible: root.engine !== ""
                    text: root.engine
                    fill: "transparent"
                    ink: Theme.muted
                    Accessible.ignored: true
                }
                Item {
                    Layout.fillWidth: true
                }
            }
            // The image, with its newer one's badge beside it, then the ports. Each text keeps
            // its own width while there is room; short of it, it elides (a layout shrinks only
            // what fills).
            RowLayout {
                Layout.fillWidth: true
                spacing: 0

                TextMetrics {
                    id: imageWidth

                    font: imageText.font
                    text: root.image
                }
                Text {
                    id: imageText

                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(imageWidth.advanceWidth)
                    // The ports elide first; beside the badge, the image gives way too.
                    Layout.minimumWidth: root.newer || root.stays !== "" ? 40 : Math.min(Layout.maximumWidth, 120)
                    text: root.image
                    color: Theme.muted
                    font: Theme.varied("JetBrains Mono", 400, 11)
                    elide: Text.ElideMiddle
                }
                KorBadge {
                    objectName: "newerBadge"
                    Layout.leftMargin: 8
                    Layout.minimumWidth: implicitWidth
                    // No taller than the line, so a row with it keeps its name where others do.
                    Layout.preferredHeight: imageText.implicitHeight
                    visible: root.newer
                    text: "Newer image"
                    help: root.newerReason
                    fill: Theme.badgeFill
                    ink: Theme.badgeInk
                }
                // Quiet: nothing is wrong now, but a restart will change it.
                KorBadge {
                    objectName: "staysMark"
                    Layout.leftMargin: 6
                    Layout.minimumWidth: implicitWidth
                    Layout.preferredHeight: imageText.implicitHeight
                    visible: root.stays !== ""
                    text: root.stays
                    help: root.staysReason
                    fill: "transparent"
                    ink: Theme.muted
                    border.color: Theme.line
                    border.width: 1
                }
                TextMetrics {
                    id: portsWidth

                    font: portsText.font
                    text: portsText.text
                }
                Text {
                    id: portsText

                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(portsWidth.advanceWidth)
                    visible: root.ports !== ""
                    text: "  ·  " + root.ports
                    color: Theme.muted
                    font: Theme.varied("JetBrains Mono", 400, 11)
                    elide: Text.ElideRight
                }
                Item {
                    Layout.fillWidth: true
                }
            }
        }
        Text {
            // Its own width up to a limit: short of room, the name keeps more of itself.
            Layout.preferredWidth: Math.min(implicitWidth, 170)
            Layout.minimumWidth: 60
            text: root.status
            color: root.failed ? Theme.danger : Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11)
            horizontalAlignment: Text.AlignRight
            elide: Text.ElideRight
        }
        // Its room is kept on rows that read nothing, so the statuses stay in one column; it
        // steps back in a narrow window, as the project badge does.
        RowLayout {
            id: usageBlock

            visible: root.width >= 640
            spacing: 6

            Sparkline {
                implicitWidth: 44
                implicitHeight: 16
                values: root.trend
                color: Theme.ion
            }
            // As wide as the widest it reads, so the columns stay put as numbers change.
            TextMetrics {
                id: usageWidth

                font: usageText.font
                text: "CPU 100% · 999 MB"
            }
            Text {
                id: usageText

                Layout.preferredWidth: Math.ceil(usageWidth.advanceWidth)
                text: root.usage
                color: Theme.muted
                font: Theme.varied("JetBrains Mono", 400, 11)
                Accessible.name: root.usageSpoken
            }
        }
        KorButton {
            id: primaryButton

            subject: root.subject
            tabStop: false
            objectName: "primary"
            Layout.preferredWidth: 76
            text: root.actionLabel
            variant: root.primaryQuiet ? "quiet" : "accent"
            onClicked: root.action(Verb.Primary, "")
        }
        KorButton {
            id: restartButton

            subject: root.subject
            tabStop: false
            variant: "ghost"
            iconName: "arrow.clockwise"
            help: "Restart"
            onClicked: root.action(Verb.Restart, "")
        }
        KorButton {
            id: logsButton

            subject: root.subject
            tabStop: false
            variant: "ghost"
            iconName: "text.alignleft"
            help: "Logs"
            onClicked: root.action(Verb.ContainerLogs, "")
        }
        KorButton {
            id: consoleButton

            subject: root.subject
            tabStop: false
            objectName: "console"
            variant: "ghost"
            iconName: "terminal"
            help: root.running ? "Run a command" : "Commands run only in a running container"
            enabled: root.running
            onClicked: root.action(Verb.Console, "")
        }
        KorButton {
            id: more

            subject: root.subject
            tabStop: false
            objectName: "more"
            variant: "ghost"
            iconName: "ellipsis"
            help: "More actions for " + root.subject
            onClicked: {
                root.menu = menuComponent.createObject(root) as KorMenu;
                root.menu.popup(more, 0, more.height);
            }
        }
    }
    // Made when asked for: a menu per row would cost every row its items up front.
    Component {
        id: menuComponent

        KorMenu {
            id: menu

            property bool everything: false

            // One port is one item; several are a submenu, which a menu cannot hide.
            onAboutToShow: {
                if (root.links.length < 2)
                    menu.removeMenu(linksMenu);
                if (root.service === "")
                    menu.removeMenu(serviceMenu);
            }
            onClosed: {
                root.menu = null;
                menu.destroy();
            }

            KorMenuItem {
                text: root.actionLabel
                visible: menu.everything
                enabled: menu.everything
                onTriggered: root.action(Verb.Primary, "")
            }
            KorMenuItem {
                text: "Restart"
                visible: menu.everything
                enabled: menu.everything
                onTriggered: root.action(Verb.Restart, "")
            }
            KorMenuItem {
                text: "Logs"
                visible: menu.everything
                enabled: menu.everything
                onTriggered: root.action(Verb.ContainerLogs, "")
            }
            KorMenuItem {
                text: "Run a command"
                visible: menu.everything
                enabled: menu.everything && root.running
                onTriggered: root.action(Verb.Console, "")
            }
            KorMenuItem {
                text: root.pauseLabel
                visible: root.pauseLabel !== ""
                onTriggered: root.action(Verb.TogglePause, "")
            }
            KorMenuItem {
                text: "Open in Terminal"
                help: root.terminalHelp
                onTriggered: root.action(Verb.OpenTerminal, "")
            }
            KorMenuItem {
                text: "Open in browser"
                help: root.links.length === 1 ? root.links[0].url : ""
                visible: root.links.length === 1
                enabled: visible
                onTriggered: root.action(Verb.OpenInBrowser, root.links[0].url)
            }
            KorMenu {
                id: linksMenu

                title: "Open in browser"

                Instantiator {
                    model: root.links.length > 1 ? root.links : []
                    delegate: KorMenuItem {
                        required property var modelData

                        text: modelData.label
                        help: modelData.url
                        onTriggered: root.action(Verb.OpenInBrowser, modelData.url)
                    }
                    onObjectAdded: (index, item) => linksMenu.insertItem(index, item)
                    onObjectRemoved: (index, item) => linksMenu.removeItem(item)
                }
            }
            // Through compose, for every container of the service at once.
            KorMenu {
                id: serviceMenu

                title: "Service " + root.service

                KorMenuItem {
                    text: "Up"
                    enabled: !root.busy
                    onTriggered: root.action(Verb.ServiceUp, root.service)
                }
                KorMenuItem {
                    text: "Start"
                    enabled: !root.busy
                    onTriggered: root.action(Verb.ServiceStart, root.service)
                }
                KorMenuItem {
                    text: "Stop"
                    enabled: !root.busy
                    onTriggered: root.action(Verb.ServiceStop, root.service)
                }
                KorMenuItem {
                    text: "Restart"
                    enabled: !root.busy
                    onTriggered: root.action(Verb.ServiceRestart, root.service)
                }
                KorMenuItem {
                    text: "Logs"
                    onTriggered: root.action(Verb.ServiceLogs, root.service)
                }
            }
            // A lone container: a project's are made again through compose, from its card.
            KorMenuItem {
                text: "Pull newer image"
                help: root.newerReason
                visible: root.newer && root.project === ""
                enabled: visible && !root.busy
                onTriggered: root.action(Verb.PullNewerImage, "")
            }
            // A lone container is changed in place; a service is shown the line for its file.
            KorMenuItem {
                text: root.project === "" ? "Keep running after restarts" : "Keep running after restarts…"
                help: root.project === "" ? "Sets its restart policy to unless-stopped. " + root.staysReason : root.staysReason
                visible: root.keepable
                enabled: visible && !root.busy
                onTriggered: root.action(Verb.KeepRunning, "")
            }
            KorMenuItem {
                text: "Details"
                help: "Ctrl+I"
                onTriggered: root.action(Verb.Details, "")
            }
            KorMenuItem {
                text: "Copy container ID"
                onTriggered: root.action(Verb.CopyId, "")
            }
            KorMenuItem {
                text: "Commit to image…"
                enabled: !root.busy
                onTriggered: root.action(Verb.Commit, "")
            }
            KorMenuItem {
                text: "Remove"
                danger: true
                enabled: !root.busy
                onTriggered: root.action(Verb.RemoveContainer, "")
            }
        }
    }
}
