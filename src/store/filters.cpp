#include "filters.h"

#include "docker.h"

#include <algorithm>

namespace Filters {

namespace {
template<typename T, typename Pred>
QList<T> keep(const QList<T> &list, const QString &query, Pred matches)
{
    if (query.isEmpty())
        return list;
    QList<T> kept;
    std::copy_if(list.cbegin(), list.cend(), std::back_inserter(kept), matches);
    return kept;
}
}

QString query(const QString &filter)
{
    return Docker::trimBlanks(filter).toString().toLower();
}

QList<Container> containers(const QList<Container> &list, const QString &q)
{
    return keep(list, q, [&](const Container &c) {
        if (c.name.toLower().contains(q) || c.image.toLower().contains(q))
            return true;
        const auto project = c.project();
        return project && project->toLower().contains(q);
    });
}

QList<DockerImage> images(const QList<DockerImage> &list, const QString &q)
{
    return keep(list, q, [&](const DockerImage &i) { return (i.repository + u':' + i.tag).toLower().contains(q); });
}

QList<DockerVolume> volumes(const QList<DockerVolume> &list, const QString &q)
{
    return keep(list, q, [&](const DockerVolume &v) { return v.name.toLower().contains(q); });
}

QList<DockerNetwork> networks(const QList<DockerNetwork> &list, const QString &q)
{
    return keep(list, q, [&](const DockerNetwork &n) {
        const auto has = [&](const QString &text) { return text.toLower().contains(q); };
        return has(n.name) || has(n.driver) || has(n.project().value_or(QString()))
            || std::any_of(n.subnets.cbegin(), n.subnets.cend(), has)
            || std::any_of(n.members.cbegin(), n.members.cend(), [&](const NetworkMember &m) { return has(m.name); });
    });
}

QList<ComposeProject> projects(const QList<ComposeProject> &merged, const QString &q)
{
    return keep(merged, q, [&](const ComposeProject &p) { return !p.containers.isEmpty() || p.name.toLower().contains(q); });
}

} // namespace Filters
