#include "cgroupusage.h"

#include <QFile>
#include <QList>

namespace Cgroup {

namespace {
std::optional<qint64> number(QByteArrayView text)
{
    bool ok = false;
    const qint64 n = text.trimmed().toLongLong(&ok);
    return ok && n >= 0 ? std::optional(n) : std::nullopt;
}

// "name value" lines, as cpu.stat and memory.stat write them.
std::optional<qint64> field(QByteArrayView stat, QByteArrayView name)
{
    for (QByteArrayView line : QByteArray(stat.data(), stat.size()).split('\n')) {
        const qsizetype space = line.indexOf(' ');
        if (space > 0 && line.first(space) == name)
            return number(line.sliced(space + 1));
    }
    return std::nullopt;
}

std::optional<QByteArray> slurp(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}
}

std::optional<Paths> paths(QByteArrayView procCgroup, const QString &root)
{
    // "4:cpu,cpuacct:/docker/<id>" a controller mount each; "0::/system.slice/docker-<id>.scope"
    // for the one tree. Where both are there, the controllers' own mounts hold the counters.
    QString unified, cpu, memory;
    for (QByteArrayView line : QByteArray(procCgroup.data(), procCgroup.size()).split('\n')) {
        const qsizetype first = line.indexOf(':');
        const qsizetype second = first < 0 ? -1 : line.indexOf(':', first + 1);
        if (second < 0)
            continue;
        const QString controllers = QString::fromUtf8(line.sliced(first + 1, second - first - 1));
        const QString group = QString::fromUtf8(line.sliced(second + 1)).trimmed();
        if (!group.startsWith(u'/') || group.contains(QLatin1String("/../")) || group.endsWith(QLatin1String("/..")))
            continue;
        if (controllers.isEmpty()) {
            unified = root + group;
            continue;
        }
        const QStringList names = controllers.split(u',');
        if (names.contains(QLatin1String("cpuacct")))
            cpu = root + u'/' + controllers + group;
        if (names.contains(QLatin1String("memory")))
            memory = root + u'/' + controllers + group;
    }
    if (!cpu.isEmpty() && !memory.isEmpty())
        return Paths{cpu, memory, false};
    if (!unified.isEmpty())
        return Paths{unified, unified, true};
    return std::nullopt;
}

std::optional<Counters> parse(bool unified, QByteArrayView cpu, QByteArrayView memory, QByteArrayView memoryStat, QByteArrayView limit)
{
    const std::optional<qint64> used = unified ? field(cpu, "usage_usec") : number(cpu);
    const std::optional<qint64> held = number(memory);
    if (!used || !held)
        return std::nullopt;
    // What the engine's stats leave out: file cache the kernel can drop at once.
    const qint64 cache = field(memoryStat, unified ? "inactive_file" : "total_inactive_file").value_or(0);
    // A group without a limit of its own shows "max", or the largest page-aligned number.
    std::optional<qint64> ceiling = number(limit);
    if (ceiling && *ceiling >= (qint64(1) << 62))
        ceiling.reset();
    return Counters{unified ? *used * 1000 : *used, cache < *held ? *held - cache : *held, ceiling};
}

std::optional<Counters> read(const Paths &paths)
{
    const auto cpu = slurp(paths.cpu + (paths.unified ? QStringLiteral("/cpu.stat") : QStringLiteral("/cpuacct.usage")));
    const auto memory = slurp(paths.memory + (paths.unified ? QStringLiteral("/memory.current") : QStringLiteral("/memory.usage_in_bytes")));
    const auto stat = slurp(paths.memory + QStringLiteral("/memory.stat"));
    const auto limit = slurp(paths.memory + (paths.unified ? QStringLiteral("/memory.max") : QStringLiteral("/memory.limit_in_bytes")));
    if (!cpu || !memory)
        return std::nullopt;
    return parse(paths.unified, *cpu, *memory, stat.value_or(QByteArray()), limit.value_or(QByteArray()));
}

double cpuPercent(const Counters &before, const Counters &after, qint64 wallNanoseconds)
{
    if (wallNanoseconds <= 0 || after.cpuNanoseconds < before.cpuNanoseconds)
        return 0;
    return 100.0 * double(after.cpuNanoseconds - before.cpuNanoseconds) / double(wallNanoseconds);
}

}
