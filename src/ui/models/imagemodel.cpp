#include "imagemodel.h"

namespace {
QString imageKey(const DockerImage &i)
{
    return i.engine + u'\n' + i.id + u'\n' + i.repository + u':' + i.tag;
}
}

void ImageModel::setImages(const QList<DockerImage> &images)
{
    sync(m_rows, images, imageKey, [](const DockerImage &a, const DockerImage &b) {
        return a.size != b.size ? QList<int>{SizeRole} : QList<int>{};
    });
    markNewer();
}

void ImageModel::setNewerOf(ImageNewerOf newerOf)
{
    m_newerOf = std::move(newerOf);
    markNewer();
}

void ImageModel::markNewer()
{
    for (int i : m_newer.update(m_rows, imageKey, [this](const auto &row) { return newerReason(m_newerOf, row); }))
        emit dataChanged(index(i), index(i), {NewerRole, NewerReasonRole});
}

QString ImageModel::shortId(const QString &id)
{
    QString bare = id;
    if (bare.startsWith(QLatin1String("sha256:")))
        bare = bare.mid(7);
    return bare.left(12);
}

QVariant ImageModel::roleData(const DockerImage &i, int role) const
{
    if (role >= KeyRole)
        return sharedRole(role, i.engine, i.id, i.repository + u':' + i.tag);
    switch (role) {
    case Qt::DisplayRole:
    case ReferenceRole:
        return i.repository + u':' + i.tag;
    case ImageIdRole:
        return i.id;
    case ShortIdRole:
        return shortId(i.id);
    case RepositoryRole:
        return i.repository;
    case TagRole:
        return i.tag;
    case SizeRole:
        return i.size;
    case NewerRole:
        return m_newer.marked(imageKey(i));
    case NewerReasonRole:
        return m_newer.reason(imageKey(i));
    }
    return {};
}

QHash<int, QByteArray> ImageModel::roleNames() const
{
    QHash<int, QByteArray> names {{ImageIdRole, "imageId"}, {ShortIdRole, "shortId"}, {RepositoryRole, "repository"},
            {TagRole, "tag"}, {ReferenceRole, "reference"}, {SizeRole, "size"}, {NewerRole, "newer"},
            {NewerReasonRole, "newerReason"}};
    names.insert(sharedRoleNames());
    return names;
}
