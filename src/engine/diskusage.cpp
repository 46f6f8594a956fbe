#include "diskusage.h"

#include <QHash>

#include "docker.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
QString text(const QJsonObject &o, const char *key)
{
    const QJsonValue v = o.value(QLatin1String(key));
    return v.isString() ? v.toString() : QString();
}

// "2.1MB", "0B", or "0B (virtual 1.98MB)" from older clients: the first size.
qint64 bytes(const QJsonObject &o, const char *key)
{
    const QString t = text(o, key);
    return Docker::parseByteSize(QStringView(t).left(t.indexOf(u' '))).value_or(-1);
}

int count(const QJsonObject &o, const char *key)
{
    bool ok = false;
    const int n = text(o, key).toInt(&ok);
    return ok && n > 0 ? n : 0;
}

QList<QJsonObject> rows(const QJsonObject &doc, const char *key)
{
    QList<QJsonObject> list;
    for (const QJsonValue &v : doc.value(QLatin1String(key)).toArray()) {
        if (v.isObject())
            list.append(v.toObject());
    }
    return list;
}
}

bool DiskUsage::Volume::isAnonymous() const
{
    return DockerVolume::isAnonymous(name, labels);
}

qint64 DiskUsage::bytes() const
{
    qint64 sum = 0;
    for (const Total *t : {&imagesTotal, &containersTotal, &volumesTotal, &cacheTotal}) {
        if (t->bytes < 0)
            return -1;
        sum += t->bytes;
    }
    return sum;
}

namespace Docker {

DiskUsage parseDiskUsage(const QByteArray &json)
{
    DiskUsage d;
    const QJsonObject doc = QJsonDocument::fromJson(json).object();
    for (const QJsonObject &o : rows(doc, "Images")) {
        DiskUsage::Image i{text(o, "ID"), text(o, "Repository"), text(o, "Tag"), bytes(o, "Size"), bytes(o, "SharedSize"), bytes(o, "UniqueSize"),
                           count(o, "Containers")};
        if (!i.id.isEmpty())
            d.images.append(i);
    }
    for (const QJsonObject &o : rows(doc, "Containers")) {
        DiskUsage::Container c{text(o, "ID"), text(o, "Names"), text(o, "Image"), text(o, "State"), bytes(o, "Size"), parseLabels(text(o, "Labels")),
                               text(o, "Mounts").split(u',', Qt::SkipEmptyParts)};
        if (!c.id.isEmpty())
            d.containers.append(c);
    }
    for (const QJsonObject &o : rows(doc, "Volumes")) {
        DiskUsage::Volume v{text(o, "Name"), bytes(o, "Size"), count(o, "Links"), parseLabels(text(o, "Labels"))};
        if (!v.name.isEmpty())
            d.volumes.append(v);
    }
    for (const QJsonObject &o : rows(doc, "BuildCache")) {
        DiskUsage::Cache c{text(o, "ID"), text(o, "CacheType"), text(o, "Description"), bytes(o, "Size"),
                           text(o, "InUse") == QLatin1String("true"), text(o, "Shared") == QLatin1String("true")};
        if (!c.id.isEmpty())
            d.buildCache.append(c);
    }
    return d;
}

void parseDiskTotals(const QByteArray &jsonLines, DiskUsage &usage)
{
    const QMap<QString, DiskUsage::Total *> kinds{{QStringLiteral("Images"), &usage.imagesTotal},
                                                 {QStringLiteral("Containers"), &usage.containersTotal},
                                                 {QStringLiteral("Local Volumes"), &usage.volumesTotal},
                                                 {QStringLiteral("Build Cache"), &usage.cacheTotal}};
    for (const QByteArray &line : jsonLines.split('\n')) {
        const QJsonObject o = QJsonDocument::fromJson(line).object();
        if (DiskUsage::Total *t = kinds.value(text(o, "Type")))
            *t = {count(o, "TotalCount"), count(o, "Active"), bytes(o, "Size"), bytes(o, "Reclaimable")};
    }
}


DiskUsage withListedNames(DiskUsage usage, const QList<DockerImage> &images, const QList<Container> &containers)
{
    const auto shortId = [](const QString &id) { return id.mid(id.indexOf(u':') + 1).left(12); };
    QHash<QString, std::pair<QString, QString>> imageNames;
    for (const DockerImage &i : images) {
        auto &name = imageNames[shortId(i.id)];
        // A repository without a tag (pulled by digest) is a name too; a tag is the better one.
        const bool named = !i.repository.isEmpty() && i.repository != QLatin1String("<none>");
        const auto rank = [](const QString &repository, const QString &tag) {
            return std::pair(tag == QLatin1String("<none>"), repository + u':' + tag);
        };
        // The first name in order, so one image reads the same on every reading.
        if (named && (name.first.isEmpty() || name.first == QLatin1String("<none>") || rank(i.repository, i.tag) < rank(name.first, name.second)))
            name = {i.repository, i.tag};
        else if (name.first.isEmpty())
            name = {QStringLiteral("<none>"), QStringLiteral("<none>")};
    }
    for (DiskUsage::Image &i : usage.images) {
        if (const auto it = imageNames.constFind(shortId(i.id)); it != imageNames.cend()) {
            i.repository = it->first;
            i.tag = it->second;
        }
    }
    QHash<QString, QString> containerNames;
    for (const Container &c : containers)
        containerNames.insert(shortId(c.id), c.name);
    for (DiskUsage::Container &c : usage.containers)
        c.name = containerNames.value(shortId(c.id), c.name);
    return usage;
}

}
