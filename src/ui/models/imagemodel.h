#pragma once

#include "dockerimage.h"
#include "keyedlistmodel.h"
#include "rowmarks.h"

#include <QtQml/qqmlregistration.h>

// What is known of whether the registry has moved on from an image's tag.
using ImageNewerOf = std::function<std::optional<ImageFreshness>(const DockerImage &)>;

// Images keyed by id and reference: one image tagged twice is two rows.
class ImageModel : public KeyedRowsModel<DockerImage> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Images come from the store")

public:
    enum Role {
        ImageIdRole = Qt::UserRole + 1,
        ShortIdRole,
        RepositoryRole,
        TagRole,
        ReferenceRole,
        SizeRole,
        // The registry has a newer image for its tag, and why Korvat says so.
        NewerRole,
        NewerReasonRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setImages(const QList<DockerImage> &images);
    const QList<DockerImage> &images() const { return m_rows; }
    // As ContainerModel's: asked again at every setImages and markNewer.
    void setNewerOf(ImageNewerOf newerOf);
    void markNewer();
    static QString shortId(const QString &id);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DockerImage &row, int role) const override;

private:
    ImageNewerOf m_newerOf;
    RowMarks m_newer;
};
