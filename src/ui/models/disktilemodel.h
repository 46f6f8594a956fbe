#pragma once

#include "disktext.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// The disk view's tiles, one per kind of item, keyed by kind. The kinds never change, so a
// new report, a failure or a change of runtime only changes what the tiles say: the
// delegates a layout holds live as long as the view.
class DiskTileModel : public KeyedRowsModel<DiskText::Tile> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The disk view's tiles come from its panel")

public:
    enum Role {
        TitleRole = Qt::UserRole + 1,
        IconRole,
        TotalRole,
        DetailRole,
        ReclaimableRole,
        // What a screen reader says: the kind and its total, then the lines below them.
        SpokenRole,
        DescriptionRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setTiles(const QList<DiskText::Tile> &tiles);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DiskText::Tile &tile, int role) const override;
};
