#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>

class QWindow;

// Where the tray panel opens: beside the icon, against the screen edge nearest to it.
namespace PanelPlacement {

inline constexpr int gap = 4;

struct Screen {
    QRect geometry;
    QRect available;   // less the desktop's own panels
};

// icon: the tray icon's geometry, often empty on StatusNotifierItem desktops, when the
// cursor at activation stands in.
QRect place(const QRect &icon, const QPoint &cursor, const QList<Screen> &screens, const QSize &panel);

// Fixes the window at size, its least and greatest size both, which tiling compositors take
// as the sign of a window to float. The two limits never cross on the way.
void holdSize(QWindow &window, const QSize &size);
}
