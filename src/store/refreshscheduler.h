#pragma once

#include "engine.h"
#include "engineevents.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFuture>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

template<typename T> class QPromise;

// How often the store polls (often while the main window shows, rarely otherwise), when
// an unanswered listing counts as stale, and whether engine events trigger refreshes. While
// the event stream is healthy, the poll steps back to a safety listing of the containers.
struct PollTiming {
    std::chrono::milliseconds visiblePoll{2000};
    std::chrono::milliseconds hiddenPoll{10000};
    std::chrono::milliseconds safetyVisible{60000};
    std::chrono::milliseconds safetyHidden{600000};
    std::chrono::milliseconds staleAfter{10000};
    bool followEvents = true;
    EventTiming events{};
    std::function<QDateTime()> clock = &QDateTime::currentDateTime;
};

// When the lists are read again, and how long a reading has been outstanding. It owns the
// poll loop and the event stream: events say what to read while the stream is healthy, and
// the poll does whenever it is not. It keeps to one listing per runtime at a time: a refresh
// asked for while one runs waits for exactly one more listing after it, so children of a
// hung engine never pile up.
class RefreshScheduler : public QObject {
    Q_OBJECT

public:
    RefreshScheduler(std::shared_ptr<Engine> engine, PollTiming timing, QObject *parent = nullptr);
    ~RefreshScheduler() override;

    const PollTiming &timing() const { return m_timing; }
    EngineEvents &events() { return m_events; }

    // The loop: the next poll after the interval that fits the window's visibility and the
    // stream's health.
    void scheduleNextPoll();
    bool windowVisible() const { return m_windowVisible; }
    // Shown again, the window or panel polls at once.
    void setWindowVisible(bool visible);
    void setPanelVisible(bool visible);
    // Events tell of every change, so a poll need only check on the containers.
    bool eventsHealthy() const { return m_timing.followEvents && m_events.healthy(); }
    Listings pollListings() const { return eventsHealthy() ? Listings(Listing::Containers) : everyListing; }
    // How long the loop waits now; zero while no poll is scheduled.
    std::chrono::milliseconds nextPollIn() const;
    // The event stream follows this runtime (when events are followed at all).
    void follow(const std::optional<Runtime> &runtime);

    // Listings. A listing of the runtime is running: a refresh waits for the follow-up instead,
    // which reads every list any waiter asked for.
    bool listing(const std::optional<Runtime> &runtime) const;
    QFuture<void> followUp(Listings lists);
    // A listing begins; its number.
    int begin(const std::optional<Runtime> &runtime);
    // The listing of that number ended; the promise of the listing asked for meanwhile, if
    // it was the newest and one was asked for, and what it is to read. Dropping the promise
    // wakes its waiters.
    struct FollowUp {
        std::shared_ptr<QPromise<void>> promise;
        Listings lists;
    };
    FollowUp end(int id);
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
    // The engine's events say these lists may differ.
    void changed(Listings lists);
    void staleChanged();

private:
    void setStale(bool stale);
    void pollSoon();
    void shownChanged(bool wasShown);
    // How long the poll waits now, counted from when it began to.
    std::chrono::milliseconds interval() const;
    bool shown() const { return m_windowVisible || m_panelVisible; }

    PollTiming m_timing;
    QTimer m_pollTimer;
    QElapsedTimer m_waiting;
    std::chrono::milliseconds m_interval{0};
    bool m_windowVisible = false;
    bool m_panelVisible = false;
    bool m_looping = false;
    EngineEvents m_events;

    // The newest listing still running, and the promise of the one that follows it.
    struct InFlight {
        int id = 0;
        std::optional<Runtime> runtime;
        FollowUp followUp;
    };
    std::optional<InFlight> m_inFlight;
    int m_count = 0;

    bool m_stale = false;
    QDateTime m_waitingSince;
    QDateTime m_listedAt;
    QTimer m_staleTimer;
};
