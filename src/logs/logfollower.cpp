#include "logfollower.h"

#include "docker.h"

#include <csignal>
#include <unistd.h>

LogFollower::LogFollower(const LogSource &source, const std::optional<Runtime> &runtime, QObject *parent)
    : QObject(parent), m_source(source), m_runtime(runtime)
{
}

LogFollower::~LogFollower()
{
    stop();
}

void LogFollower::preview(const QString &text)
{
    m_preview = true;
    m_text = text;
    emit textChanged();
}

void LogFollower::start()
{
    if (m_preview)
        return;
    if (m_process)
        return;
    m_process = Docker::process(m_source.args(), m_runtime, m_source.workingDir());
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setChildProcessModifier([] { ::setpgid(0, 0); });
    connect(m_process.get(), &QProcess::readyRead, this, &LogFollower::readAvailable);
    connect(m_process.get(), &QProcess::stateChanged, this, &LogFollower::runningChanged);
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        m_text = appended(m_text, QStringLiteral("cannot run docker: ") + m_process->errorString() + u'\n');
        emit textChanged();
    });
    m_process->start();
}

void LogFollower::stop()
{
    if (!m_process || m_process->state() == QProcess::NotRunning)
        return;
    m_process->disconnect(this);
    const qint64 pid = m_process->processId();
    if (pid > 0)
        ::kill(-pid_t(pid), SIGTERM);
    if (!m_process->waitForFinished(3000) && pid > 0) {
        ::kill(-pid_t(pid), SIGKILL);
        m_process->waitForFinished(-1);
    }
    emit runningChanged();
}

void LogFollower::readAvailable()
{
    const QByteArray chunk = m_process->readAll();
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
