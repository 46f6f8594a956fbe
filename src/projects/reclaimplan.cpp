#include "reclaimplan.h"

#include "container.h"
#include "secrets.h"

#include <QSet>

qint64 ReclaimPlan::Category::bytes() const
{
    qint64 sum = 0;
    for (const Item &i : items)
        sum += std::max<qint64>(i.bytes, 0);
    return sum;
}

QList<ReclaimPlan::Category> ReclaimPlan::chosen(const QList<Kind> &kinds) const
{
    QList<Category> list;
    for (const Category &c : categories) {
        if (kinds.contains(c.kind))
            list.append(c);
    }
    return list;
}

QString ReclaimPlan::title(Kind kind)
{
    switch (kind) {
    case Kind::DanglingImages: return QStringLiteral("Dangling images");
    case Kind::BuildCache: return QStringLiteral("Build cache");
    case Kind::UnusedImages: return QStringLiteral("Images no container uses");
    case Kind::StoppedContainers: return QStringLiteral("Stopped containers outside compose projects");
    case Kind::AnonymousVolumes: return QStringLiteral("Anonymous volumes nothing mounts");
    }
    return {};
}

QString ReclaimPlan::warning(Kind kind)
{
    switch (kind) {
    case Kind::UnusedImages: return QStringLiteral("Pulling or building them again brings them back.");
    case Kind::StoppedContainers: return QStringLiteral("Each goes with the files it wrote inside itself.");
    case Kind::AnonymousVolumes: return QStringLiteral("Their files are deleted and cannot be brought back.");
    case Kind::DanglingImages:
    case Kind::BuildCache: return {};
    }
    return {};
}

QString ReclaimPlan::key(Kind kind)
{
    switch (kind) {
    case Kind::DanglingImages: return QStringLiteral("danglingImages");
    case Kind::BuildCache: return QStringLiteral("buildCache");
    case Kind::UnusedImages: return QStringLiteral("unusedImages");
    case Kind::StoppedContainers: return QStringLiteral("stoppedContainers");
    case Kind::AnonymousVolumes: return QStringLiteral("anonymousVolumes");
    }
    return {};
}

QStringList ReclaimPlan::never()
{
    return {QStringLiteral("Named volumes: they go only with their project's deletion or their own Remove."),
            QStringLiteral("Images any container uses, running or stopped."),
            QStringLiteral("Containers of compose projects."),
            QStringLiteral("Anything another runtime holds.")};
}

namespace Reclaim {

namespace {
QString shortId(const QString &id)
{
    return id.mid(id.indexOf(u':') + 1).left(12);
}
}

ReclaimPlan plan(const DiskUsage &usage, const QList<DockerImage> &listed)
{
    using Kind = ReclaimPlan::Kind;
    ReclaimPlan::Category dangling{Kind::DanglingImages, true, {}}, cache{Kind::BuildCache, true, {}}, unused{Kind::UnusedImages, false, {}},
        stopped{Kind::StoppedContainers, false, {}}, anonymous{Kind::AnonymousVolumes, false, {}};

    // An image pulled by digest is listed with its repository and no tag: named all the same.
    QSet<QString> listedIds, namedIds;
    QMultiMap<QString, QString> tags, untagged;
    for (const DockerImage &i : listed) {
        listedIds << shortId(i.id);
        if (i.repository.isEmpty() || i.repository == QLatin1String("<none>"))
            continue;
        namedIds << shortId(i.id);
        if (i.tag != QLatin1String("<none>") && !i.tag.isEmpty())
            tags.insert(shortId(i.id), i.repository + u':' + i.tag);
        else
            untagged.insert(shortId(i.id), i.repository + QStringLiteral(" (by digest)"));
    }

    // An image counts as used when the report says so or when a listed container names it:
    // the count and the list are two readings, and either one is enough to keep it.
    QSet<QString> named, mounted;
    for (const DiskUsage::Container &c : usage.containers) {
        named << c.image;
        for (const QString &v : c.mounts)
            mounted << v;
    }
    for (const DiskUsage::Image &i : usage.images) {
        const QString id = shortId(i.id);
        if (!listedIds.contains(id))
            continue;
        QStringList names = tags.values(id);
        names.sort();
        names.removeDuplicates();
        const bool used = i.containers > 0 || named.contains(i.id) || named.contains(id)
                       || std::any_of(names.cbegin(), names.cend(), [&](const QString &n) {
                              return named.contains(n) || (n.endsWith(QLatin1String(":latest")) && named.contains(n.chopped(7)));
                          });
        if (used)
            continue;
        QStringList shown = names + untagged.values(id);
        shown.removeDuplicates();
        ReclaimPlan::Item item{i.id, shown.isEmpty() ? id : shown.join(QStringLiteral(", ")), i.uniqueBytes >= 0 ? i.uniqueBytes : i.bytes, names};
        (namedIds.contains(id) ? unused : dangling).items.append(item);
    }
    for (const DiskUsage::Cache &c : usage.buildCache) {
        if (!c.inUse)
            // A build step's words may carry a build argument's secret.
            cache.items.append({c.id, c.description.isEmpty() ? c.kind : Secrets::text(c.description), c.bytes});
    }
    for (const DiskUsage::Container &c : usage.containers) {
        const bool stoppedState = c.state == QLatin1String("exited") || c.state == QLatin1String("created") || c.state == QLatin1String("dead");
        // Korvat's own helpers are its business, gone by the time their work ends.
        if (stoppedState && !c.labels.contains(QLatin1String(Labels::project)) && !c.labels.contains(QLatin1String(Labels::helper)))
            stopped.items.append({c.id, c.name, c.bytes});
    }
    for (const DiskUsage::Volume &v : usage.volumes) {
        if (v.isAnonymous() && v.links == 0 && !mounted.contains(v.name))
            anonymous.items.append({v.name, v.name.left(12), v.bytes});
    }
    ReclaimPlan plan;
    plan.before = usage.bytes();
    for (ReclaimPlan::Category *c : {&dangling, &cache, &unused, &stopped, &anonymous}) {
        // A report that names one object twice lists it once.
        QSet<QString> seen;
        c->items.removeIf([&](const ReclaimPlan::Item &i) {
            if (seen.contains(i.id))
                return true;
            seen.insert(i.id);
            return false;
        });
        std::stable_sort(c->items.begin(), c->items.end(), [](const ReclaimPlan::Item &a, const ReclaimPlan::Item &b) { return a.bytes > b.bytes; });
        plan.categories.append(*c);
    }
    return plan;
}

}
