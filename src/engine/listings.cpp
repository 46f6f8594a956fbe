#include "docker.h"

#include <QJsonDocument>

namespace Docker {

QList<QJsonObject> ndjson(const QString &text)
{
    QList<QJsonObject> objects;
    for (const auto line : QStringView(text).split(u'\n', Qt::SkipEmptyParts)) {
        const auto doc = QJsonDocument::fromJson(line.toUtf8());
        if (doc.isObject())
            objects.append(doc.object());
    }
    return objects;
}

namespace {
QString field(const QJsonObject &object, const char *key)
{
    const auto value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : QString();
}
}

QList<Container> parseContainers(const QString &text)
{
    QList<Container> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Names"), field(o, "Image"), field(o, "State"),
                     field(o, "Status"), field(o, "Ports"), parseLabels(field(o, "Labels"))});
    return list;
}

QList<DockerImage> parseImages(const QString &text)
{
    QList<DockerImage> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Repository"), field(o, "Tag"), field(o, "Size")});
    return list;
}

QList<DockerVolume> parseVolumes(const QString &text)
{
    QList<DockerVolume> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "Name"), field(o, "Driver"), field(o, "Mountpoint")});
    return list;
}

} // namespace Docker
