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

QList<Container> MergedView::containers(const QString &query) const
{
    QList<Container> out;
    for (const Part &part : m_parts)
        out += Filters::containers(part.containers, query);
    return out;
}

QList<DockerImage> MergedView::images(const QString &query) const
{
    QList<DockerImage> out;
    for (const Part &part : m_parts)
        out += Filters::images(part.images, query);
    return out;
}

QList<DockerVolume> MergedView::volumes(const QString &query) const
{
    QList<DockerVolume> out;
    for (const Part &part : m_parts)
        out += Filters::volumes(part.volumes, query);
    return out;
}

QList<DockerNetwork> MergedView::networks(const QString &query) const
{
    QList<DockerNetwork> out;
    for (const Part &part : m_parts)
        out += Filters::networks(part.networks, query);
    return out;
}

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
