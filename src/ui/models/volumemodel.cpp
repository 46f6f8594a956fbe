#include "volumemodel.h"

void VolumeModel::setVolumes(const QList<DockerVolume> &volumes, const QSet<QString> &mounted)
{
    QList<VolumeRow> rows;
    rows.reserve(volumes.size());
    for (const DockerVolume &v : volumes)
        rows.append({v, mounted.contains(v.engine.isEmpty() ? v.name : v.engine + QChar(0x1f) + v.name)});
    sync(m_rows, rows, [](const VolumeRow &r) { return r.volume.engine + u'\n' + r.volume.name; }, [](const VolumeRow &a, const VolumeRow &b) {
        QList<int> roles;
        if (a.volume.driver != b.volume.driver)
            roles << DriverRole;
        if (a.volume.mountpoint != b.volume.mountpoint)
            roles << MountpointRole;
        if (a.inUse != b.inUse)
            roles << InUseRole;
        if (!roles.isEmpty())
            roles << DescriptionRole;
        return roles;
    });
}

QList<DockerVolume> VolumeModel::volumes() const
{
    QList<DockerVolume> list;
    for (const VolumeRow &r : m_rows)
        list.append(r.volume);
    return list;
}

QString VolumeModel::spoken(const VolumeRow &row)
{
    QString text = row.volume.driver + QStringLiteral(" · ") + row.volume.mountpoint;
    if (row.inUse)
        text += QStringLiteral(" · in use");
    return text;
}

QVariant VolumeModel::roleData(const VolumeRow &r, int role) const
{
    if (role >= KeyRole)
        return sharedRole(role, r.volume.engine, r.volume.name, r.volume.name);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return r.volume.name;
    case DriverRole:
        return r.volume.driver;
    case MountpointRole:
        return r.volume.mountpoint;
    case InUseRole:
        return r.inUse;
    case DescriptionRole:
        return spoken(r);
    }
    return {};
}

QHash<int, QByteArray> VolumeModel::roleNames() const
{
    QHash<int, QByteArray> names {{NameRole, "name"}, {DriverRole, "driver"}, {MountpointRole, "mountpoint"}, {InUseRole, "inUse"},
            {DescriptionRole, "description"}};
    names.insert(sharedRoleNames());
    return names;
}
