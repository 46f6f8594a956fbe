#pragma once

#include "dockerimage.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// Images keyed by id and reference: one image tagged twice is two rows.
class ImageModel : public KeyedRowsModel<DockerImage> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Images come from the store")

public:
    enum Role { ImageIdRole = Qt::UserRole + 1, ShortIdRole, RepositoryRole, TagRole, ReferenceRole, SizeRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setImages(const QList<DockerImage> &images);
    const QList<DockerImage> &images() const { return m_rows; }
    static QString shortId(const QString &id);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DockerImage &row, int role) const override;
};
