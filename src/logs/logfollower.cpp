#include "logfollower.h"

#include "docker.h"

LogFollower::LogFollower(std::shared_ptr<const Engine> engine, const LogSource &source, const std::optional<Runtime> &runtime,
                         QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_source(source), m_runtime(runtime)
{
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
    connect(m_stream.get(), &EngineStream::readyRead, this, &LogFollower::readAvailable);
    connect(m_stream.get(), &EngineStream::runningChanged, this, &LogFollower::runningChanged);
    connect(m_stream.get(), &EngineStream::failedToStart, this, [this](const QString &message) {
        add(QString(QStringLiteral("cannot run docker: ") + message + u'\n'));
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
    m_parser = {};
    m_transcript.clear();
    if (wasRunning)
        start();
}

void LogFollower::readAvailable()
{
    const QByteArray chunk = m_stream->readAll();
    if (chunk.isEmpty())
        return;
    // A chunk that is not valid UTF-8 is dropped whole.
    const QString decoded = Docker::utf8(chunk);
    if (!decoded.isEmpty())
        add(decoded);
}

void LogFollower::add(QStringView text)
{
    QList<LogLine> lines;
    for (Ansi::Line &line : m_parser.feed(text))
        lines.append(LogLines::read(std::move(line), m_source.isProject(), m_source.timestamps));
    m_transcript.append(lines);
}
