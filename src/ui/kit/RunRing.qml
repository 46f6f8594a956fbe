import QtQuick
import QtQuick.Shapes
import Korvat

// The share of a project's containers that run, as a ring.
Item {
    id: root

    required property int running
    required property int total
    property bool dimmed: false
    property int size: 22
    readonly property real share: total > 0 ? Math.min(running / total, 1) : 0

    implicitWidth: size
    implicitHeight: size
    opacity: dimmed ? 0.75 : 1
    Accessible.role: Accessible.ProgressBar
    Accessible.name: running + " of " + total + " running"

    Shape {
        anchors.fill: parent

        ShapePath {
            strokeColor: Qt.rgba(Theme.muted.r, Theme.muted.g, Theme.muted.b, 0.35)
            strokeWidth: 3
            fillColor: "transparent"
            PathAngleArc {
                centerX: root.size / 2
                centerY: root.size / 2
                radiusX: root.size / 2 - 2
                radiusY: root.size / 2 - 2
                startAngle: 0
                sweepAngle: 360
            }
        }
        ShapePath {
            strokeColor: root.share >= 1 ? Theme.success : Theme.ion
            strokeWidth: 3
            fillColor: "transparent"
            capStyle: ShapePath.RoundCap
            PathAngleArc {
                centerX: root.size / 2
                centerY: root.size / 2
                radiusX: root.size / 2 - 2
                radiusY: root.size / 2 - 2
                startAngle: -90
                sweepAngle: 360 * root.share
            }
        }
    }
}
