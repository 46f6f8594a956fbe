#pragma once

#include "engine.h"
#include "usage.h"

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
        friend bool operator==(const Point &, const Point &) = default;
    };
    QList<Point> cpu;
    std::optional<qint64> memoryBytes;
    std::optional<qint64> memoryLimit;
    friend bool operator==(const UsageHistory &, const UsageHistory &) = default;
};

// Reads the machine use of the containers some view shows, with one `docker stats` child
// for all of them, and only while the window is on screen: the engine does real work for
// every container watched, so nothing is watched that nobody sees. Views say what they show
// (each under its own key); the child is replaced, once the asking settles, when that set
// changes. A child that ends by itself (a container gone before the listing said so) is
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
    // The running child's process id, or 0.
    qint64 childPid() const;

signals:
    // These containers' histories changed.
    void sampled(const QSet<QString> &containerIds);

private:
    void relaunch();
    void endChild();
    void read();
    void ended();

    std::shared_ptr<Engine> m_engine;
    Clock m_clock;
    Timing m_timing;
    std::optional<Runtime> m_runtime;
    bool m_following = false;
    bool m_shown = false;
    QHash<const void *, QSet<QString>> m_viewers;
    QSet<QString> m_wanted;
    // What the running child was asked for.
    QSet<QString> m_streaming;
    QHash<QString, UsageHistory> m_histories;
    EngineStream *m_child = nullptr;
    QByteArray m_partial;
    QTimer m_settle;
};
