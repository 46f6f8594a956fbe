#include "containerdetails.h"

#include "docker.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace Docker {

namespace {
// The engine writes "0001-01-01T00:00:00Z" for a time that never came.
QDateTime time(const QJsonValue &value)
{
    const QDateTime at = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return at.isValid() && at.date().year() > 1 ? at : QDateTime();
}

QString text(const QJsonObject &o, const char *key)
{
    return o.value(QLatin1String(key)).toString();
}
}

std::optional<ContainerDetails> parseContainerDetails(const QByteArray &json)
{
    const QJsonDocument doc = QJsonDocument::fromJson(json);
    const QJsonObject c = doc.isArray() ? doc.array().at(0).toObject() : doc.object();
    if (text(c, "Id").isEmpty())
        return std::nullopt;
    const QJsonObject state = c.value(QLatin1String("State")).toObject();
    const QJsonObject config = c.value(QLatin1String("Config")).toObject();
    const QJsonObject host = c.value(QLatin1String("HostConfig")).toObject();
    ContainerDetails d;
    d.id = text(c, "Id");
    d.name = text(c, "Name").mid(text(c, "Name").startsWith(u'/') ? 1 : 0);
    d.image = text(config, "Image");
    d.imageId = text(c, "Image");
    d.state = text(state, "Status");
    d.exitCode = state.value(QLatin1String("ExitCode")).toInt();
    d.outOfMemory = state.value(QLatin1String("OOMKilled")).toBool();
    d.error = text(state, "Error");
    d.created = time(c.value(QLatin1String("Created")));
    d.startedAt = time(state.value(QLatin1String("StartedAt")));
    d.finishedAt = time(state.value(QLatin1String("FinishedAt")));
    d.restartPolicy = text(host.value(QLatin1String("RestartPolicy")).toObject(), "Name");
    d.restartCount = c.value(QLatin1String("RestartCount")).toInt();
    if (const QJsonObject health = state.value(QLatin1String("Health")).toObject(); !health.isEmpty()) {
        ContainerDetails::Health h;
        h.status = text(health, "Status");
        h.failingStreak = health.value(QLatin1String("FailingStreak")).toInt();
        const QJsonArray log = health.value(QLatin1String("Log")).toArray();
        for (qsizetype i = log.size() - 1; i >= 0; --i) {
            const QJsonObject probe = log.at(i).toObject();
            h.probes.append({time(probe.value(QLatin1String("Start"))), probe.value(QLatin1String("ExitCode")).toInt(), text(probe, "Output")});
        }
        const QJsonObject check = config.value(QLatin1String("Healthcheck")).toObject();
        h.test = strings(check.value(QLatin1String("Test")));
        // Nanoseconds; none set means the engine's default of thirty seconds.
        const double seconds = check.value(QLatin1String("Interval")).toDouble() / 1e9;
        h.intervalSeconds = seconds > 0 && seconds < 1e9 ? std::max<qint64>(1, qint64(seconds)) : 30;
        d.health = h;
    }
    d.entrypoint = strings(config.value(QLatin1String("Entrypoint")));
    d.command = strings(config.value(QLatin1String("Cmd")));
    d.workingDir = text(config, "WorkingDir");
    d.user = text(config, "User");
    for (const QString &variable : strings(config.value(QLatin1String("Env")))) {
        const qsizetype equals = variable.indexOf(u'=');
        d.environment.append(equals < 0 ? std::pair(variable, QString()) : std::pair(variable.left(equals), variable.mid(equals + 1)));
    }
    for (const QJsonValue &m : c.value(QLatin1String("Mounts")).toArray()) {
        const QJsonObject mount = m.toObject();
        d.mounts.append({text(mount, "Type"), text(mount, "Source"), text(mount, "Destination"),
                         !mount.value(QLatin1String("RW")).toBool(true), text(mount, "Name")});
    }
    // "80/tcp": [{"HostIp": "0.0.0.0", "HostPort": "8080"}, …], or null where only exposed.
    const QJsonObject ports = c.value(QLatin1String("NetworkSettings")).toObject().value(QLatin1String("Ports")).toObject();
    for (auto it = ports.constBegin(); it != ports.constEnd(); ++it) {
        const int port = it.key().section(u'/', 0, 0).toInt();
        const QString protocol = it.key().section(u'/', 1);
        const QJsonArray published = it->toArray();
        if (published.isEmpty())
            d.ports.append({{}, 0, port, protocol});
        for (const QJsonValue &p : published)
            d.ports.append({p.toObject().value(QLatin1String("HostIp")).toString(), p.toObject().value(QLatin1String("HostPort")).toString().toInt(), port, protocol});
    }
    const QJsonObject networks = c.value(QLatin1String("NetworkSettings")).toObject().value(QLatin1String("Networks")).toObject();
    for (auto it = networks.constBegin(); it != networks.constEnd(); ++it) {
        const QJsonObject n = it->toObject();
        d.networks.append({it.key(), text(n, "IPAddress"), text(n, "Gateway"), strings(n.value(QLatin1String("Aliases")))});
    }
    const QJsonObject labels = config.value(QLatin1String("Labels")).toObject();
    for (auto it = labels.constBegin(); it != labels.constEnd(); ++it)
        d.labels.insert(it.key(), it->toString());
    d.document = QString::fromUtf8(QJsonDocument(c).toJson(QJsonDocument::Indented));
    return d;
}

QString exitMeaning(int exitCode, bool outOfMemory)
{
    if (outOfMemory)
        return QStringLiteral("Killed: out of memory");
    switch (exitCode) {
    case 0: return QStringLiteral("exited normally");
    case 125: return QStringLiteral("the engine could not run it");
    case 126: return QStringLiteral("its command could not be run (not executable)");
    case 127: return QStringLiteral("command not found");
    case 128 + 1: return QStringLiteral("hung up (SIGHUP)");
    case 128 + 2: return QStringLiteral("interrupted (SIGINT)");
    case 128 + 3: return QStringLiteral("quit (SIGQUIT)");
    case 128 + 4: return QStringLiteral("crashed (illegal instruction)");
    case 128 + 6: return QStringLiteral("aborted (SIGABRT)");
    case 128 + 7: return QStringLiteral("crashed (bus error)");
    case 128 + 8: return QStringLiteral("crashed (arithmetic error)");
    case 128 + 9: return QStringLiteral("killed (SIGKILL)");
    case 128 + 11: return QStringLiteral("crashed (segmentation fault)");
    case 128 + 13: return QStringLiteral("broken pipe (SIGPIPE)");
    case 128 + 15: return QStringLiteral("stopped (SIGTERM)");
    }
    if (exitCode > 128 && exitCode < 128 + 65)
        return QStringLiteral("ended by signal %1").arg(exitCode - 128);
    return QStringLiteral("failed (its program's own code)");
}

}
