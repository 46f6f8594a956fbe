#pragma once

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

// A container attached to a network, with the addresses the network gave it.
struct NetworkMember {
    QString containerId;
    QString name;
    // "172.31.250.2/24"; empty where the network gives none (host, none).
    QString ipv4;
    QString ipv6;
    friend bool operator==(const NetworkMember &, const NetworkMember &) = default;
};

// One network as `docker network inspect` describes it.
struct DockerNetwork {
    QString id;
    QString name;
    QString driver;
    QString scope;
    QStringList subnets;
    QStringList gateways;
    bool internal = false;
    QDateTime created;
    QMap<QString, QString> labels;
    // Sorted by name, so a listing that only reorders them changes nothing.
    QList<NetworkMember> members;

    // The compose project that made it, from its label.
    std::optional<QString> project() const;
    // bridge, host and none: the engine made them and needs them.
    bool isBuiltIn() const;
    // The runtime whose listing showed it, by name, where several engines are shown at
    // once; empty in one engine's own lists.
    QString engine = {};

    friend bool operator==(const DockerNetwork &, const DockerNetwork &) = default;
};

// One network with the whole inspect document, for its details sheet.
struct NetworkDetails {
    DockerNetwork network;
    QString document;
    friend bool operator==(const NetworkDetails &, const NetworkDetails &) = default;
};

namespace Docker {
// `docker network inspect`'s array; what does not read as a network is left out.
QList<DockerNetwork> parseNetworks(const QByteArray &inspect);
std::optional<NetworkDetails> parseNetworkDetails(const QByteArray &inspect);
// Why the network cannot be removed now, in a sentence; empty when it can.
QString networkKept(const DockerNetwork &network);
}
