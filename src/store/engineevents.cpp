#include "engineevents.h"

#include "docker.h"

EngineEvents::EngineEvents(std::shared_ptr<Engine> engine, Timing timing, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_timing(timing), m_retry(timing.firstRetry)
{
    m_quiet.setSingleShot(true);
    m_restart.setSingleShot(true);
    connect(&m_quiet, &QTimer::timeout, this, &EngineEvents::burstTick);
    connect(&m_restart, &QTimer::timeout, this, [this] {
        m_restarted = true;
        launch();
    });
}

void EngineEvents::connected()
{
    if (m_healthy)
        return;
    m_retry = m_timing.firstRetry;
    setHealthy(true);
}

void EngineEvents::listed(std::chrono::steady_clock::time_point began)
{
    if (m_child && m_child->running() && began >= m_launchedAt)
        connected();
}

EngineEvents::~EngineEvents() { endChild(); }

void EngineEvents::follow(const std::optional<Runtime> &runtime)
{
    stop();
    m_runtime = runtime;
    m_following = true;
    launch();
}

void EngineEvents::stop()
{
    m_following = false;
    m_restarted = false;
    m_retry = m_timing.firstRetry;
    m_restart.stop();
    m_quiet.stop();
    m_pending = {};
    endChild();
    setHealthy(false);
}

qint64 EngineEvents::childPid() const
{
    return m_child ? m_child->pid() : 0;
}

void EngineEvents::launch()
{
    endChild();
    setHealthy(false);
    m_child = m_engine->events(m_runtime).release();
    m_child->setParent(this);
    connect(m_child, &EngineStream::readyRead, this, &EngineEvents::readLines);
    connect(m_child, &EngineStream::finished, this, &EngineEvents::ended);
    m_partial.clear();
    m_launchedAt = std::chrono::steady_clock::now();
    m_child->start();
    // A listing begun now proves the stream once it succeeds, so a quiet engine's stream is
    // known healthy without waiting for an event; a child started again may also have missed
    // events meanwhile, so that one reads every list.
    emit changed(std::exchange(m_restarted, false) ? everyListing : Listings(Listing::Containers));
}

void EngineEvents::endChild() { EngineStream::end(m_child, this); }

void EngineEvents::readLines()
{
    if (!m_child)
        return;
    const QByteArray read = m_child->readAll();
    if (read.isEmpty())
        return;
    m_partial += read;
    connected();
    qsizetype start = 0;
    Listings seen;
    for (qsizetype end; (end = m_partial.indexOf('\n', start)) >= 0; start = end + 1) {
        const EngineEvent event = Docker::readEvent(QByteArrayView(m_partial).sliced(start, end - start));
        seen |= event.lists;
        if (event.container)
            emit containerChanged(*event.container);
    }
    m_partial.remove(0, start);
    // A line without an end this long is not an event; drop it rather than grow forever.
    if (m_partial.size() > 1 << 20) {
        m_partial.clear();
        seen = everyListing;
    }
    if (seen)
        eventSeen(seen);
}

void EngineEvents::eventSeen(Listings lists)
{
    if (!m_quiet.isActive()) {
        // The first of a burst is told at once.
        m_burst.start();
        m_quiet.start(m_timing.quiet);
        emit changed(lists);
        return;
    }
    m_pending |= lists;
    const auto waited = std::chrono::milliseconds(m_burst.elapsed());
    m_quiet.start(std::max(std::chrono::milliseconds(0), std::min(m_timing.quiet, m_timing.longest - waited)));
}

void EngineEvents::burstTick()
{
    if (!m_pending)
        return;   // quiet since the last word: the burst is over
    // The rest of the burst in one; the burst goes on until a quiet period passes unmarked.
    m_burst.start();
    m_quiet.start(m_timing.quiet);
    emit changed(std::exchange(m_pending, {}));
}

void EngineEvents::setHealthy(bool healthy)
{
    if (m_healthy == healthy)
        return;
    m_healthy = healthy;
    emit healthyChanged();
}

void EngineEvents::ended()
{
    if (!m_child)
        return;
    EngineStream::letGo(m_child, this);
    setHealthy(false);
    if (!m_following)
        return;
    m_restart.start(m_retry);
    m_retry = std::min(m_retry * 2, m_timing.lastRetry);
}
