#include "afterrestart.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace AfterRestart {

QString policyText(const RestartFacts &facts)
{
    const QString policy = facts.policy.isEmpty() ? QStringLiteral("no") : facts.policy;
    return facts.maxRetries > 0 && policy == QLatin1String("on-failure") ? policy + u':' + QString::number(facts.maxRetries) : policy;
}

bool runsNow(const QString &state)
{
    return state == QLatin1String("running") || state == QLatin1String("paused") || state == QLatin1String("restarting");
}

namespace {
Comeback judged(const RestartFacts &facts, bool podman);
}

Comeback predict(const RestartFacts &facts, bool podman)
{
    Comeback comeback = judged(facts, podman);
    comeback.fixable = !comeback.comesBack() && runsNow(facts.state) && !podman && !facts.autoRemove;
    return comeback;
}

namespace {
Comeback judged(const RestartFacts &facts, bool podman)
{
    using Kind = Comeback::Kind;
    const QString policy = facts.policy.isEmpty() ? QStringLiteral("no") : facts.policy;
    const QString named = QStringLiteral("restart policy ") + policyText(facts);
    const bool running = runsNow(facts.state);
    const QString stops = running ? QStringLiteral("Stops for good at the next restart: ") : QStringLiteral("Stays stopped: ");

    if (facts.autoRemove)
        return {Kind::No, running ? QStringLiteral("Removed at the next restart: it was run with --rm") : QStringLiteral("Stays stopped: it was run with --rm")};
    if (podman) {
        // Podman has no engine process that outlives its containers; only systemd starts them.
        if (!facts.systemdUnit.isEmpty())
            return {Kind::Perhaps, QStringLiteral("Comes back if its systemd unit %1 is enabled: Podman does not bring containers back itself").arg(facts.systemdUnit)};
        if (policy == QLatin1String("always") && facts.startedBefore)
            return {Kind::Perhaps, QStringLiteral("Comes back only if podman-restart.service is enabled: Podman does not bring containers back itself")};
        return {Kind::No, stops + QStringLiteral("Podman brings back only containers with restart policy always, through podman-restart.service")};
    }
    if (facts.state == QLatin1String("dead"))
        return {Kind::No, QStringLiteral("Stays stopped: the engine gave it up as dead")};
    // The engine starts again only what it has started before.
    if (!facts.startedBefore || facts.state == QLatin1String("created"))
        return {Kind::No, QStringLiteral("Stays created: the engine starts again only what has run")};
    if (policy == QLatin1String("no"))
        return {Kind::No, stops + named};
    if (policy == QLatin1String("always"))
        return running ? Comeback{Kind::Yes, QStringLiteral("Comes back: ") + named}
                       : Comeback{Kind::Yes, QStringLiteral("Starts again at the next restart, though stopped now: ") + named};
    if (policy == QLatin1String("unless-stopped"))
        return running ? Comeback{Kind::Yes, QStringLiteral("Comes back: ") + named}
                       : Comeback{Kind::No, QStringLiteral("Stays stopped: it was stopped, and ") + named + QStringLiteral(" keeps it so")};
    if (policy == QLatin1String("on-failure")) {
        if (facts.maxRetries > 0 && facts.restartCount >= facts.maxRetries)
            return {Kind::No, stops + QStringLiteral("%1 has used its %2 restarts").arg(named).arg(facts.maxRetries)};
        if (running)
            return {Kind::Perhaps, QStringLiteral("Comes back only if it ends with an error as the engine stops it: ") + named};
        if (facts.exitCode != 0)
            return {Kind::Yes, QStringLiteral("Starts again at the next restart, though stopped now: %1, and it exited with %2").arg(named).arg(facts.exitCode)};
        return {Kind::No, QStringLiteral("Stays stopped: it exited with 0, and %1 restarts only failures").arg(named)};
    }
    return {Kind::No, stops + QStringLiteral("this engine's restart policy %1 is not one Korvat knows").arg(policy)};
}
}

} // namespace AfterRestart

namespace Docker {

QString restartFormat()
{
    return QStringLiteral("{\"Id\":{{json .Id}},\"Name\":{{json .Name}},\"Policy\":{{json .HostConfig.RestartPolicy}},"
                          "\"AutoRemove\":{{json .HostConfig.AutoRemove}},\"RestartCount\":{{json .RestartCount}},"
                          "\"Status\":{{json .State.Status}},\"ExitCode\":{{json .State.ExitCode}},\"StartedAt\":{{json .State.StartedAt}},"
                          "\"Unit\":{{json (index .Config.Labels \"PODMAN_SYSTEMD_UNIT\")}}}");
}

QList<RestartFacts> parseRestartFacts(const QByteArray &text)
{
    QList<RestartFacts> list;
    for (const QByteArray &line : text.split('\n')) {
        const QJsonObject o = QJsonDocument::fromJson(line).object();
        const QString id = o.value(QLatin1String("Id")).toString();
        if (id.isEmpty())
            continue;
        const QJsonObject policy = o.value(QLatin1String("Policy")).toObject();
        const QString started = o.value(QLatin1String("StartedAt")).toString();
        RestartFacts f;
        f.id = id;
        f.name = o.value(QLatin1String("Name")).toString();
        if (f.name.startsWith(u'/'))
            f.name.remove(0, 1);
        f.policy = policy.value(QLatin1String("Name")).toString();
        if (f.policy.isEmpty())
            f.policy = QStringLiteral("no");
        f.maxRetries = policy.value(QLatin1String("MaximumRetryCount")).toInt();
        f.restartCount = o.value(QLatin1String("RestartCount")).toInt();
        f.state = o.value(QLatin1String("Status")).toString();
        f.exitCode = o.value(QLatin1String("ExitCode")).toInt();
        // A container never started carries Go's zero time.
        f.startedBefore = !started.isEmpty() && !started.startsWith(QLatin1String("0001-01-01"));
        f.autoRemove = o.value(QLatin1String("AutoRemove")).toBool();
        f.systemdUnit = o.value(QLatin1String("Unit")).toString();
        list.append(f);
    }
    return list;
}

} // namespace Docker
