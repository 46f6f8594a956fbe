#pragma once

#include "engine.h"
#include "engineevent.h"
#include "listings.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <optional>

struct EventTiming {
    // A burst ends when no event came for this long.
    std::chrono::milliseconds quiet{100};
    // A stream that never falls quiet still refreshes this often.
    std::chrono::milliseconds longest{1000};
    std::chrono::milliseconds firstRetry{1000};
    std::chrono::milliseconds lastRetry{60000};
};

// Follows one runtime's event stream with a single long-lived `docker events` child and
// says which lists may have changed: at once for the first event of a burst, so an outside
// change reaches the screen without waiting, then once more for the rest of the burst when
// it falls quiet, so a project of ten containers coming up costs two refreshes. A child that
// ends is started again after a pause that doubles up to a minute; an engine or client
// without events therefore costs one child a minute and leaves the poll loop to do the work.
// The stream is healthy once it is known to be connected: it delivered an event, or a
// listing begun after its child started (each start asks for one) succeeded while the child
// still runs. A child that
// merely stays alive proves nothing: one stuck connecting to a hung engine or an ssh host
// that does not answer stays alive too.
class EngineEvents : public QObject {
    Q_OBJECT

public:
    using Timing = EventTiming;

    explicit EngineEvents(std::shared_ptr<Engine> engine, Timing timing = {}, QObject *parent = nullptr);
    ~EngineEvents() override;

    // Replaces the child with one for this runtime.
    void follow(const std::optional<Runtime> &runtime);
    void stop();

    // The running child's process id, or 0.
    qint64 childPid() const;
    bool healthy() const { return m_healthy; }
    std::chrono::milliseconds nextRetry() const { return m_retry; }
    // A burst is under way: more of it may still be told.
    bool gathering() const { return m_quiet.isActive(); }
    // A listing begun at this time succeeded: the engine answers, so a child started before
    // it and still running has reached it too.
    void listed(std::chrono::steady_clock::time_point began);

signals:
    // These lists may differ from the last listing.
    void changed(Listings lists);
    // Told before the listing it causes, which this change needs not wait for.
    void containerChanged(const ContainerChange &change);
    void healthyChanged();

private:
    void launch();
    void readLines();
    void ended();
    void eventSeen(Listings lists);
    void burstTick();
    void endChild();
    void setHealthy(bool healthy);
    void connected();

    std::shared_ptr<Engine> m_engine;
    Timing m_timing;
    std::optional<Runtime> m_runtime;
    bool m_following = false;
    EngineStream *m_child = nullptr;
    QByteArray m_partial;
    // A child started again after one ended may have missed events in between.
    bool m_restarted = false;
    std::chrono::milliseconds m_retry;
    bool m_healthy = false;
    // What the burst under way has changed since it was last told.
    Listings m_pending;
    QTimer m_quiet;
    QTimer m_restart;
    std::chrono::steady_clock::time_point m_launchedAt;
    QElapsedTimer m_burst;
};
