#include "docker.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

namespace {

// Drops "ESC [ digits/semicolons letter" sequences: the redraw's cursor moves and erasures.
QByteArray withoutEscapes(QByteArrayView line)
{
    QByteArray out;
    out.reserve(line.size());
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line[i] != '\x1b') {
            out += line[i];
            continue;
        }
        if (i + 1 < line.size() && line[i + 1] == '[') {
            i += 2;
            while (i < line.size() && (std::isdigit(uchar(line[i])) || line[i] == ';'))
                ++i;
        }
    }
    return out;
}

std::optional<double> percent(const QString &text)
{
    if (!text.endsWith(u'%'))
        return std::nullopt;
    bool ok = false;
    const double value = QStringView(text).chopped(1).toDouble(&ok);
    return ok && value >= 0 ? std::optional(value) : std::nullopt;
}

}

std::optional<qint64> parseByteSize(QStringView text)
{
    // The client prints memory in powers of 1024 and disk sizes in powers of 1000.
    static const std::pair<QLatin1String, double> units[] = {
        {QLatin1String("TiB"), 1099511627776.0}, {QLatin1String("GiB"), 1073741824.0}, {QLatin1String("MiB"), 1048576.0},
        {QLatin1String("KiB"), 1024.0},          {QLatin1String("TB"), 1e12},          {QLatin1String("GB"), 1e9},
        {QLatin1String("MB"), 1e6},              {QLatin1String("kB"), 1e3},           {QLatin1String("B"), 1},
    };
    text = text.trimmed();
    for (const auto &[unit, factor] : units) {
        if (!text.endsWith(unit))
            continue;
        bool ok = false;
        const double bytes = text.chopped(unit.size()).trimmed().toDouble(&ok) * factor;
        // "inf", "nan" and sizes past any disk read as nothing rather than overflow.
        return ok && bytes >= 0 && bytes < 9e18 ? std::optional(qint64(bytes)) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<Usage> readUsage(QByteArrayView line)
{
    const QJsonDocument doc = QJsonDocument::fromJson(withoutEscapes(line).trimmed());
    const QJsonObject row = doc.object();
    // The container as it was asked for; the client fills the column with the short id
    // when nothing was named.
    QString id = row.value(QLatin1String("Container")).toString();
    if (id.isEmpty())
        id = row.value(QLatin1String("ID")).toString();
    if (id.isEmpty())
        return std::nullopt;
    // "544KiB / 23.54GiB"
    const QString memory = row.value(QLatin1String("MemUsage")).toString();
    const qsizetype slash = memory.indexOf(u'/');
    return Usage{id, percent(row.value(QLatin1String("CPUPerc")).toString()),
                 parseByteSize(QStringView(memory).left(slash)),
                 slash < 0 ? std::nullopt : parseByteSize(QStringView(memory).sliced(slash + 1))};
}

} // namespace Docker
