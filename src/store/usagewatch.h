#pragma once

#include "engine.h"
#include "usage.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <chrono>
#include <functional>

// A container's readings over the last minute, one a second at most.
struct UsageHistory {
    struct Point {
        qint64 at;   // milliseconds on the watch's clock
        double cpuPercent;
        // How soon the next reading was due when this one came.
        qint64 every = 1000;
        friend bool operator==(const Point &, const Point &) = default;
    };
    QList<Point> cpu;
    std::optional<qint64> memoryBytes;
    std::optional<qint64> memoryLimit;
    friend bool operator==(const UsageHistory &, const UsageHistory &) = default;
};

// How often the engine is asked about this many containers: a stream while that stays cheap,
// else one reading of them all at a time, spaced so the engine's work stays about the same
// however many are shown.
struct UsagePace {
    UsageRead read = UsageRead::Streaming;
    std::chrono::milliseconds every{1000};
    friend bool operator==(const UsagePace &, const UsagePace &) = default;
};
UsagePace usagePace(qsizetype containers);

// Reads the machine use of the containers some view shows, with one `docker stats` child
// for all of them, and only while the window is on screen: the engine does real work for
// every container watched, so nothing is watched that nobody sees. Views say what they show
// (each under its own key); the child is replaced, once the asking settles, when that set
// changes. A stream that ends by itself (a container gone before the listing said so) is
// started again after a pause, by which time the views ask for what is really there.
class UsageWatch : public QObject {
    Q_OBJECT

public:
    using Clock = std::function<qint64()>;

    struct Timing {
        // Scrolling changes the rows on screen many times a second; one child follows.
        std::chrono::milliseconds settle{250};
        std::chrono::milliseconds retry{2000};
        std::chrono::milliseconds span{60000};
        std::chrono::milliseconds step{1000};
        // Rows scrolled into view are read this long after the last reading at the soonest,
        // not a whole pace later.
        std::chrono::milliseconds soonest{3000};
        std::function<UsagePace(qsizetype)> pace = usagePace;
    };

    UsageWatch(std::shared_ptr<Engine> engine, Clock clock, Timing timing, QObject *parent = nullptr);
    explicit UsageWatch(std::shared_ptr<Engine> engine, QObject *parent = nullptr);
    ~UsageWatch() override;

    // Another runtime's containers share nothing with this one's: what was read goes.
    void follow(const std::optional<Runtime> &runtime);
    void setShown(bool shown);
    bool shown() const { return m_shown; }
    // What one view shows now; an empty set withdraws it.
    void want(const void *viewer, const QSet<QString> &containerIds);
    QSet<QString> wanted() const { return m_wanted; }

    const UsageHistory *history(const QString &containerId) const;
    // Readings taken at a moment of the clock.
    void see(const QList<Usage> &readings, qint64 at);
    qint64 now() const { return m_clock(); }
    const Timing &timing() const { return m_timing; }
    // How far apart readings of what is wanted now come.
    std::chrono::milliseconds cadence() const;
    // The running child's process id, or 0.
    qint64 childPid() const;

signals:
    // These containers' histories changed.
    void sampled(const QSet<QString> &containerIds);

private:
    void relaunch();
    UsagePace pace() const;
    void launch(UsageRead read);
    void endChild();
    void read();
    void ended();

    std::shared_ptr<Engine> m_engine;
    Clock m_clock;
    Timing m_timing;
    std::optional<Runtime> m_runtime;
    // Whether the last reading came from the kernel's counters: then every container is
    // read each second, which costs the engine nothing; else the engine's pace holds.
    bool m_counters = false;
    bool m_following = false;
    bool m_shown = false;
    QHash<const void *, QSet<QString>> m_viewers;
    QSet<QString> m_wanted;
    // What the running child was asked for.
    QSet<QString> m_streaming;
    QHash<QString, UsageHistory> m_histories;
    EngineStream *m_child = nullptr;
    UsageRead m_childRead = UsageRead::Streaming;
    // Since the last one-off reading began, and what it asked for.
    QElapsedTimer m_sinceReading;
    QSet<QString> m_lastAsked;
    QByteArray m_partial;
    QTimer m_settle;
};
