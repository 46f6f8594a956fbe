#include "mergedview.h"

#include "docker.h"
#include "enginestore.h"
#include "filters.h"

namespace {
template<typename T>
QList<T> tagged(QList<T> rows, const QString &engine)
{
    for (T &row : rows)
        row.engine = engine;
    return rows;
}
}

MergedView::Part MergedView::partOf(const EngineStore &store, const ProjectRegistry &registry)
{
    const QString name = store.name();
    return {name,
            tagged(store.containers(), name),
            tagged(store.images(), name),
            tagged(store.volumes(), name),
            tagged(store.networks(), name),
            registry.projects(store.runtime() ? std::optional(name) : std::nullopt)};
}

// One list of every part's rows of one kind, each part's filtered as Filters reads the text.
template<typename T>
QList<T> MergedView::gathered(QList<T> Part::*rows, QList<T> (*filter)(const QList<T> &, const QString &), const QString &query) const
{
    QList<T> out;
    for (const Part &part : m_parts)
        out += filter(part.*rows, query);
    return out;
}

QList<Container> MergedView::containers(const QString &query) const { return gathered(&Part::containers, Filters::containers, query); }
QList<DockerImage> MergedView::images(const QString &query) const { return gathered(&Part::images, Filters::images, query); }
QList<DockerVolume> MergedView::volumes(const QString &query) const { return gathered(&Part::volumes, Filters::volumes, query); }
QList<DockerNetwork> MergedView::networks(const QString &query) const { return gathered(&Part::networks, Filters::networks, query); }

QList<ComposeProject> MergedView::projects(const DirectoryMap &directories, const QString &query) const
{
    QList<ComposeProject> out;
    for (const Part &part : m_parts) {
        const auto discovered = Docker::group(Filters::containers(part.containers, query));
        out += tagged(Filters::projects(ProjectRegistry::merge(discovered, part.known, directories), query), part.engine);
    }
    return out;
}

int MergedView::running() const
{
    int n = 0;
    for (const Part &part : m_parts)
        n += int(std::count_if(part.containers.cbegin(), part.containers.cend(), [](const Container &c) { return c.isRunning(); }));
    return n;
}

QSet<QString> MergedView::mountedVolumes() const
{
    QSet<QString> out;
    for (const Part &part : m_parts) {
        for (const QString &name : Docker::mountedVolumes(part.containers, part.volumes))
            out.insert(rowKey(part.engine, name));
    }
    return out;
}
