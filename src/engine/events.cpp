#include "docker.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

bool eventChangesLists(QByteArrayView line)
{
    const QByteArrayView trimmed = line.trimmed();
    if (trimmed.isEmpty())
        return false;
    const auto doc = QJsonDocument::fromJson(trimmed.toByteArray());
    if (!doc.isObject())
        return true;
    const QJsonObject event = doc.object();
    QString action = event.value(QLatin1String("Action")).toString();
    if (action.isEmpty())
        action = event.value(QLatin1String("status")).toString();
    // "exec_start: sh -c …", "health_status: healthy": the verb is before the colon.
    const QStringView verb = QStringView(action).left(action.indexOf(u':'));
    static const QStringList quiet = {QStringLiteral("exec_create"), QStringLiteral("exec_start"),
                                      QStringLiteral("exec_die"), QStringLiteral("exec_detach"),
                                      QStringLiteral("top"), QStringLiteral("resize"), QStringLiteral("export"),
                                      QStringLiteral("copy"), QStringLiteral("archive-path"),
                                      QStringLiteral("extract-to-dir")};
    return !quiet.contains(verb);
}

} // namespace Docker
