#include "logfollower.h"

#include "docker.h"

#include <QFuture>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

namespace {
// Reading a batch is short work that never waits. Threads of its own, so that a docker call
// blocking the shared ones (an exec that runs for a minute) cannot hold a log back.
QThreadPool *readers()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(2);
        return p;
    }();
    return pool;
}

// Lines that are not UTF-8 are dropped, each on its own.
QString decoded(const QByteArray &bytes)
{
    QString text = Docker::utf8(bytes);
    if (!text.isEmpty() || bytes.isEmpty())
        return text;
    const QList<QByteArray> lines = bytes.split('\n');
    for (qsizetype i = 0; i < lines.size(); ++i)
        text += Docker::utf8(i + 1 < lines.size() ? lines[i] + '\n' : lines[i]);
    return text;
}

// Where the bytes can be cut without splitting a character.
qsizetype characterBoundary(const QByteArray &bytes)
{
    qsizetype start = bytes.size();
    while (start > 0 && bytes.size() - start < 3 && (uchar(bytes[start - 1]) & 0xc0) == 0x80)
        --start;
    if (start == 0)
        return bytes.size();
    const uchar lead = uchar(bytes[start - 1]);
    const qsizetype length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc0 ? 2 : 1;
    return start - 1 + length > bytes.size() ? start - 1 : bytes.size();
}
}

LogFollower::LogFollower(std::shared_ptr<const Engine> engine, const LogSource &source, const std::optional<Runtime> &runtime,
                         QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_source(source), m_runtime(runtime)
{
    m_pace.setSingleShot(true);
    connect(&m_pace, &QTimer::timeout, this, &LogFollower::takeBatch);
    connect(&m_reader, &QFutureWatcherBase::finished, this, &LogFollower::applyRead);
}

LogFollower::~LogFollower()
{
    stop();
}

QString LogFollower::header(const LogSource &source)
{
    return source.isProject() ? QStringLiteral("PROJECT LOGS · LAST 300 PER SERVICE") : QStringLiteral("LOGS · LAST 300");
}

void LogFollower::start()
{
    if (m_stream)
        return;
    m_stream = m_engine->logs(m_source, m_runtime);
    connect(m_stream.get(), &EngineStream::readyRead, this, &LogFollower::schedule);
    connect(m_stream.get(), &EngineStream::runningChanged, this, &LogFollower::runningChanged);
    connect(m_stream.get(), &EngineStream::failedToStart, this, [this](const QString &message) {
        m_transcript.append({LogLine{Ansi::Line{QStringLiteral("cannot run docker: ") + message, {}}, {}, {}}});
    });
    m_stream->start();
}

void LogFollower::stop()
{
    if (!m_stream || !m_stream->running())
        return;
    m_stream->disconnect(this);
    m_stream->stop();
    emit runningChanged();
}

void LogFollower::setTimestamps(bool timestamps)
{
    if (m_source.timestamps == timestamps)
        return;
    m_source.timestamps = timestamps;
    emit timestampsChanged();
    // The lines so far came without times (or with them): read the last 300 again.
    const bool wasRunning = m_stream != nullptr;
    stop();
    m_stream.reset();
    ++m_generation;
    m_busy = false;
    m_pace.stop();
    m_lastBatch.invalidate();
    m_interval = frame;
    m_reading = {};
    m_transcript.clear();
    if (wasRunning)
        start();
}

void LogFollower::schedule()
{
    if (m_busy || m_pace.isActive())
        return;
    const std::chrono::milliseconds since(m_lastBatch.isValid() ? m_lastBatch.elapsed() : m_interval.count());
    if (since >= m_interval)
        takeBatch();
    else
        m_pace.start(m_interval - since);
}

void LogFollower::takeBatch()
{
    if (!m_stream || m_busy)
        return;
    LineBatch batch = m_stream->take();
    if (batch.bytes.isEmpty() && batch.passedOver == 0)
        return;
    // The time the batch gathered over; none known for the first.
    const qint64 over = m_lastBatch.isValid() ? std::max<qint64>(m_lastBatch.elapsed(), frame.count()) : 0;
    const bool floods = batch.passedOver > 0 || (over > 0 && batch.bytes.size() * 1000 >= floodBytesPerSecond * over);
    m_lastBatch.start();
    m_interval = floods ? flooding : frame;
    m_busy = true;
    // Watched rather than continued: a follower closed while its batch is read is gone when
    // the batch comes back, and the watcher goes with it.
    m_reader.setFuture(QtConcurrent::run(readers(), [reading = std::move(m_reading), batch = std::move(batch), generation = m_generation,
                                                     prefixed = m_source.isProject(), timestamped = m_source.timestamps]() mutable {
        Read read = LogFollower::read(std::move(reading), std::move(batch), prefixed, timestamped);
        read.generation = generation;
        return read;
    }));
}

void LogFollower::applyRead()
{
    Read read = m_reader.result();
    if (read.generation != m_generation)
        return;
    m_reading = std::move(read.reading);
    m_busy = false;
    m_transcript.append(read.lines, read.passedOver);
    schedule();
}

LogFollower::Read LogFollower::read(Reading reading, LineBatch batch, bool prefixed, bool timestamped)
{
    // After a gap the stream begins a line: whatever this side held of the one before went.
    if (batch.passedOver > 0)
        reading = {};
    reading.bound.add(batch.bytes);
    LineBatch kept = reading.bound.take();
    // The line left open ended among the lines passed over here, and its style went with it.
    if (kept.passedOver > 0) {
        reading.parser = {};
        reading.open.clear();
    }
    const QByteArray bytes = reading.open.isEmpty() ? kept.bytes : reading.open + kept.bytes;
    // Only whole lines are decoded, so a character split between two reads is read whole. A
    // line that never ends is read on all the same; the parser breaks it where it grows long.
    qsizetype end = bytes.lastIndexOf('\n') + 1;
    if (end == 0 && bytes.size() > Ansi::Parser::longestLine)
        end = characterBoundary(bytes);
    reading.open = bytes.sliced(end);
    Read read;
    read.passedOver = batch.passedOver + kept.passedOver;
    for (Ansi::Line &line : reading.parser.feed(decoded(bytes.first(end))))
        read.lines.append(LogLines::read(std::move(line), prefixed, timestamped));
    read.reading = std::move(reading);
    return read;
}
