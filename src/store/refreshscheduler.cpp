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
}

RefreshScheduler::~RefreshScheduler() = default;

void RefreshScheduler::scheduleNextPoll()
{
    m_pollTimer.start(m_windowVisible ? m_timing.visiblePoll : m_timing.hiddenPoll);
}

void RefreshScheduler::setWindowVisible(bool visible)
{
    m_windowVisible = visible;
    // A window that opens should not wait out the long menu-bar interval.
    if (visible && m_pollTimer.isActive() && m_pollTimer.remainingTimeAsDuration() > m_timing.visiblePoll)
        m_pollTimer.start(m_timing.visiblePoll);
}

std::chrono::milliseconds RefreshScheduler::nextPollIn() const
{
    return m_pollTimer.isActive() ? m_pollTimer.intervalAsDuration() : std::chrono::milliseconds(0);
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

QFuture<void> RefreshScheduler::followUp()
{
    if (!m_inFlight->followUp) {
        m_inFlight->followUp = std::make_shared<QPromise<void>>();
        m_inFlight->followUp->start();
    }
    return m_inFlight->followUp->future();
}

int RefreshScheduler::begin(const std::optional<Runtime> &runtime)
{
    const int id = ++m_count;
    m_inFlight = InFlight{id, runtime, nullptr};
    if (!m_waitingSince.isValid()) {
        m_waitingSince = m_timing.clock();
        m_staleTimer.start(m_timing.staleAfter);
    }
    return id;
}

std::shared_ptr<QPromise<void>> RefreshScheduler::end(int id)
{
    if (!m_inFlight || m_inFlight->id != id)
        return nullptr;
    auto followUp = std::move(m_inFlight->followUp);
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
