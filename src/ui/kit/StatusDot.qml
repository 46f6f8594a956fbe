import QtQuick
import Korvat

// A container's state at a glance: running, paused, exited (failed or not) or other.
Rectangle {
    required property string dot
    property bool failed: false

    implicitWidth: 8
    implicitHeight: 8
    radius: 4
    color: {
        if (dot === "running")
            return Theme.success;
        if (dot === "paused")
            return Theme.ion;
        if (dot === "exited")
            return failed ? Theme.danger : Theme.muted;
        return Theme.line;
    }
    border.width: dot === "other" ? 1 : 0
    border.color: Theme.muted
    Accessible.ignored: true
}
