#include "disktilemodel.h"

void DiskTileModel::setTiles(const QList<DiskText::Tile> &tiles)
{
    sync(m_rows, tiles, [](const DiskText::Tile &t) { return t.title; },
         [](const DiskText::Tile &a, const DiskText::Tile &b) {
             QList<int> roles;
             if (a.icon != b.icon)
                 roles << IconRole;
             if (a.total != b.total)
                 roles << TotalRole << SpokenRole;
             if (a.detail != b.detail)
                 roles << DetailRole;
             if (a.reclaimable != b.reclaimable)
                 roles << ReclaimableRole;
             if (a.detail != b.detail || a.reclaimable != b.reclaimable)
                 roles << DescriptionRole;
             return roles;
         });
}

QVariant DiskTileModel::roleData(const DiskText::Tile &t, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case TitleRole: return t.title;
    case IconRole: return t.icon;
    case TotalRole: return t.total;
    case DetailRole: return t.detail;
    case ReclaimableRole: return t.reclaimable;
    case SpokenRole: return t.title + QStringLiteral(", ") + t.total;
    case DescriptionRole: {
        QStringList lines{t.detail, t.reclaimable};
        lines.removeAll(QString());
        return lines.join(QStringLiteral(", "));
    }
    }
    return {};
}

QHash<int, QByteArray> DiskTileModel::roleNames() const
{
    return {{TitleRole, "title"}, {IconRole, "iconName"}, {TotalRole, "total"}, {DetailRole, "detail"}, {ReclaimableRole, "reclaimable"},
            {SpokenRole, "spoken"}, {DescriptionRole, "description"}};
}
