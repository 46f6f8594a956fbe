#include "panelplacement.h"

#include <QWindow>

#include <algorithm>

namespace PanelPlacement {

QRect place(const QRect &icon, const QPoint &cursor, const QList<Screen> &screens, const QSize &panel)
{
    const QPoint anchor = icon.isValid() && !icon.isEmpty() ? icon.center() : cursor;
    Screen chosen = screens.isEmpty() ? Screen{QRect(QPoint(0, 0), panel), QRect(QPoint(0, 0), panel)} : screens.first();
    for (const Screen &s : screens) {
        if (s.geometry.contains(anchor)) {
            chosen = s;
            break;
        }
    }
    const QRect &whole = chosen.geometry;
    const QRect &screen = chosen.available;

    // The panel hangs from the edge nearest the anchor, all four considered.
    const int toTop = anchor.y() - whole.top();
    const int toBottom = whole.bottom() - anchor.y();
    const int toLeft = anchor.x() - whole.left();
    const int toRight = whole.right() - anchor.x();
    const int nearest = std::min({toTop, toBottom, toLeft, toRight});

    QRect r(QPoint(0, 0), panel);
    if (nearest == toTop || nearest == toBottom) {
        r.moveLeft(anchor.x() - panel.width() / 2);
        if (nearest == toTop)
            r.moveTop(screen.top() + gap);
        else
            r.moveBottom(screen.bottom() - gap);
    } else {
        r.moveTop(anchor.y());
        if (nearest == toLeft)
            r.moveLeft(screen.left() + gap);
        else
            r.moveRight(screen.right() - gap);
    }

    // Back inside the screen, a gap from every edge.
    const QRect inner = screen.adjusted(gap, gap, -gap, -gap);
    r.moveLeft(std::clamp(r.left(), inner.left(), std::max(inner.left(), inner.right() - r.width() + 1)));
    r.moveTop(std::clamp(r.top(), inner.top(), std::max(inner.top(), inner.bottom() - r.height() + 1)));
    return r;
}

void holdSize(QWindow &window, const QSize &size)
{
    // Each limit reaches a Wayland compositor as it is set, and one that sees the least size
    // above the greatest ends the client: the least comes down first, then both meet at size.
    window.setMinimumSize(size.boundedTo(window.minimumSize()));
    window.setMaximumSize(size);
    window.setMinimumSize(size);
    window.resize(size);
}

}
