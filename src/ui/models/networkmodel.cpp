#include "networkmodel.h"

namespace {
// The address without its prefix length: the subnet beside it says that already.
QString address(const NetworkMember &m)
{
    const QString a = m.ipv4.isEmpty() ? m.ipv6 : m.ipv4;
    return a.left(a.indexOf(u'/'));
}
}

void NetworkModel::setNetworks(const QList<DockerNetwork> &networks)
{
    sync(m_rows, networks, [](const DockerNetwork &n) { return n.engine + u'\n' + n.id; }, [](const DockerNetwork &a, const DockerNetwork &b) {
        QList<int> roles;
        if (a.name != b.name)
            roles << NameRole;
        if (detail(a) != detail(b))
            roles << DetailRole;
        if (a.members != b.members)
            roles << MembersRole << RemovableRole << KeptRole;
        if (a.project() != b.project())
            roles << ProjectRole;
        if (!roles.isEmpty())
            roles << DescriptionRole;
        return roles;
    });
}

QString NetworkModel::detail(const DockerNetwork &n)
{
    QStringList parts{n.driver, n.scope};
    parts += n.subnets;
    if (n.internal)
        parts << QStringLiteral("internal");
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" · "));
}

QString NetworkModel::members(const DockerNetwork &n)
{
    if (n.members.isEmpty())
        return QStringLiteral("No containers");
    QStringList list;
    for (const NetworkMember &m : n.members) {
        const QString at = address(m);
        list << (at.isEmpty() ? m.name : m.name + u' ' + at);
    }
    return list.join(QStringLiteral(", "));
}

QString NetworkModel::spoken(const DockerNetwork &n)
{
    QString text = detail(n);
    if (const auto project = n.project())
        text += QStringLiteral(" · project ") + *project;
    return text + QStringLiteral(" · ") + members(n);
}

QVariant NetworkModel::roleData(const DockerNetwork &n, int role) const
{
    if (role >= KeyRole)
        return sharedRole(role, n.engine, n.name, n.name);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole: return n.name;
    case DetailRole: return detail(n);
    case MembersRole: return members(n);
    case ProjectRole: return n.project().value_or(QString());
    case RemovableRole: return Docker::networkKept(n).isEmpty();
    case KeptRole: return Docker::networkKept(n);
    case DescriptionRole: return spoken(n);
    }
    return {};
}

QHash<int, QByteArray> NetworkModel::roleNames() const
{
    QHash<int, QByteArray> names {{NameRole, "name"},           {DetailRole, "summary"},   {MembersRole, "members"}, {ProjectRole, "project"},
            {RemovableRole, "removable"}, {KeptRole, "keptReason"}, {DescriptionRole, "description"}};
    names.insert(sharedRoleNames());
    return names;
}
