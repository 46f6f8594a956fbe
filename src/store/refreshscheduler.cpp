#include "refreshscheduler.h"

#include <QPromise>

RefreshScheduler::RefreshScheduler(std::shared_ptr<Engine> engine, PollTiming timing, QObject *parent)
    : QObject(parent), m_timing(std::move(timing)), m_events(std::move(engine), m_timing.events)
{
    m_pollTimer.setSingleShot(true);
    connect(&m_pollTimer, &QTimer::timeout, this, &RefreshScheduler::pollDue);
    m_staleTimer.setSingleShot(true);
    connect(&m_staleTimer, &QTimer::timeout, this, [this] { setStale(true); });
    connect(&m_events, &EngineEvents::changed, this, &RefreshScheduler::changed);
    connect(&m_events, &EngineEvents::healthyChanged, this, [this] {
        if (!m_looping)
            return;
        // A stream that ended may have missed what changed: the poll takes over at once. A
        // healthy one sends the poll back to its safety interval.
        if (m_events.healthy())
            scheduleNextPoll();
        else
            pollSoon();
    });
}

RefreshScheduler::~RefreshScheduler() = default;

std::chrono::milliseconds RefreshScheduler::interval() const
{
    if (eventsHealthy())
        return shown() ? m_timing.safetyVisible : m_timing.safetyHidden;
    return shown() ? m_timing.visiblePoll : m_timing.hiddenPoll;
}

void RefreshScheduler::scheduleNextPoll()
{
    m_looping = true;
    m_interval = interval();
    m_waiting.start();
    m_pollTimer.start(m_interval);
}

void RefreshScheduler::pollSoon()
{
    if (!m_looping)
        return;
    m_interval = std::chrono::milliseconds(0);
    m_pollTimer.start(0);
}

void RefreshScheduler::setWindowVisible(bool visible)
{
    const bool wasShown = shown();
    m_windowVisible = visible;
    shownChanged(wasShown);
}

void RefreshScheduler::setPanelVisible(bool visible)
{
    const bool wasShown = shown();
    m_panelVisible = visible;
    shownChanged(wasShown);
}

void RefreshScheduler::shownChanged(bool wasShown)
{
    if (!wasShown && shown()) {
        pollSoon();
    } else if (wasShown && !shown() && m_pollTimer.isActive() && m_interval > std::chrono::milliseconds(0)) {
        // The poll a shown window was waiting for steps back to the hidden interval, counted
        // from when the wait began: hiding the window must not leave one shown-rate listing.
        m_interval = interval();
        m_pollTimer.start(std::max(std::chrono::milliseconds(0), m_interval - std::chrono::milliseconds(m_waiting.elapsed())));
    }
}

std::chrono::milliseconds RefreshScheduler::nextPollIn() const
{
    return m_pollTimer.isActive() ? m_interval : std::chrono::milliseconds(0);
}

void RefreshScheduler::follow(const std::optional<Runtime> &runtime)
{
    if (m_timing.followEvents)
        m_events.follow(runtime);
}

bool RefreshScheduler::listing(const std::optional<Runtime> &runtime) const
{
    return m_inFlight && m_inFlight->runtime == runtime;
}

QFuture<void> RefreshScheduler::followUp(Listings lists)
{
    FollowUp &next = m_inFlight->followUp;
    if (!next.promise) {
        next.promise = std::make_shared<QPromise<void>>();
        next.promise->start();
    }
    next.lists |= lists;
    return next.promise->future();
}

int RefreshScheduler::begin(const std::optional<Runtime> &runtime)
{
    const int id = ++m_count;
    m_inFlight = InFlight{id, runtime, {}};
    if (!m_waitingSince.isValid()) {
        m_waitingSince = m_timing.clock();
        m_staleTimer.start(m_timing.staleAfter);
    }
    return id;
}

RefreshScheduler::FollowUp RefreshScheduler::end(int id)
{
    if (!m_inFlight || m_inFlight->id != id)
        return {};
    FollowUp followUp = std::move(m_inFlight->followUp);
    m_inFlight.reset();
    return followUp;
}

void RefreshScheduler::answered(bool withLists)
{
    m_waitingSince = {};
    m_staleTimer.stop();
    if (withLists)
        m_listedAt = m_timing.clock();
    setStale(false);
}

void RefreshScheduler::forgetWaiting()
{
    m_waitingSince = {};
    m_listedAt = {};
    m_staleTimer.stop();
    setStale(false);
}

void RefreshScheduler::setStale(bool stale)
{
    if (m_stale == stale)
        return;
    m_stale = stale;
    emit staleChanged();
}
