pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Layouts
import Korvat

// One compose project: its state, its compose controls, and a row per container.
Rectangle {
    id: root

    required property string name
    // What actions are asked with, its engine's name while several are shown, and how its
    // buttons name it aloud.
    required property string key
    required property string engine
    required property string subject
    required property string directoryLine
    required property bool directoryExists
    required property string badge
    required property string help
    required property bool composeEnabled
    required property int runningCount
    required property int total
    required property ContainerModel containers
    // The card of the containers that belong to no project: no compose, no directory.
    required property bool loose
    required property bool muted
    // Its badge, counts, directory and help, for a screen reader.
    required property string description
    // Its running containers' machine use added up.
    required property string usage
    // Its compose up under way, as the work model shows it; empty when none is.
    required property var work
    // Its services without a container, after its containers.
    required property ServiceModel services
    // What its last pull found, and the recreate it offers; empty when none.
    required property string pullSummary
    required property string recreateLabel
    // "2 services have newer images"; empty when none has.
    required property string newerLine
    // "2 of 3 services come back after a restart"; empty when all do.
    required property string comebackLine
    property bool busy: false
    // The open menu, while one is open.
    property KorMenu menu: null

    readonly property list<Item> keyButtons: [upButton, downButton, logsButton, more]
    // Its use added up fits beside the counts only in a wide card; a narrow one reads none.
    readonly property bool roomForUsage: width >= 720

    // detail: the service, for a service's verb.
    signal projectAction(int verb, string detail)
    signal containerAction(int verb, string id, string detail)
    signal stopWork(int id)

    function rowAt(i: int): Item {
        const containers = root.containers ? root.containers.count : 0;
        if (i < containers)
            return rows.rowAt(i);
        // Each entry is its separator line, then its row.
        const entry = serviceRows.itemAt(i - containers);
        return entry === null ? null : entry.children[1];
    }
    function press() {
        if (upButton.visible && upButton.enabled)
            root.projectAction(Verb.Up, "");
    }
    // From the keyboard: every action of the card, its buttons' first.
    function openMenu() {
        if (root.loose)
            return;
        root.menu = menuComponent.createObject(root, {everything: true}) as KorMenu;
        root.menu.popup(root, 50, header.y + header.height);
    }

    implicitHeight: column.implicitHeight + 2
    color: Theme.card
    border.color: activeFocus ? Theme.ion : Theme.line
    border.width: activeFocus ? 2 : 1
    radius: 12
    Accessible.role: Accessible.ListItem
    Accessible.name: name
    Accessible.description: description

    ColumnLayout {
        id: column

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 1
        spacing: 0

        RowLayout {
            id: header

            Layout.fillWidth: true
            Layout.margins: 14
            Layout.bottomMargin: root.help !== "" || root.total > 0 || (root.services?.count ?? 0) > 0 ? 8 : 14
            spacing: 10

            KorIcon {
                visible: root.loose
                name: "shippingbox"
                tint: Theme.muted
                size: 22
            }
            RunRing {
                visible: !root.loose
                size: 26
                running: root.runningCount
                total: root.total
                dimmed: root.runningCount === 0
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                RowLayout {
                    spacing: 8

                    Text {
                        text: root.name
                        color: Theme.ink
                        font: Theme.varied("Space Grotesk", 600, 15)
                        Accessible.role: Accessible.Heading
                        Accessible.name: root.subject
                    }
                    KorBadge {
                        objectName: "engineBadge"
                        visible: root.engine !== ""
                        text: root.engine
                        fill: "transparent"
                        ink: Theme.muted
                        Accessible.ignored: true
                    }
                    KorBadge {
                        objectName: "stateBadge"
                        visible: root.badge !== ""
                        text: root.badge
                        fill: root.directoryExists ? Theme.pillFill : Theme.errFill
                        ink: root.directoryExists ? Theme.pillInk : Theme.errInk
                    }
                    Text {
                        visible: root.total > 0
                        text: root.loose ? String(root.total) : root.runningCount + "/" + root.total + " running"
                        color: Theme.muted
                        font: Theme.varied("JetBrains Mono", 400, 11)
                    }
                    Text {
                        visible: root.roomForUsage && root.usage !== ""
                        text: root.usage
                        color: Theme.muted
                        font: Theme.varied("JetBrains Mono", 400, 11)
                    }
                }
                Text {
                    Layout.fillWidth: true
                    visible: !root.loose
                    text: root.directoryLine
                    color: root.directoryExists ? Theme.muted : Theme.errInk
                    font: Theme.varied("JetBrains Mono", 400, 11)
                    elide: Text.ElideMiddle
                }
            }
            KorButton {
                id: upButton

                subject: root.subject
                tabStop: false
                objectName: "up"
                visible: !root.loose
                text: "Up"
                iconName: "arrow.up.circle"
                variant: root.runningCount === 0 ? "accent" : "quiet"
                enabled: root.composeEnabled && !root.busy
                onClicked: root.projectAction(Verb.Up, "")
            }
            KorButton {
                id: downButton

                subject: root.subject
                tabStop: false
                objectName: "down"
                visible: !root.loose
                text: "Down"
                iconName: "arrow.down.circle"
                enabled: root.composeEnabled && !root.busy
                onClicked: root.projectAction(Verb.Down, "")
            }
            KorButton {
                id: logsButton

                subject: root.subject
                tabStop: false
                visible: !root.loose
                variant: "ghost"
                iconName: "text.alignleft"
                help: "Project logs"
                onClicked: root.projectAction(Verb.ProjectLogs, "")
            }
            KorButton {
                id: more

                subject: root.subject
                tabStop: false
                objectName: "more"
                visible: !root.loose
                variant: "ghost"
                iconName: "ellipsis"
                help: "More actions for " + root.subject
                onClicked: {
                    root.menu = menuComponent.createObject(root) as KorMenu;
                    root.menu.popup(more, 0, more.height);
                }
            }
        }
        Text {
            objectName: "help"
            Layout.fillWidth: true
            Layout.leftMargin: 50
            Layout.rightMargin: 14
            Layout.bottomMargin: root.total > 0 || (root.services?.count ?? 0) > 0 ? 8 : 14
            visible: root.help !== ""
            text: root.help
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12)
            wrapMode: Text.Wrap
        }
        // Compose up under way: its bar, then what compose says of each service.
        ColumnLayout {
            objectName: "upProgress"
            Layout.fillWidth: true
            Layout.leftMargin: 50
            Layout.rightMargin: 14
            Layout.bottomMargin: 10
            visible: root.work.workId !== undefined
            spacing: 3

            WorkBar {
                Layout.fillWidth: true
                title: root.work.title ?? ""
                detail: root.work.detail ?? ""
                fraction: root.work.fraction ?? -1
                stopping: root.work.stopping ?? false
                spoken: root.work.spoken ?? ""
                subject: root.subject
                onStop: root.stopWork(root.work.workId)
            }
            Repeater {
                model: root.work.services ?? []

                RowLayout {
                    id: serviceLine

                    required property var modelData

                    Layout.fillWidth: true
                    spacing: 8

                    Text {
                        Layout.preferredWidth: 120
                        Layout.alignment: Qt.AlignTop
                        text: serviceLine.modelData.service
                        color: Theme.ink
                        font: Theme.varied("JetBrains Mono", 400, 11)
                        elide: Text.ElideRight
                    }
                    // A failure is read whole: compose's message wraps, to three lines at most.
                    Text {
                        Layout.fillWidth: true
                        Layout.alignment: Qt.AlignTop
                        text: serviceLine.modelData.state
                        color: serviceLine.modelData.failed ? Theme.errInk : Theme.muted
                        font: Theme.varied("JetBrains Mono", 400, 11)
                        wrapMode: Text.Wrap
                        maximumLineCount: 3
                        elide: Text.ElideRight
                    }
                }
            }
        }
        // Its services run images whose tags moved on: the way on is the card's own pull, whose
        // summary then offers to recreate them. The summary, once there, says it instead.
        RowLayout {
            objectName: "newerLine"
            Layout.fillWidth: true
            Layout.leftMargin: 50
            Layout.rightMargin: 14
            Layout.bottomMargin: 10
            visible: root.newerLine !== "" && root.pullSummary === "" && root.work.workId === undefined
            spacing: 8

            KorIcon {
                name: "opticaldisc"
                tint: Theme.badgeInk
                size: 14
            }
            Text {
                Layout.fillWidth: true
                text: root.newerLine
                color: Theme.badgeInk
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideRight
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            KorButton {
                objectName: "pullNewer"
                subject: root.subject
                text: "Pull newer images"
                iconName: "arrow.down.circle"
                enabled: root.composeEnabled && !root.busy
                onClicked: root.projectAction(Verb.PullNewer, "")
            }
        }
        // Quiet: nothing is wrong now. The way on is a line for the user's own file, which
        // Korvat never edits.
        RowLayout {
            objectName: "comebackLine"
            Layout.fillWidth: true
            Layout.leftMargin: 50
            Layout.rightMargin: 14
            Layout.bottomMargin: 10
            visible: root.comebackLine !== "" && !root.loose
            spacing: 8

            KorIcon {
                name: "arrow.clockwise"
                tint: Theme.muted
                size: 14
            }
            Text {
                Layout.fillWidth: true
                text: root.comebackLine
                color: Theme.muted
                font: Theme.varied("Inter", 500, 12)
                elide: Text.ElideRight
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            KorButton {
                objectName: "keepRunning"
                subject: root.subject
                // The keyboard reaches it through the card's menu.
                tabStop: false
                text: "Keep running after restarts…"
                onClicked: root.projectAction(Verb.KeepServicesRunning, "")
            }
        }
        // The last pull's findings, until recreated or dismissed.
        RowLayout {
            objectName: "pullSummary"
            Layout.fillWidth: true
            Layout.leftMargin: 50
            Layout.rightMargin: 14
            Layout.bottomMargin: 10
            visible: root.pullSummary !== "" && root.work.workId === undefined
            spacing: 8

            Text {
                Layout.fillWidth: true
                text: root.pullSummary
                color: Theme.ink
                font: Theme.varied("Inter", 400, 12)
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            KorButton {
                objectName: "recreate"
                subject: root.subject
                visible: root.recreateLabel !== ""
                text: root.recreateLabel
                iconName: "arrow.clockwise"
                variant: "accent"
                enabled: root.composeEnabled && !root.busy
                onClicked: root.projectAction(Verb.Recreate, "")
            }
            KorButton {
                subject: root.subject
                variant: "ghost"
                iconName: "xmark"
                help: "Dismiss the pull's summary"
                onClicked: root.projectAction(Verb.DismissPull, "")
            }
        }
        ContainerRows {
            id: rows

            Layout.fillWidth: true
            model: root.containers
            busy: root.busy
            readsUsage: root.roomForUsage
            composeEnabled: root.composeEnabled
            onAction: (verb, id, detail) => {
                if (verb >= Verb.ServiceUp && verb <= Verb.ServiceLogs)
                    root.projectAction(verb, detail);
                else
                    root.containerAction(verb, id, detail);
            }
        }
        Repeater {
            id: serviceRows

            model: root.services

            ColumnLayout {
                id: serviceEntry

                required property string serviceName
                required property string image
                required property string serviceState
                required property bool notCreated
                required property string description

                Layout.fillWidth: true
                spacing: 0

                Rectangle {
                    Layout.fillWidth: true
                    implicitHeight: 1
                    color: Theme.line
                }
                ServiceRow {
                    Layout.fillWidth: true
                    Layout.leftMargin: 4
                    Layout.rightMargin: 4
                    serviceName: serviceEntry.serviceName
                    image: serviceEntry.image
                    serviceState: serviceEntry.serviceState
                    notCreated: serviceEntry.notCreated
                    description: serviceEntry.description
                    enabledUp: root.composeEnabled && !root.busy
                    onUp: root.projectAction(Verb.ServiceUp, serviceEntry.serviceName)
                }
            }
        }
    }
    // Made when asked for: a menu per row would cost every row its items up front.
    Component {
        id: menuComponent

        KorMenu {
            id: menu

            property bool everything: false

            onClosed: {
                root.menu = null;
                menu.destroy();
            }

            KorMenuItem {
                text: "Up"
                visible: menu.everything
                enabled: menu.everything && upButton.enabled
                onTriggered: root.projectAction(Verb.Up, "")
            }
            KorMenuItem {
                text: "Down"
                visible: menu.everything
                enabled: menu.everything && downButton.enabled
                onTriggered: root.projectAction(Verb.Down, "")
            }
            KorMenuItem {
                text: "Project logs"
                visible: menu.everything
                enabled: menu.everything
                onTriggered: root.projectAction(Verb.ProjectLogs, "")
            }

            KorMenuItem {
                text: "Pull newer images"
                enabled: root.composeEnabled && !root.busy
                onTriggered: root.projectAction(Verb.PullNewer, "")
            }
            KorMenuItem {
                text: "Keep running after restarts…"
                visible: root.comebackLine !== ""
                onTriggered: root.projectAction(Verb.KeepServicesRunning, "")
            }
            KorMenuItem {
                text: "Show compose file"
                enabled: root.composeEnabled
                onTriggered: root.projectAction(Verb.ShowComposeFile, "")
            }
            KorMenuItem {
                text: "Start all"
                enabled: root.total > 0
                onTriggered: root.projectAction(Verb.StartAll, "")
            }
            KorMenuItem {
                text: "Stop all"
                enabled: root.total > 0
                onTriggered: root.projectAction(Verb.StopAll, "")
            }
            KorMenuItem {
                text: root.muted ? "Unmute failure notifications" : "Mute failure notifications"
                visible: !root.loose
                onTriggered: root.projectAction(Verb.ToggleMute, "")
            }
            KorMenuItem {
                text: "Reveal in File Manager"
                enabled: root.directoryExists
                onTriggered: root.projectAction(Verb.Reveal, "")
            }
            KorMenuItem {
                text: "Locate compose file…"
                onTriggered: root.projectAction(Verb.Locate, "")
            }
            KorMenuItem {
                text: "Remove from Korvat"
                onTriggered: root.projectAction(Verb.Forget, "")
            }
            KorMenuItem {
                text: "Delete project…"
                danger: true
                enabled: !root.busy
                onTriggered: root.projectAction(Verb.DeleteProject, "")
            }
        }
    }
}
