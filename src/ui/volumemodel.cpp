#include "volumemodel.h"

void VolumeModel::setVolumes(const QList<DockerVolume> &volumes)
{
    sync(m_rows, volumes, [](const DockerVolume &v) { return v.name; }, [](const DockerVolume &a, const DockerVolume &b) {
        QList<int> roles;
        if (a.driver != b.driver)
            roles << DriverRole;
        if (a.mountpoint != b.mountpoint)
            roles << MountpointRole;
        return roles;
    });
}

int VolumeModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant VolumeModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const DockerVolume &v = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return v.name;
    case DriverRole:
        return v.driver;
    case MountpointRole:
        return v.mountpoint;
    }
    return {};
}

QHash<int, QByteArray> VolumeModel::roleNames() const
{
    return {{NameRole, "name"}, {DriverRole, "driver"}, {MountpointRole, "mountpoint"}};
}
