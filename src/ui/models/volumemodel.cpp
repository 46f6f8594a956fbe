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

QVariant VolumeModel::roleData(const DockerVolume &v, int role) const
{
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
