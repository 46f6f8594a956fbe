#include "diskmodel.h"

void DiskModel::setRows(const QList<DiskText::Row> &rows, qint64 largest)
{
    const bool rescaled = largest != m_largest;
    m_largest = largest;
    sync(m_rows, rows, [](const DiskText::Row &r) { return r.engine + u'\n' + QString::number(int(r.kind)) + r.id; },
         [](const DiskText::Row &a, const DiskText::Row &b) {
             QList<int> roles;
             if (a.name != b.name)
                 roles << NameRole;
             if (a.bytes != b.bytes)
                 roles << SizeRole << ShareRole;
             if (a.use != b.use || a.detail != b.detail)
                 roles << LineRole;
             if (!roles.isEmpty())
                 roles << DescriptionRole;
             return roles;
         });
    if (rescaled && !m_rows.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {ShareRole});
}

QVariant DiskModel::roleData(const DiskText::Row &r, int role) const
{
    if (role >= KeyRole)
        return sharedRole(role, r.engine, r.id, r.name);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole: return r.name;
    case IconRole: return DiskText::icon(r.kind);
    case SizeRole: return DiskText::size(r.bytes);
    case LineRole: return r.detail.isEmpty() ? r.use : r.use + QStringLiteral("  ·  ") + r.detail;
    case ShareRole: return m_largest > 0 && r.bytes > 0 ? double(r.bytes) / double(m_largest) : 0.0;
    case DescriptionRole: return DiskText::spoken(r);
    }
    return {};
}

QHash<int, QByteArray> DiskModel::roleNames() const
{
    QHash<int, QByteArray> names{{NameRole, "name"}, {IconRole, "kindIcon"}, {SizeRole, "size"}, {LineRole, "line"}, {ShareRole, "share"}, {DescriptionRole, "description"}};
    names.insert(sharedRoleNames());
    return names;
}
