pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Korvat

// What deleting a project removes and keeps, the trash choice, and the deletion itself.
Sheet {
    id: sheet

    property ProjectDeletion deletion: null

    function show(target: ProjectDeletion) {
        sheet.deletion = target;
        sheet.open();
        if (target)
            target.start();
    }

    width: 560
    height: Math.min(implicitHeight, parent ? parent.height - 60 : 600)
    closePolicy: deletion && deletion.working ? Popup.NoAutoClose : Popup.CloseOnEscape
    onClosed: sheet.deletion = null

    FolderDialog {
        id: backupDialog

        title: "Choose where the volumes' backups go"
        onAccepted: sheet.deletion.setBackupFolderUrl(selectedFolder)
    }
    Connections {
        function onFinished() {
            sheet.close();
        }

        target: sheet.deletion
    }
    component Section: ColumnLayout {
        id: section

        required property string title
        required property string detail
        default property alias rows: rowsColumn.data

        Layout.fillWidth: true
        spacing: 4

        Text {
            text: section.title
            color: Theme.ink
            font: Theme.varied("Inter", 600, 13)
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            Layout.fillWidth: true
            text: section.detail
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12)
            wrapMode: Text.Wrap
        }
        // A positioner, not a layout: in Qt 6.4 a layout left the rows of a sheet opened a
        // second time (after a change of reading) stacked on one another.
        Column {
            id: rowsColumn

            Layout.fillWidth: true
            Layout.topMargin: 4
            spacing: 2
        }
    }
    component Row: RowLayout {
        id: row

        required property string icon
        required property string title
        property string trailing: ""
        property color tint: Theme.ink

        width: parent ? parent.width : 0
        spacing: 8

        KorIcon {
            name: row.icon
            tint: row.tint
            size: 15
        }
        Text {
            Layout.fillWidth: true
            text: row.title
            color: Theme.ink
            font: Theme.varied("JetBrains Mono", 400, 12)
            elide: Text.ElideMiddle
        }
        Text {
            visible: row.trailing !== ""
            text: row.trailing
            color: Theme.muted
            font: Theme.varied("JetBrains Mono", 400, 11)
            elide: Text.ElideRight
            Layout.maximumWidth: 240
        }
    }

    contentItem: ColumnLayout {
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            KorIcon {
                name: "trash"
                tint: Theme.danger
                size: 20
            }
            Text {
                Layout.fillWidth: true
                text: sheet.deletion ? sheet.deletion.title : ""
                color: Theme.ink
                font: Theme.varied("Space Grotesk", 600, 16)
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
        }
        Text {
            visible: sheet.deletion !== null && !sheet.deletion.planned
            text: "Working out what this would remove…"
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12.5)
        }
        Section {
            objectName: "containersSection"
            visible: sheet.deletion !== null && sheet.deletion.containers.length > 0
            title: "Containers"
            detail: "Stopped and removed."

            Repeater {
                model: sheet.deletion ? sheet.deletion.containers : []

                Row {
                    required property string modelData

                    icon: "shippingbox"
                    title: modelData
                }
            }
        }
        Section {
            objectName: "volumesSection"
            visible: sheet.deletion !== null && sheet.deletion.removable.length > 0
            title: "Volumes"
            detail: "Nothing else on this runtime mounts these. Their data goes with them, and this cannot be undone."

            Repeater {
                model: sheet.deletion ? sheet.deletion.removable : []

                Row {
                    required property var modelData

                    icon: "externaldrive"
                    tint: Theme.danger
                    title: modelData.name
                    trailing: modelData.trailing
                }
            }
            KorButton {
                objectName: "backUpFirst"
                readonly property bool chosen: sheet.deletion !== null && sheet.deletion.backupFolder !== ""

                variant: "ghost"
                text: chosen ? "Back up first" : "Back up first…"
                help: "Save each volume to a .tar archive in a folder you choose before anything is removed"
                iconName: chosen ? "checkmark.square" : "square"
                checkable: true
                checked: chosen
                enabled: sheet.deletion !== null && !sheet.deletion.working
                Accessible.role: Accessible.CheckBox
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: {
                    if (chosen)
                        sheet.deletion.backupFolder = "";
                    else
                        backupDialog.open();
                    checked = Qt.binding(() => chosen);
                }
            }
            Text {
                objectName: "backupLine"
                Layout.fillWidth: true
                visible: text !== ""
                text: sheet.deletion ? sheet.deletion.backupLine : ""
                color: sheet.deletion && sheet.deletion.backupFailed ? Theme.danger : Theme.muted
                font: Theme.varied("Inter", 400, 12)
                wrapMode: Text.Wrap
            }
        }
        Section {
            objectName: "keptSection"
            visible: sheet.deletion !== null && sheet.deletion.kept.length > 0
            title: "Kept — in use elsewhere"
            detail: sheet.deletion ? sheet.deletion.keptDetail : ""

            Repeater {
                model: sheet.deletion ? sheet.deletion.kept : []

                Row {
                    required property var modelData

                    icon: "externaldrive.badge.checkmark"
                    tint: Theme.success
                    title: modelData.name
                    trailing: modelData.trailing
                }
            }
        }
        Section {
            objectName: "filesSection"
            visible: sheet.deletion !== null && sheet.deletion.workingDir !== ""
            title: "Files"
            detail: "The compose file, any .env beside it, and everything else in this directory."

            Row {
                icon: "folder"
                title: sheet.deletion ? sheet.deletion.workingDir : ""
            }
            KorButton {
                objectName: "moveToTrash"
                variant: "ghost"
                text: "Move to Trash"
                iconName: sheet.deletion && sheet.deletion.trashDirectory ? "checkmark.square" : "square"
                checkable: true
                checked: sheet.deletion !== null && sheet.deletion.trashDirectory
                enabled: sheet.deletion !== null && !sheet.deletion.working
                Accessible.role: Accessible.CheckBox
                Accessible.checkable: true
                Accessible.checked: checked
                onClicked: sheet.deletion.trashDirectory = !sheet.deletion.trashDirectory
            }
        }
        Section {
            objectName: "stepsSection"
            visible: sheet.deletion !== null && sheet.deletion.steps.length > 0
            title: "Progress"
            detail: sheet.deletion ? sheet.deletion.progress : ""

            Repeater {
                model: sheet.deletion ? sheet.deletion.steps : []

                Row {
                    required property var modelData
                    readonly property var tints: ({
                            "pending": Theme.muted,
                            "running": Theme.ion,
                            "done": Theme.success,
                            "failed": Theme.danger,
                            "skipped": Theme.muted
                        })

                    icon: modelData.icon
                    tint: tints[modelData.state]
                    title: modelData.text
                    trailing: modelData.failure
                }
            }
        }
        Text {
            Layout.fillWidth: true
            visible: sheet.deletion !== null && sheet.deletion.planned && sheet.deletion.steps.length === 0
            text: "Bind-mounted directories and images are not touched."
            color: Theme.muted
            font: Theme.varied("Inter", 400, 12)
            wrapMode: Text.Wrap
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: 4
            spacing: 8

            BusyIndicator {
                Layout.preferredWidth: 20
                Layout.preferredHeight: 20
                running: sheet.deletion !== null && sheet.deletion.working
                visible: running
                Accessible.name: "Deleting"
            }
            Item {
                Layout.fillWidth: true
            }
            KorButton {
                objectName: "cancelOrStop"
                readonly property bool working: sheet.deletion !== null && sheet.deletion.working

                text: working ? "Stop" : "Cancel"
                detail: working ? "Ends the deletion once the step under way is done" : ""
                enabled: !working || !sheet.deletion.stopping
                onClicked: working ? sheet.deletion.stop() : sheet.close()
            }
            KorButton {
                objectName: "deleteButton"
                text: sheet.deletion ? sheet.deletion.label : "Delete"
                variant: "danger"
                enabled: sheet.deletion !== null && sheet.deletion.planned && !sheet.deletion.working
                onClicked: sheet.deletion.confirm()
            }
        }
    }
}
