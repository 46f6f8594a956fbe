#pragma once

#include "usagewatch.h"

#include <QList>
#include <QString>
#include <optional>

// How a container's use of the machine reads in its row and on its project's card.
namespace UsageText {

// "0%", "0.4%", "12%", "250%": one decimal only where the whole number would say nothing.
QString cpu(double percent);
// "512 kB", "48 MB", "1.2 GB": in the units the image sizes beside it use.
QString memory(qint64 bytes);

// The latest reading of each, when there is one.
struct Now {
    std::optional<double> cpu;
    std::optional<qint64> memory;
    friend bool operator==(const Now &, const Now &) = default;
};
Now latest(const UsageHistory *history);
// Several containers together: what is known, added up.
Now sum(const QList<Now> &parts);
// "CPU 12% · 48 MB", or nothing when nothing is known.
QString line(const Now &now);
// "CPU 12 percent, memory 48 MB", for a screen reader.
QString spoken(const Now &now);

// The last span, one value per step, oldest first: each step's reading as a share of the
// span's peak (5% at least), or -1 where there is none. A reading that came when it was due
// (or up to half as late again) is joined to the one before: the steps between go from one
// to the other.
QList<qreal> trend(const UsageHistory *history, qint64 now, qint64 span, qint64 step);

} // namespace UsageText
