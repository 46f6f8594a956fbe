#pragma once

#include "cgroupusage.h"
#include "enginestream.h"
#include "usage.h"

#include <QElapsedTimer>
#include <QList>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

// The containers' use of the machine read from the kernel's counters for their control
// groups, about once a second, written as the client's `stats --format json` lines, so a
// reader cannot tell the two apart. Where any container's counters cannot be read here (an
// engine on another machine or in a VM, no permission), the engine's own stats stream in
// its place. A container whose counters go away ends the stream, as the client's does.
class KernelUsageStream : public EngineStream {
    Q_OBJECT

public:
    struct Group {
        // As the stream was asked for it.
        QString id;
        Cgroup::Paths paths;
        friend bool operator==(const Group &, const Group &) = default;
    };
    struct Found {
        QList<Group> groups;
        // What the client shows as the limit of a container without one: the machine's memory.
        std::optional<qint64> machineMemory;
    };
    // Blocking, run on a thread of its own: where every container's counters are, or none.
    using Locate = std::function<std::optional<Found>()>;
    using Fallback = std::function<std::unique_ptr<EngineStream>()>;

    KernelUsageStream(Locate locate, Fallback fallback, UsageRead read, QObject *parent = nullptr);
    ~KernelUsageStream() override;

    void start() override;
    void stop() override;
    bool running() const override;
    QByteArray readAll() override;
    qint64 pid() const override { return m_inner ? m_inner->pid() : 0; }

    // Whether the counters are read here, rather than the engine asked.
    bool readsCounters() const override { return m_found.has_value() && !m_inner; }

    // One line as the client writes it.
    static QByteArray line(const QString &id, double cpuPercent, qint64 memoryBytes, std::optional<qint64> limit);

private:
    void located(std::optional<Found> found);
    void fallBack();
    void tick();
    void end();

    Locate m_locate;
    Fallback m_fallback;
    UsageRead m_read;
    std::unique_ptr<EngineStream> m_inner;
    std::optional<Found> m_found;
    QList<std::optional<Cgroup::Counters>> m_last;
    QElapsedTimer m_clock;
    qint64 m_lastAt = 0;
    QTimer m_timer;
    QByteArray m_pending;
    bool m_running = false;
    // Which start a location found belongs to: one begun before a stop is dropped.
    int m_generation = 0;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};
