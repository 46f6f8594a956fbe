#pragma once

#include <QByteArrayView>
#include <QString>
#include <optional>

// A container's use of the machine, read from the kernel's own counters for its control
// group rather than asked of the engine: a few small file reads, and no work for the engine,
// its runtime or the container's shim. Both layouts are read: one tree for every controller
// (most desktops) and one mount per controller (older systems, some servers).
namespace Cgroup {

// The directories holding a container's counters.
struct Paths {
    QString cpu;
    QString memory;
    // One tree for all controllers: the counters' files are named differently.
    bool unified = false;
    friend bool operator==(const Paths &, const Paths &) = default;
};

// Where the counters of the process described by /proc/<pid>/cgroup are, under the root the
// controllers are mounted at; none when its cpu or memory group is not there to be read.
std::optional<Paths> paths(QByteArrayView procCgroup, const QString &root = QStringLiteral("/sys/fs/cgroup"));

struct Counters {
    // CPU time the group has used, all cores together.
    qint64 cpuNanoseconds = 0;
    // As the engine's own stats count it: what the group holds less the file cache it could
    // drop at once.
    qint64 memoryBytes = 0;
    // None when the group has no limit of its own.
    std::optional<qint64> memoryLimit;
    friend bool operator==(const Counters &, const Counters &) = default;
};

// The counters' files as read: cpu is cpu.stat or cpuacct.usage, memory memory.current or
// memory.usage_in_bytes, limit memory.max or memory.limit_in_bytes.
std::optional<Counters> parse(bool unified, QByteArrayView cpu, QByteArrayView memory, QByteArrayView memoryStat, QByteArrayView limit);
// Reads the counters' files now; none when any cannot be read.
std::optional<Counters> read(const Paths &paths);
// Of one core, between two readings taken wallNanoseconds apart.
double cpuPercent(const Counters &before, const Counters &after, qint64 wallNanoseconds);

}
