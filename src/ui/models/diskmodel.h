#pragma once

#include "disktext.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// The disk view's items keyed by kind and id, largest first.
class DiskModel : public KeyedRowsModel<DiskText::Row> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The disk view's items come from its panel")

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        IconRole,
        SizeRole,
        // Who holds it, then what the size is of where that needs saying.
        LineRole,
        ShareRole,
        DescriptionRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    // largest: the biggest item's bytes, against which every row's bar is drawn.
    void setRows(const QList<DiskText::Row> &rows, qint64 largest);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DiskText::Row &row, int role) const override;

private:
    qint64 m_largest = 0;
};
