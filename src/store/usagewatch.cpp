#include "usagewatch.h"

#include "docker.h"

#include <algorithm>
#include <cmath>

using namespace std::chrono_literals;

namespace {
qint64 steadyNow()
{
    static QElapsedTimer started = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return started.elapsed();
}
}

UsagePace usagePace(qsizetype containers)
{
    // Measured on a local engine, counting dockerd, containerd and the shims with the client,
    // in milliseconds of CPU: a stream costs about 4 a second per container; a one-off reading
    // about 50 for the client's start and the engine's setup, and 6.5 per container. The
    // readings are held to about 14 a second, so that with Korvat's own drawing the whole
    // stays under 2% of a core. Past 30 seconds a minute's line would be a point or two.
    constexpr double budget = 14, perStreamed = 4, perRun = 50, perRead = 6.5;
    if (double(containers) * perStreamed <= budget)
        return {UsageRead::Streaming, 1s};
    const auto seconds = std::lround(std::ceil((perRun + perRead * double(containers)) / budget));
    return {UsageRead::Once, std::chrono::seconds(std::clamp(seconds, 4L, 30L))};
}

UsageWatch::UsageWatch(std::shared_ptr<Engine> engine, Clock clock, Timing timing, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_clock(std::move(clock)), m_timing(timing)
{
    m_settle.setSingleShot(true);
    connect(&m_settle, &QTimer::timeout, this, &UsageWatch::relaunch);
}

UsageWatch::UsageWatch(std::shared_ptr<Engine> engine, QObject *parent) : UsageWatch(std::move(engine), steadyNow, {}, parent) {}

UsageWatch::~UsageWatch() { endChild(); }

void UsageWatch::follow(const std::optional<Runtime> &runtime)
{
    if (m_following && runtime == m_runtime)
        return;
    m_following = true;
    m_runtime = runtime;
    m_counters = false;
    m_histories.clear();
    endChild();
    m_sinceReading.invalidate();
    m_lastAsked.clear();
    m_settle.start(m_timing.settle);
}

void UsageWatch::setShown(bool shown)
{
    if (m_shown == shown)
        return;
    m_shown = shown;
    m_settle.start(m_timing.settle);
}

void UsageWatch::want(const void *viewer, const QSet<QString> &containerIds)
{
    if (containerIds.isEmpty())
        m_viewers.remove(viewer);
    else
        m_viewers.insert(viewer, containerIds);
    QSet<QString> wanted;
    for (const auto &ids : std::as_const(m_viewers))
        wanted |= ids;
    if (wanted == m_wanted)
        return;
    m_wanted = wanted;
    m_settle.start(m_timing.settle);
}

const UsageHistory *UsageWatch::history(const QString &containerId) const
{
    const auto found = m_histories.constFind(containerId);
    return found == m_histories.cend() ? nullptr : &*found;
}

qint64 UsageWatch::childPid() const { return m_child ? m_child->pid() : 0; }

UsagePace UsageWatch::pace() const
{
    return m_counters ? UsagePace{UsageRead::Streaming, 1s} : m_timing.pace(m_wanted.size());
}

std::chrono::milliseconds UsageWatch::cadence() const { return pace().every; }

void UsageWatch::relaunch()
{
    if (!m_following || !m_shown || m_wanted.isEmpty()) {
        endChild();
        return;
    }
    const UsagePace pace = this->pace();
    if (pace.read == UsageRead::Streaming) {
        if (!m_child || m_childRead != UsageRead::Streaming || m_streaming != m_wanted)
            launch(UsageRead::Streaming);
        return;
    }
    // One reading at a time; its end asks again.
    if (m_child && m_childRead == UsageRead::Once)
        return;
    endChild();
    std::chrono::milliseconds due = 0ms;
    if (m_sinceReading.isValid()) {
        // Rows come into view since the last reading are read soon. What it asked for and
        // got nothing of (a container gone) waits for the pace like the rest.
        const bool unasked = !m_lastAsked.contains(m_wanted);
        due = (unasked ? m_timing.soonest : pace.every) - std::chrono::milliseconds(m_sinceReading.elapsed());
    }
    if (due > 0ms) {
        m_settle.start(due);
        return;
    }
    m_sinceReading.start();
    m_lastAsked = m_wanted;
    launch(UsageRead::Once);
}

void UsageWatch::launch(UsageRead read)
{
    endChild();
    QStringList ids(m_wanted.cbegin(), m_wanted.cend());
    ids.sort();
    m_streaming = m_wanted;
    m_childRead = read;
    m_child = m_engine->usage(ids, m_runtime, read).release();
    m_child->setParent(this);
    connect(m_child, &EngineStream::readyRead, this, &UsageWatch::read);
    connect(m_child, &EngineStream::finished, this, &UsageWatch::ended);
    m_child->start();
}

void UsageWatch::endChild()
{
    m_partial.clear();
    m_streaming.clear();
    EngineStream::end(m_child, this);
}

void UsageWatch::ended()
{
    if (!m_child)
        return;
    read();
    EngineStream::letGo(m_child, this);
    m_streaming.clear();
    m_partial.clear();
    // A one-off reading ends as it should, and the next is timed from its start.
    m_settle.start(m_childRead == UsageRead::Once ? 0ms : m_timing.retry);
}

void UsageWatch::read()
{
    if (!m_child)
        return;
    m_partial += m_child->readAll();
    // The first reading tells where they come from; a stream of counters that had to turn
    // to the engine's own stats goes back to the engine's pace.
    if (const bool counters = m_child->readsCounters(); counters != m_counters) {
        m_counters = counters;
        if (!counters || m_childRead == UsageRead::Streaming)
            m_settle.start(0);
    }
    QList<Usage> readings;
    qsizetype start = 0;
    for (qsizetype end; (end = m_partial.indexOf('\n', start)) >= 0; start = end + 1) {
        if (auto usage = Docker::readUsage(QByteArrayView(m_partial).sliced(start, end - start)))
            readings << *usage;
    }
    m_partial.remove(0, start);
    if (m_partial.size() > 1 << 20)
        m_partial.clear();
    if (!readings.isEmpty())
        see(readings, m_clock());
}

void UsageWatch::see(const QList<Usage> &readings, qint64 at)
{
    QSet<QString> changed;
    QSet<QString> seen;
    for (const Usage &reading : readings) {
        seen << reading.id;
        UsageHistory &history = m_histories[reading.id];
        const UsageHistory before = history;
        history.memoryBytes = reading.memoryBytes;
        history.memoryLimit = reading.memoryLimit;
        if (reading.cpuPercent) {
            // The client redraws several times a second; the engine reads once a second.
            if (!history.cpu.isEmpty() && at - history.cpu.last().at < m_timing.step.count())
                history.cpu.last().cpuPercent = *reading.cpuPercent;
            else
                history.cpu.append({at, *reading.cpuPercent, cadence().count()});
        }
        if (history != before)
            changed << reading.id;
    }
    // Nothing is kept that the last minute does not show.
    const qint64 oldest = at - m_timing.span.count();
    for (auto it = m_histories.begin(); it != m_histories.end();) {
        auto &points = it->cpu;
        const auto firstKept = std::find_if(points.begin(), points.end(), [oldest](const auto &p) { return p.at >= oldest; });
        if (firstKept != points.begin()) {
            points.erase(points.begin(), firstKept);
            changed << it.key();
        }
        if (points.isEmpty() && !seen.contains(it.key())) {
            it = m_histories.erase(it);
            continue;
        }
        ++it;
    }
    if (!changed.isEmpty())
        emit sampled(changed);
}
