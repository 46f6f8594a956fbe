#include "docker.h"

#include <QJsonArray>
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

QStringList strings(const QJsonValue &value)
{
    QStringList list;
    for (const QJsonValue &v : value.toArray())
        if (v.isString())
            list.append(v.toString());
    return list;
}

namespace {
QString field(const QJsonObject &object, const char *key)
{
    const auto value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : QString();
}
}

QDateTime parseCreated(const QString &text)
{
    // The zone's name after the offset says nothing the offset does not.
    const QStringList parts = text.split(u' ');
    if (parts.size() < 3 || parts[2].size() != 5)
        return {};
    QDateTime at = QDateTime::fromString(parts[0] + u'T' + parts[1], Qt::ISODate);
    bool hoursOk = false, minutesOk = false;
    const int hours = parts[2].mid(1, 2).toInt(&hoursOk), minutes = parts[2].mid(3, 2).toInt(&minutesOk);
    if (!at.isValid() || !hoursOk || !minutesOk || (parts[2][0] != u'+' && parts[2][0] != u'-'))
        return {};
    const int offset = (hours * 3600 + minutes * 60) * (parts[2][0] == u'-' ? -1 : 1);
    at.setOffsetFromUtc(offset);
    return at;
}

QList<Container> parseContainers(const QString &text)
{
    QList<Container> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Names"), field(o, "Image"), field(o, "State"), field(o, "Status"),
                     field(o, "Ports"), parseLabels(field(o, "Labels")), parseCreated(field(o, "CreatedAt")),
                     field(o, "Mounts").split(u',', Qt::SkipEmptyParts)});
    return list;
}

QList<DockerImage> parseImages(const QString &text)
{
    QList<DockerImage> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Repository"), field(o, "Tag"), field(o, "Size"), parseCreated(field(o, "CreatedAt"))});
    return list;
}

QList<DockerVolume> parseVolumes(const QString &text)
{
    QList<DockerVolume> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "Name"), field(o, "Driver"), field(o, "Mountpoint"), parseLabels(field(o, "Labels"))});
    return list;
}

} // namespace Docker
