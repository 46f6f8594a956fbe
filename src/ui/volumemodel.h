#pragma once

#include "dockervolume.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// Volumes keyed by name.
class VolumeModel : public KeyedListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Volumes come from the store")

public:
    enum Role { NameRole = Qt::UserRole + 1, DriverRole, MountpointRole };
    Q_ENUM(Role)

    using KeyedListModel::KeyedListModel;

    void setVolumes(const QList<DockerVolume> &volumes);
    const QList<DockerVolume> &volumes() const { return m_rows; }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<DockerVolume> m_rows;
};
