#include "usagetext.h"

#include <QLocale>
#include <algorithm>

namespace UsageText {

QString cpu(double percent)
{
    if (percent > 0 && percent < 9.95)
        return QString::number(percent, 'f', 1) + u'%';
    return QString::number(qRound(percent)) + u'%';
}

QString memory(qint64 bytes)
{
    // One decimal while the number is small, as the client itself shows sizes.
    const QString text = QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
    const qsizetype space = text.indexOf(u' ');
    const double value = text.left(space).toDouble();
    if (value >= 10 || text.left(space).endsWith(QLatin1String(".0")))
        return QLocale::c().formattedDataSize(bytes, 0, QLocale::DataSizeSIFormat);
    return text;
}

Now latest(const UsageHistory *history)
{
    if (!history)
        return {};
    return {history->cpu.isEmpty() ? std::nullopt : std::optional(history->cpu.last().cpuPercent), history->memoryBytes};
}

Now sum(const QList<Now> &parts)
{
    Now total;
    for (const Now &part : parts) {
        if (part.cpu)
            total.cpu = total.cpu.value_or(0) + *part.cpu;
        if (part.memory)
            total.memory = total.memory.value_or(0) + *part.memory;
    }
    return total;
}

QString line(const Now &now)
{
    QStringList parts;
    if (now.cpu)
        parts << QStringLiteral("CPU ") + cpu(*now.cpu);
    if (now.memory)
        parts << memory(*now.memory);
    return parts.join(QStringLiteral(" · "));
}

QString spoken(const Now &now)
{
    QStringList parts;
    if (now.cpu)
        parts << QStringLiteral("CPU ") + cpu(*now.cpu).chopped(1) + QStringLiteral(" percent");
    if (now.memory)
        parts << QStringLiteral("memory ") + memory(*now.memory);
    return parts.join(QStringLiteral(", "));
}

QList<qreal> trend(const UsageHistory *history, qint64 now, qint64 span, qint64 step)
{
    const qsizetype count = qsizetype(span / step);
    QList<qreal> values(count, -1);
    if (!history)
        return values;
    // Drawn against its own peak, so a container's shape shows at any load; an idle one's
    // noise stays flat along the bottom.
    double peak = 5;
    qsizetype lastSlot = -1;
    const UsageHistory::Point *last = nullptr;
    for (const auto &point : history->cpu) {
        // Steps counted back from now: the newest reading takes the last slot.
        const qint64 back = (now - point.at) / step;
        if (back < 0 || back >= count)
            continue;
        const qsizetype slot = count - 1 - back;
        values[slot] = point.cpuPercent;
        peak = std::max(peak, point.cpuPercent);
        if (last && point.at - last->at <= last->every * 3 / 2) {
            const qreal from = values[lastSlot];
            for (qsizetype between = lastSlot + 1; between < slot; ++between)
                values[between] = from + (point.cpuPercent - from) * qreal(between - lastSlot) / qreal(slot - lastSlot);
        }
        lastSlot = slot;
        last = &point;
    }
    for (qreal &value : values) {
        if (value >= 0)
            value /= peak;
    }
    return values;
}

} // namespace UsageText
