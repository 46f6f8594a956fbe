#include "jobrun.h"

#include "childprocess.h"
#include "toolchain.h"

#include <csignal>
#include <unistd.h>

JobRun::JobRun(const ToolJob &job, std::shared_ptr<const ToolchainSource> source, QObject *parent)
    : QObject(parent), m_job(job), m_source(std::move(source)), m_output(job.banner() + u'\n')
{
}

JobRun::~JobRun()
{
    // A job still running when its sheet goes is ended, without holding up the window.
    if (m_process)
        ChildProcess::endInBackground(std::move(m_process), std::chrono::seconds(3));
}

void JobRun::start()
{
    if (m_state != State::Idle)
        return;
    m_process = m_source->job(m_job.script());
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    ChildProcess::prepare(*m_process);
    connect(m_process.get(), &QProcess::readyRead, this, &JobRun::readAvailable);
    connect(m_process.get(), &QProcess::finished, this, [this](int code) {
        readAvailable();
        m_exitStatus = code;
        setState(State::Finished);
    });
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        m_output += QStringLiteral("cannot run brew: ") + m_process->errorString();
        emit outputChanged();
        setState(State::FailedToStart);
    });
    setState(State::Running);
    m_process->start();
}

void JobRun::cancel()
{
    if (running())
        signalGroup(SIGINT);
}

void JobRun::readAvailable()
{
    const QByteArray chunk = m_process->readAll();
    if (chunk.isEmpty())
        return;
    // The decoder keeps state, so a character split across two reads is not lost.
    m_output += m_decoder.decode(chunk);
    emit outputChanged();
}

void JobRun::signalGroup(int signal)
{
    const qint64 pid = m_process ? m_process->processId() : 0;
    if (pid > 0)
        ::kill(-pid_t(pid), signal);
}

void JobRun::setState(State state)
{
    if (m_state == state)
        return;
    m_state = state;
    emit stateChanged();
}
