#include "failurewatch.h"

#include "settings.h"

#include <QRegularExpression>
#include <csignal>

FailureWatch::FailureWatch(QSettings *settings, Clock clock, Timing timing, QObject *parent)
    : QObject(parent), m_settings(settings), m_clock(std::move(clock)), m_timing(timing)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(m_timing.burst);
    connect(&m_quiet, &QTimer::timeout, this, &FailureWatch::flush);
}

FailureWatch::FailureWatch(QSettings *settings, QObject *parent)
    : FailureWatch(settings, [] { return QDateTime::currentDateTimeUtc(); }, Timing{}, parent)
{
}

void FailureWatch::see(const ContainerChange &change)
{
    using Kind = ContainerChange::Kind;
    const Failure failure{change.id, change.name, change.project, Failure::Why::Exited, change.exitCode};
    switch (change.kind) {
    case Kind::Started:
        m_killed.remove(change.id);
        return;
    case Kind::Killed:
        if (ends(change.signal))
            m_killed.insert(change.id);
        return;
    case Kind::Stopped:
        retract(change.id);
        return;
    case Kind::Died:
        if (change.exitCode != 0 && !m_killed.contains(change.id))
            report(failure);
        m_killed.remove(change.id);
        return;
    case Kind::OutOfMemory:
        return report({failure.id, failure.name, failure.project, Failure::Why::OutOfMemory, 0});
    case Kind::Unhealthy:
        return report({failure.id, failure.name, failure.project, Failure::Why::Unhealthy, 0});
    case Kind::Destroyed:
        m_killed.remove(change.id);
        return;
    case Kind::Paused:
    case Kind::Unpaused:
    case Kind::Healthy:
    case Kind::Updated:
        return;
    }
}

void FailureWatch::report(Failure failure)
{
    failure.engine = m_engine;
    if (!enabled() || muted(failure.project))
        return;
    const QDateTime now = m_clock();
    const auto last = m_lastTold.constFind(failure.id);
    if (last != m_lastTold.cend() && last->secsTo(now) < m_timing.quietPeriod.count())
        return;
    m_lastTold.insert(failure.id, now);
    m_burst.append(std::move(failure));
    m_quiet.start();
}

void FailureWatch::retract(const QString &id)
{
    if (m_burst.removeIf([&](const Failure &f) { return f.id == id && f.why == Failure::Why::Exited; }) > 0)
        m_lastTold.remove(id);
}

bool FailureWatch::ends(int signal)
{
    return signal == 0 || signal == SIGINT || signal == SIGKILL || signal == SIGTERM;
}

std::optional<int> FailureWatch::exitCode(const Container &container)
{
    static const QRegularExpression exited(QStringLiteral("^Exited \\((-?\\d+)\\)"));
    const QRegularExpressionMatch match = exited.match(container.status);
    if (container.state != QLatin1String("exited") || !match.hasMatch())
        return std::nullopt;
    return match.captured(1).toInt();
}

void FailureWatch::listed(const QList<Container> &containers, bool afterGap)
{
    QSet<QString> running;
    for (const Container &c : containers) {
        if (c.isRunning())
            running.insert(c.id);
        if (!afterGap || !m_running || !m_running->contains(c.id))
            continue;
        const std::optional<int> code = exitCode(c);
        // 128 + the signal: what a stop leaves when the program did not exit by itself.
        if (code && *code != 0 && !(*code > 128 && ends(*code - 128)))
            report({c.id, c.name, c.project().value_or(QString()), Failure::Why::Exited, *code});
    }
    m_running = std::move(running);
}

void FailureWatch::forgetListing()
{
    m_running.reset();
}

void FailureWatch::flush()
{
    if (!m_burst.isEmpty())
        emit failed(std::exchange(m_burst, {}));
}

bool FailureWatch::enabled() const { return Settings::notifyOnFailure.read(*m_settings); }

void FailureWatch::setEnabled(bool on) { Settings::notifyOnFailure.write(*m_settings, on); }

bool FailureWatch::muted(const QString &project) const
{
    return !project.isEmpty() && Settings::mutedProjects.read(*m_settings).contains(project);
}

void FailureWatch::setMuted(const QString &project, bool muted)
{
    QStringList list = Settings::mutedProjects.read(*m_settings);
    if (project.isEmpty() || list.contains(project) == muted)
        return;
    if (muted)
        list.append(project);
    else
        list.removeAll(project);
    list.sort();
    Settings::mutedProjects.write(*m_settings, list);
    emit mutedChanged();
}
