#include "docker.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

Listings listsChangedBy(QByteArrayView line)
{
    const QByteArrayView trimmed = line.trimmed();
    if (trimmed.isEmpty())
        return {};
    const auto doc = QJsonDocument::fromJson(trimmed.toByteArray());
    // What cannot be read might change anything.
    if (!doc.isObject())
        return everyListing;
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
        return quiet.contains(verb) ? Listings() : Listings(Listing::Containers);
    }
    if (type == QLatin1String("image"))
        return verb == QLatin1String("push") || verb == QLatin1String("save") ? Listings() : Listings(Listing::Images);
    if (type == QLatin1String("volume"))
        return verb == QLatin1String("mount") || verb == QLatin1String("unmount") ? Listings() : Listings(Listing::Volumes);
    if (type == QLatin1String("network"))
        return {};
    return everyListing;
}

} // namespace Docker
