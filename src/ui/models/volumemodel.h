#pragma once

#include "dockervolume.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// Volumes keyed by name.
class VolumeModel : public KeyedRowsModel<DockerVolume> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Volumes come from the store")

public:
    enum Role { NameRole = Qt::UserRole + 1, DriverRole, MountpointRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setVolumes(const QList<DockerVolume> &volumes);
    const QList<DockerVolume> &volumes() const { return m_rows; }

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DockerVolume &row, int role) const override;
};
