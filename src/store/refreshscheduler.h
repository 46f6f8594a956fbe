#pragma once

#include "engine.h"
#include "engineevents.h"

#include <QDateTime>
#include <QFuture>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

template<typename T> class QPromise;

// How often the store polls (often while the main window shows, rarely otherwise), when
// an unanswered listing counts as stale, and whether engine events trigger refreshes.
struct PollTiming {
    std::chrono::milliseconds visiblePoll{2000};
    std::chrono::milliseconds hiddenPoll{10000};
    std::chrono::milliseconds staleAfter{10000};
    bool followEvents = true;
    EventTiming events{};
    std::function<QDateTime()> clock = &QDateTime::currentDateTime;
};

// When the lists are read again, and how long a reading has been outstanding. It owns the
// poll loop and the event stream, and keeps to one listing per runtime at a time: a refresh
// asked for while one runs waits for exactly one more listing after it, so children of a
// hung engine never pile up.
class RefreshScheduler : public QObject {
    Q_OBJECT

public:
    RefreshScheduler(std::shared_ptr<Engine> engine, PollTiming timing, QObject *parent = nullptr);
    ~RefreshScheduler() override;

    const PollTiming &timing() const { return m_timing; }
    EngineEvents &events() { return m_events; }

    // The loop: the next poll after the interval that fits the window's visibility.
    void scheduleNextPoll();
    bool windowVisible() const { return m_windowVisible; }
    void setWindowVisible(bool visible);
    // How long the loop waits now; zero while no poll is scheduled.
    std::chrono::milliseconds nextPollIn() const;
    // The event stream follows this runtime (when events are followed at all).
    void follow(const std::optional<Runtime> &runtime);

    // Listings. A listing of the runtime is running: a refresh waits for the follow-up instead.
    bool listing(const std::optional<Runtime> &runtime) const;
    QFuture<void> followUp();
    // A listing begins; its number.
    int begin(const std::optional<Runtime> &runtime);
    // The listing of that number ended; the promise of the listing asked for meanwhile, if
    // it was the newest and one was asked for. Dropping the promise wakes its waiters.
    std::shared_ptr<QPromise<void>> end(int id);
    // Listings begun since construction, each a set of three children.
    int count() const { return m_count; }

    // Whether a listing of the selected runtime has been outstanding longer than staleAfter.
    bool stale() const { return m_stale; }
    QDateTime waitingSince() const { return m_waitingSince; }
    QDateTime listedAt() const { return m_listedAt; }
    // The selected runtime answered (or failed to); answered: with its lists.
    void answered(bool withLists);
    // Another runtime: not waited for yet, nor answered.
    void forgetWaiting();

signals:
    void pollDue();
    // The engine's events say the lists may differ.
    void changed();
    void staleChanged();

private:
    void setStale(bool stale);

    PollTiming m_timing;
    QTimer m_pollTimer;
    bool m_windowVisible = false;
    EngineEvents m_events;

    // The newest listing still running, and the promise of the one that follows it.
    struct InFlight {
        int id = 0;
        std::optional<Runtime> runtime;
        std::shared_ptr<QPromise<void>> followUp;
    };
    std::optional<InFlight> m_inFlight;
    int m_count = 0;

    bool m_stale = false;
    QDateTime m_waitingSince;
    QDateTime m_listedAt;
    QTimer m_staleTimer;
};
