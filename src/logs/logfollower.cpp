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
        m_text = appended(m_text, QStringLiteral("cannot run docker: ") + message + u'\n');
        emit textChanged();
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

void LogFollower::readAvailable()
{
    const QByteArray chunk = m_stream->readAll();
    if (chunk.isEmpty())
        return;
    // A chunk that is not valid UTF-8 is dropped whole.
    const QString decoded = Docker::utf8(chunk);
    if (decoded.isEmpty())
        return;
    m_text = appended(std::move(m_text), decoded);
    emit textChanged();
}

QString LogFollower::appended(QString text, const QString &chunk)
{
    text += chunk;
    if (text.size() >= trimAt) {
        text = text.right(keep);
        // Never start on the second half of a surrogate pair.
        if (!text.isEmpty() && text.front().isLowSurrogate())
            text.remove(0, 1);
    }
    return text;
}
