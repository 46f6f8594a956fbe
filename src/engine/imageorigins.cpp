#include "imageorigins.h"

#include "docker.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

bool isLoopbackNetwork(const QString &cidr)
{
    return cidr.startsWith(QLatin1String("127.")) || cidr == QLatin1String("::1/128");
}

} // namespace

namespace Docker {

QString originFormat()
{
    return QStringLiteral(R"({"Id":{{json .Id}},"RepoTags":{{json .RepoTags}},"RepoDigests":{{json .RepoDigests}}})");
}

QList<ImageOrigin> parseImageOrigins(const QByteArray &text)
{
    QList<ImageOrigin> origins;
    for (const QByteArray &line : text.split('\n')) {
        const QJsonObject o = QJsonDocument::fromJson(line).object();
        const QString id = o.value(QLatin1String("Id")).toString();
        if (id.isEmpty())
            continue;
        origins.append({id, strings(o.value(QLatin1String("RepoTags"))), strings(o.value(QLatin1String("RepoDigests")))});
    }
    return origins;
}

InsecureRegistries parseInsecureRegistries(const QByteArray &json)
{
    InsecureRegistries insecure;
    const QJsonObject config = QJsonDocument::fromJson(json).object();
    const QJsonObject indexes = config.value(QLatin1String("IndexConfigs")).toObject();
    for (auto it = indexes.begin(); it != indexes.end(); ++it)
        if (!it.value().toObject().value(QLatin1String("Secure")).toBool(true))
            insecure.names.append(it.key());
    for (const QString &cidr : strings(config.value(QLatin1String("InsecureRegistryCIDRs"))))
        if (!isLoopbackNetwork(cidr))
            insecure.networks.append(cidr);
    return insecure;
}

} // namespace Docker
