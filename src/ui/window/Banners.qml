import QtQuick
import QtQuick.Layouts
import Korvat

// The error, notice and update banners, in that order, each while it has something to say.
ColumnLayout {
    id: root

    required property string errorText
    required property string noticeText
    required property string updateText

    signal dismissError()
    signal dismissNotice()
    signal dismissUpdate()
    signal openSettings()

    spacing: 8
    visible: errorText !== "" || noticeText !== "" || updateText !== ""

    Banner {
        objectName: "errorBanner"
        Layout.fillWidth: true
        visible: root.errorText !== ""
        kind: "error"
        text: root.errorText
        onDismissed: root.dismissError()
    }
    Banner {
        objectName: "noticeBanner"
        Layout.fillWidth: true
        visible: root.noticeText !== ""
        kind: "notice"
        text: root.noticeText
        onDismissed: root.dismissNotice()
    }
    Banner {
        objectName: "updateBanner"
        Layout.fillWidth: true
        visible: root.updateText !== ""
        kind: "update"
        text: root.updateText
        actionText: "Update in Settings"
        onDismissed: root.dismissUpdate()
        onActionClicked: root.openSettings()
    }
}
