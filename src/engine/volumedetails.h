#pragma once

#include "container.h"

#include <QDateTime>
#include <QMap>
#include <QString>
#include <optional>

// One volume as `docker volume inspect` describes it, with the containers that mount it.
struct VolumeDetails {
    QString name;
    QString driver;
    QString mountpoint;
    QString scope;
    QDateTime created;
    QMap<QString, QString> labels;
    QMap<QString, QString> options;
    // Every container that mounts it, running or not, as the client lists them.
    QList<Container> users;
    // Bytes its data takes, where it can be read from here.
    std::optional<qint64> bytes;
    QString document;
    friend bool operator==(const VolumeDetails &, const VolumeDetails &) = default;
};

namespace Docker {
// The first volume of `docker volume inspect`'s array; none for anything else.
std::optional<VolumeDetails> parseVolumeDetails(const QByteArray &inspect);
}
