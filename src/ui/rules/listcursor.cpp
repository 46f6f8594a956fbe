#include "listcursor.h"

#include <algorithm>

namespace ListCursor {

namespace {

int stopsIn(const QList<int> &rows, bool headers, int item)
{
    return (headers ? 1 : 0) + std::max(rows[item], 0);
}

}

Stop step(const QList<int> &rows, bool headers, Stop at, Move move, int page)
{
    // Number the stops in reading order, move along the numbers, and name the stop reached.
    int total = 0;
    int here = -1;
    for (int i = 0; i < rows.size(); ++i) {
        if (i == at.item) {
            const int inside = std::clamp(at.row + (headers ? 1 : 0), 0, std::max(stopsIn(rows, headers, i) - 1, 0));
            here = total + inside;
        } else if (i > at.item && here < 0) {
            here = total; // the item is gone: the next one takes its place
        }
        total += stopsIn(rows, headers, i);
    }
    if (total == 0)
        return {};
    if (here < 0)
        here = total - 1;
    here = std::min(here, total - 1);

    page = std::max(page, 1);
    switch (move) {
    case Move::Here: break;
    case Move::Up: here -= 1; break;
    case Move::Down: here += 1; break;
    case Move::PageUp: here -= page; break;
    case Move::PageDown: here += page; break;
    case Move::Home: here = 0; break;
    case Move::End: here = total - 1; break;
    }
    here = std::clamp(here, 0, total - 1);

    for (int i = 0; i < rows.size(); ++i) {
        const int n = stopsIn(rows, headers, i);
        if (here < n)
            return {i, here - (headers ? 1 : 0)};
        here -= n;
    }
    return {};
}

}

QPoint ListKeys::step(const QList<int> &rows, bool headers, QPoint at, int move, int page) const
{
    const auto stop = ListCursor::step(rows, headers, {at.x(), at.y()}, ListCursor::Move(move), page);
    return {stop.item, stop.row};
}
