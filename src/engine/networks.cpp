#include "dockernetwork.h"

#include "container.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
DockerNetwork readNetwork(const QJsonObject &n)
{
    DockerNetwork net;
    net.id = n.value(QLatin1String("Id")).toString();
    net.name = n.value(QLatin1String("Name")).toString();
    net.driver = n.value(QLatin1String("Driver")).toString();
    net.scope = n.value(QLatin1String("Scope")).toString();
    net.internal = n.value(QLatin1String("Internal")).toBool();
    net.created = QDateTime::fromString(n.value(QLatin1String("Created")).toString(), Qt::ISODateWithMs);
    for (const QJsonValue &config : n.value(QLatin1String("IPAM")).toObject().value(QLatin1String("Config")).toArray()) {
        const QJsonObject c = config.toObject();
        if (const QString subnet = c.value(QLatin1String("Subnet")).toString(); !subnet.isEmpty())
            net.subnets.append(subnet);
        if (const QString gateway = c.value(QLatin1String("Gateway")).toString(); !gateway.isEmpty())
            net.gateways.append(gateway);
    }
    const QJsonObject labels = n.value(QLatin1String("Labels")).toObject();
    for (auto it = labels.constBegin(); it != labels.constEnd(); ++it)
        net.labels.insert(it.key(), it->toString());
    const QJsonObject members = n.value(QLatin1String("Containers")).toObject();
    for (auto it = members.constBegin(); it != members.constEnd(); ++it) {
        const QJsonObject m = it->toObject();
        net.members.append({it.key(), m.value(QLatin1String("Name")).toString(), m.value(QLatin1String("IPv4Address")).toString(),
                            m.value(QLatin1String("IPv6Address")).toString()});
    }
    std::sort(net.members.begin(), net.members.end(), [](const NetworkMember &a, const NetworkMember &b) {
        return std::tie(a.name, a.containerId) < std::tie(b.name, b.containerId);
    });
    return net;
}

QJsonArray inspected(const QByteArray &inspect)
{
    const QJsonDocument doc = QJsonDocument::fromJson(inspect);
    return doc.isArray() ? doc.array() : QJsonArray{doc.object()};
}
}

std::optional<QString> DockerNetwork::project() const
{
    const QString p = labels.value(QLatin1String(Labels::project));
    return p.isEmpty() ? std::nullopt : std::optional(p);
}

bool DockerNetwork::isBuiltIn() const
{
    return name == QLatin1String("bridge") || name == QLatin1String("host") || name == QLatin1String("none");
}

namespace Docker {

QList<DockerNetwork> parseNetworks(const QByteArray &inspect)
{
    QList<DockerNetwork> list;
    for (const QJsonValue &value : inspected(inspect)) {
        DockerNetwork net = readNetwork(value.toObject());
        if (!net.id.isEmpty() && !net.name.isEmpty())
            list.append(std::move(net));
    }
    return list;
}

std::optional<NetworkDetails> parseNetworkDetails(const QByteArray &inspect)
{
    const QJsonObject first = inspected(inspect).at(0).toObject();
    DockerNetwork net = readNetwork(first);
    if (net.id.isEmpty() || net.name.isEmpty())
        return std::nullopt;
    return NetworkDetails{std::move(net), QString::fromUtf8(QJsonDocument(first).toJson(QJsonDocument::Indented))};
}

QString networkKept(const DockerNetwork &network)
{
    if (network.isBuiltIn())
        return QStringLiteral("The engine's own network: it cannot be removed.");
    if (network.members.isEmpty())
        return {};
    QStringList names;
    for (const NetworkMember &m : network.members)
        names.append(m.name);
    return QStringLiteral("In use by %1: remove or disconnect %2 first.").arg(names.join(QStringLiteral(", ")), names.size() == 1 ? QStringLiteral("it") : QStringLiteral("them"));
}

}
