#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>

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
}
