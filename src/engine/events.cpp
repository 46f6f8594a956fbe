#include "docker.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

namespace {

std::optional<ContainerChange> containerChange(QStringView verb, const QJsonObject &event)
{
    using Kind = ContainerChange::Kind;
    static const QList<std::pair<QLatin1String, Kind>> kinds = {
        {QLatin1String("start"), Kind::Started},   {QLatin1String("die"), Kind::Died},
        {QLatin1String("pause"), Kind::Paused},    {QLatin1String("unpause"), Kind::Unpaused},
        {QLatin1String("destroy"), Kind::Destroyed}, {QLatin1String("kill"), Kind::Killed},
        {QLatin1String("oom"), Kind::OutOfMemory}, {QLatin1String("stop"), Kind::Stopped},
        {QLatin1String("update"), Kind::Updated},
    };
    const auto known = std::find_if(kinds.cbegin(), kinds.cend(), [verb](const auto &k) { return verb == k.first; });
    const QJsonObject actor = event.value(QLatin1String("Actor")).toObject();
    QString id = actor.value(QLatin1String("ID")).toString();
    if (id.isEmpty())
        id = event.value(QLatin1String("id")).toString();
    const QString action = event.value(QLatin1String("Action")).toString();
    const bool unhealthy = action == QLatin1String("health_status: unhealthy");
    const bool healthy = action == QLatin1String("health_status: healthy");
    if ((known == kinds.cend() && !unhealthy && !healthy) || id.isEmpty())
        return std::nullopt;
    const QJsonObject attributes = actor.value(QLatin1String("Attributes")).toObject();
    return ContainerChange{id, unhealthy ? Kind::Unhealthy : healthy ? Kind::Healthy : known->second, attributes.value(QLatin1String("exitCode")).toString().toInt(),
                           attributes.value(QLatin1String("name")).toString(), attributes.value(QLatin1String(Labels::project)).toString(),
                           attributes.value(QLatin1String("signal")).toString().toInt()};
}

// "Up 7 minutes (healthy)" without its note in brackets.
QString withoutNote(const QString &status)
{
    return status.endsWith(u')') && status.contains(QLatin1String(" (")) ? status.left(status.lastIndexOf(QLatin1String(" ("))) : status;
}

}

EngineEvent readEvent(QByteArrayView line)
{
    const QByteArrayView trimmed = line.trimmed();
    if (trimmed.isEmpty())
        return {};
    const auto doc = QJsonDocument::fromJson(trimmed.toByteArray());
    // What cannot be read might change anything.
    if (!doc.isObject())
        return {everyListing, {}};
    const QJsonObject event = doc.object();
    QString action = event.value(QLatin1String("Action")).toString();
    if (action.isEmpty())
        action = event.value(QLatin1String("status")).toString();
    // "exec_start: sh -c …", "health_status: healthy": the verb is before the colon.
    const QStringView verb = QStringView(action).left(action.indexOf(u':'));
    const QString type = event.value(QLatin1String("Type")).toString();
    if (type == QLatin1String("container")) {
        // Commands run inside a container, and reads of it, change nothing a list shows.
        static const QStringList quiet = {QStringLiteral("exec_create"), QStringLiteral("exec_start"),
                                          QStringLiteral("exec_die"), QStringLiteral("exec_detach"),
                                          QStringLiteral("top"), QStringLiteral("resize"), QStringLiteral("export"),
                                          QStringLiteral("copy"), QStringLiteral("archive-path"),
                                          QStringLiteral("extract-to-dir"), QStringLiteral("attach")};
        if (quiet.contains(verb))
            return {};
        return {Listing::Containers, containerChange(verb, event)};
    }
    if (type == QLatin1String("image"))
        return {verb == QLatin1String("push") || verb == QLatin1String("save") ? Listings() : Listings(Listing::Images), {}};
    if (type == QLatin1String("volume"))
        return {verb == QLatin1String("mount") || verb == QLatin1String("unmount") ? Listings() : Listings(Listing::Volumes), {}};
    // Containers joining and leaving count too: a network's row shows who is attached.
    if (type == QLatin1String("network"))
        return {Listing::Networks, {}};
    return {everyListing, {}};
}

QList<Container> withChange(QList<Container> rows, const ContainerChange &change)
{
    using Kind = ContainerChange::Kind;
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Container &c) { return !c.id.isEmpty() && change.id.startsWith(c.id); });
    if (row == rows.end())
        return rows;
    switch (change.kind) {
    case Kind::Started:
        row->state = QStringLiteral("running");
        row->status = QStringLiteral("Up Less than a second");
        break;
    case Kind::Died:
        row->state = QStringLiteral("exited");
        row->status = QStringLiteral("Exited (%1) Less than a second ago").arg(change.exitCode);
        break;
    case Kind::Paused:
        row->state = QStringLiteral("paused");
        row->status = withoutNote(row->status) + QStringLiteral(" (Paused)");
        break;
    case Kind::Unpaused:
        row->state = QStringLiteral("running");
        row->status = withoutNote(row->status);
        break;
    case Kind::Destroyed:
        rows.erase(row);
        break;
    case Kind::Killed:
    case Kind::Stopped:
    case Kind::OutOfMemory:
    case Kind::Unhealthy:
    case Kind::Healthy:
    case Kind::Updated:
        break;
    }
    return rows;
}

} // namespace Docker
