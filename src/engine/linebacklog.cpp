#include "linebacklog.h"

#include <algorithm>
#include <utility>

void LineBacklog::add(QByteArrayView bytes)
{
    if (m_skipping) {
        const qsizetype end = bytes.indexOf('\n');
        if (end < 0)
            return;
        bytes = bytes.sliced(end + 1);
        m_skipping = false;
    }
    m_bytes.append(bytes);
    if (m_bytes.size() <= m_limit)
        return;
    // The first line that begins within the newest limit bytes, and every line after it.
    const qsizetype lineBreak = m_bytes.indexOf('\n', m_bytes.size() - m_limit - 1);
    const qsizetype from = lineBreak < 0 ? m_bytes.size() : lineBreak + 1;
    m_passedOver += std::count(m_bytes.cbegin(), m_bytes.cbegin() + from, '\n');
    if (lineBreak < 0) {
        // No line begins in reach: the one arriving is passed over, the part not yet come too.
        ++m_passedOver;
        m_skipping = true;
    }
    m_bytes.remove(0, from);
}

LineBatch LineBacklog::take()
{
    return {std::exchange(m_bytes, {}), std::exchange(m_passedOver, 0)};
}
