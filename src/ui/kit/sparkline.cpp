#include "sparkline.h"

#include <QPainter>
#include <QPainterPath>

namespace {
// Readings a second apart land a step apart give or take the timer's jitter; a step or two
// missing is that jitter, more is a real gap.
constexpr int bridged = 3;
}

Sparkline::Sparkline(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
}

void Sparkline::setValues(const QList<qreal> &values)
{
    if (m_values == values)
        return;
    m_values = values;
    emit valuesChanged();
    update();
}

void Sparkline::setColor(const QColor &color)
{
    if (m_color == color)
        return;
    m_color = color;
    emit colorChanged();
    update();
}

void Sparkline::paint(QPainter *painter)
{
    if (m_values.size() < 2)
        return;
    const qreal line = 1.25;
    const QRectF box = QRectF(0, 0, width(), height()).adjusted(line, line, -line, -line);
    const qreal stepWidth = box.width() / qreal(m_values.size() - 1);
    const auto at = [&](qsizetype i) {
        return QPointF(box.left() + qreal(i) * stepWidth, box.bottom() - std::clamp(m_values[i], 0.0, 1.0) * box.height());
    };
    QPainterPath stroke;
    QPainterPath fill;
    QPainterPath dots;
    qsizetype last = -1;
    qsizetype runStart = -1;
    const auto closeRun = [&] {
        if (runStart < 0)
            return;
        // A reading alone shows as a dot, the first one as soon as it comes.
        if (last == runStart)
            dots.addEllipse(at(last), line, line);
        fill.lineTo(at(last).x(), box.bottom());
        fill.lineTo(at(runStart).x(), box.bottom());
        fill.closeSubpath();
    };
    for (qsizetype i = 0; i < m_values.size(); ++i) {
        if (m_values[i] < 0)
            continue;
        if (last >= 0 && i - last <= bridged) {
            stroke.lineTo(at(i));
            fill.lineTo(at(i));
        } else {
            closeRun();
            runStart = i;
            stroke.moveTo(at(i));
            fill.moveTo(at(i));
        }
        last = i;
    }
    closeRun();
    QColor area = m_color;
    area.setAlphaF(0.18f);
    painter->fillPath(fill, area);
    painter->setPen(QPen(m_color, line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPath(stroke);
    painter->setPen(Qt::NoPen);
    painter->setBrush(m_color);
    painter->drawPath(dots);
}
