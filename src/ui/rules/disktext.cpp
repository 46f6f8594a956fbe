#include "disktext.h"

#include "container.h"
#include "secrets.h"
#include "volumesize.h"
#include "worktext.h"

#include <QMultiHash>

namespace DiskText {

namespace {
// The engine's total where it gave one, else what the items add up to.
template<typename List, typename Size>
qint64 total(const DiskUsage::Total &t, const List &items, Size sizeOf)
{
    if (t.bytes >= 0)
        return t.bytes;
    qint64 sum = 0;
    for (const auto &i : items)
        sum += std::max<qint64>(sizeOf(i), 0);
    return sum;
}

QString reclaimable(const DiskUsage::Total &t, const char *what)
{
    return t.reclaimable >= 0 ? VolumeSize::format(t.reclaimable) + u' ' + QLatin1String(what) : QString();
}

QString shortId(const QString &id)
{
    return id.mid(id.indexOf(u':') + 1).left(12);
}

QString usedBy(const QStringList &names)
{
    return QStringLiteral("Used by ") + WorkText::listed(names);
}
}

QString counted(qsizetype n, const char *one, const char *many)
{
    return QStringLiteral("%1 %2").arg(n).arg(QLatin1String(n == 1 ? one : many));
}

QString size(qint64 bytes)
{
    return bytes >= 0 ? VolumeSize::format(bytes) : QStringLiteral("size unknown");
}

QString icon(Row::Kind kind)
{
    switch (kind) {
    case Row::Kind::Image: return QStringLiteral("opticaldisc");
    case Row::Kind::Container: return QStringLiteral("shippingbox");
    case Row::Kind::Volume: return QStringLiteral("externaldrive");
    case Row::Kind::Cache: return QStringLiteral("hammer");
    }
    return {};
}

QList<Tile> tiles(const DiskUsage &u)
{
    qint64 own = 0;
    for (const auto &i : u.images)
        own += std::max<qint64>(i.uniqueBytes, 0);
    const qint64 images = total(u.imagesTotal, u.images, [](const DiskUsage::Image &i) { return i.bytes; });
    QString imageDetail = counted(int(u.images.size()), "image", "images");
    // The engine counts a layer two images share once; what is left after each image's own
    // layers is what they share.
    if (u.imagesTotal.bytes >= 0 && images > own)
        imageDetail += QStringLiteral(" · %1 their own · %2 shared").arg(VolumeSize::format(own), VolumeSize::format(std::max<qint64>(images - own, 0)));

    const int running = int(std::count_if(u.containers.cbegin(), u.containers.cend(), [](const DiskUsage::Container &c) { return c.state == QLatin1String("running"); }));
    QSet<QString> mounted;
    for (const auto &c : u.containers)
        mounted.unite(QSet<QString>(c.mounts.cbegin(), c.mounts.cend()));
    const int inUse = int(std::count_if(u.volumes.cbegin(), u.volumes.cend(), [&](const DiskUsage::Volume &v) { return v.links > 0 || mounted.contains(v.name); }));
    const int cacheInUse = int(std::count_if(u.buildCache.cbegin(), u.buildCache.cend(), [](const DiskUsage::Cache &c) { return c.inUse; }));

    return {
        {QStringLiteral("Images"), icon(Row::Kind::Image), size(images), imageDetail, reclaimable(u.imagesTotal, "no container uses")},
        {QStringLiteral("Containers"), icon(Row::Kind::Container),
         size(total(u.containersTotal, u.containers, [](const DiskUsage::Container &c) { return c.bytes; })),
         counted(int(u.containers.size()), "writable layer", "writable layers") + QStringLiteral(" · %1 running").arg(running),
         reclaimable(u.containersTotal, "in stopped ones")},
        {QStringLiteral("Volumes"), icon(Row::Kind::Volume), size(total(u.volumesTotal, u.volumes, [](const DiskUsage::Volume &v) { return v.bytes; })),
         counted(int(u.volumes.size()), "volume", "volumes") + QStringLiteral(" · %1 mounted").arg(inUse), reclaimable(u.volumesTotal, "nothing mounts")},
        {QStringLiteral("Build cache"), icon(Row::Kind::Cache), size(total(u.cacheTotal, u.buildCache, [](const DiskUsage::Cache &c) { return c.bytes; })),
         counted(int(u.buildCache.size()), "record", "records") + QStringLiteral(" · %1 in use").arg(cacheInUse), reclaimable(u.cacheTotal, "not in use")},
    };
}

QList<Row> rows(const DiskUsage &u)
{
    QList<Row> list;
    // What names an image in the containers' column: its tag, its id, or a bare repository.
    QMultiHash<QString, QString> users, mounters;
    for (const auto &c : u.containers) {
        users.insert(c.image, c.name);
        for (const QString &v : c.mounts)
            mounters.insert(v, c.name);
    }
    for (const auto &i : u.images) {
        const bool dangling = i.isDangling();
        const QString tag = i.repository + u':' + i.tag;
        QStringList by = users.values(tag) + users.values(i.id) + users.values(shortId(i.id));
        if (i.tag == QLatin1String("latest"))
            by += users.values(i.repository);
        by.removeDuplicates();
        by.sort();
        // The report names an image by one of its tags; containers made under another name
        // count, though they are not listed by it.
        if (!by.isEmpty() && i.containers > by.size())
            by << QStringLiteral("%1 more").arg(i.containers - by.size());
        QString use = !by.isEmpty()       ? usedBy(by)
                    : i.containers > 0    ? QStringLiteral("Used by %1").arg(counted(i.containers, "container", "containers"))
                    : dangling            ? QStringLiteral("Dangling: no name, no container")
                                          : QStringLiteral("No container uses it");
        QString detail;
        if (i.sharedBytes > 0 && i.uniqueBytes >= 0)
            detail = QStringLiteral("%1 its own · %2 shared").arg(VolumeSize::format(i.uniqueBytes), VolumeSize::format(i.sharedBytes));
        list.append({Row::Kind::Image, i.id, dangling ? QStringLiteral("Untagged ") + shortId(i.id) : tag, i.bytes, use, detail});
    }
    for (const auto &c : u.containers) {
        QString use = c.state == QLatin1String("running") ? QStringLiteral("Running")
                    : c.state == QLatin1String("paused")  ? QStringLiteral("Paused")
                                                          : QStringLiteral("Stopped");
        if (const QString project = c.labels.value(QLatin1String(Labels::project)); !project.isEmpty())
            use += QStringLiteral(" · project ") + project;
        list.append({Row::Kind::Container, c.id, c.name, c.bytes, use, QStringLiteral("writable layer")});
    }
    for (const auto &v : u.volumes) {
        QStringList by = mounters.values(v.name);
        by.sort();
        const QString use = !by.isEmpty()  ? QStringLiteral("Mounted by ") + WorkText::listed(by)
                          : v.links > 0    ? QStringLiteral("Mounted by %1").arg(counted(v.links, "container", "containers"))
                                           : QStringLiteral("Nothing mounts it");
        list.append({Row::Kind::Volume, v.name, v.isAnonymous() ? QStringLiteral("Anonymous ") + v.name.left(12) : v.name, v.bytes, use,
                     v.isAnonymous() ? QStringLiteral("anonymous volume") : QString()});
    }
    for (const auto &c : u.buildCache) {
        // A build step's words may carry a build argument's secret.
        list.append({Row::Kind::Cache, c.id, c.description.isEmpty() ? c.kind : Secrets::text(c.description), c.bytes,
                     c.inUse ? QStringLiteral("Build cache in use") : QStringLiteral("Build cache not in use"), c.kind});
    }
    std::stable_sort(list.begin(), list.end(), [](const Row &a, const Row &b) { return a.bytes > b.bytes; });
    return list;
}

QString spoken(const Row &row)
{
    static const char *kinds[] = {"image", "container", "volume", "build cache"};
    QStringList parts{QLatin1String(kinds[int(row.kind)]), size(row.bytes)};
    if (!row.detail.isEmpty())
        parts << row.detail;
    parts << row.use;
    return parts.join(QStringLiteral(", "));
}

QString readAt(const QDateTime &at, const QLocale &locale)
{
    return QStringLiteral("Read at ") + locale.toString(at.time(), locale.timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss")));
}

QString freed(const std::optional<qint64> &bytes)
{
    if (!bytes)
        return QStringLiteral("The engine did not say how much was freed.");
    return *bytes > 0 ? QStringLiteral("Freed ") + VolumeSize::format(*bytes) + u'.' : QStringLiteral("Freed nothing the engine counts.");
}

}
