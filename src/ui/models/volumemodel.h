#pragma once

#include "dockervolume.h"
#include "keyedlistmodel.h"

#include <QSet>
#include <QtQml/qqmlregistration.h>

// A volume as its row shows it: whether a container mounts it comes from the containers.
struct VolumeRow {
    DockerVolume volume;
    bool inUse = false;

    friend bool operator==(const VolumeRow &, const VolumeRow &) = default;
};

// Volumes keyed by name.
class VolumeModel : public KeyedRowsModel<VolumeRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Volumes come from the store")

public:
    enum Role { NameRole = Qt::UserRole + 1, DriverRole, MountpointRole, InUseRole, DescriptionRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    // mounted: the names some container mounts.
    void setVolumes(const QList<DockerVolume> &volumes, const QSet<QString> &mounted = {});
    QList<DockerVolume> volumes() const;

    // What its row says to a screen reader: "local · /var/lib/docker/volumes/x/_data · in use".
    static QString spoken(const VolumeRow &row);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const VolumeRow &row, int role) const override;
};
