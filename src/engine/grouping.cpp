#include "docker.h"

#include <algorithm>

namespace Docker {

namespace {
void sortByName(QList<Container> &list)
{
    std::stable_sort(list.begin(), list.end(),
                     [](const Container &a, const Container &b) { return codePointLess(a.name, b.name); });
}
}

QList<ComposeProject> group(const QList<Container> &containers)
{
    QList<ComposeProject> projects;
    QHash<QString, qsizetype> index;
    for (const auto &c : containers) {
        const auto name = c.project();
        if (!name)
            continue;
        auto it = index.constFind(*name);
        if (it == index.cend()) {
            it = index.insert(*name, projects.size());
            projects.append({*name, std::nullopt, {}, 0});
        }
        auto &project = projects[*it];
        project.containers.append(c);
        // Containers of one project that disagree about the directory: the first one wins.
        if (!project.workingDir)
            project.workingDir = c.workingDir();
        if (project.configFiles.isEmpty())
            project.configFiles = c.labels.value(QString::fromLatin1(Labels::configFiles)).split(u',', Qt::SkipEmptyParts);
    }
    for (auto &p : projects)
        sortByName(p.containers);
    std::stable_sort(projects.begin(), projects.end(),
                     [](const ComposeProject &a, const ComposeProject &b) { return codePointLess(a.name, b.name); });
    return projects;
}

QList<Container> ungrouped(const QList<Container> &containers)
{
    QList<Container> loose;
    std::copy_if(containers.cbegin(), containers.cend(), std::back_inserter(loose),
                 [](const Container &c) { return !c.project(); });
    sortByName(loose);
    return loose;
}

QSet<QString> mountedVolumes(const QList<Container> &containers, const QList<DockerVolume> &volumes)
{
    // The client cuts each name to 14 characters and an ellipsis past 15.
    constexpr qsizetype kept = 14;
    QHash<QString, QStringList> byCut;
    for (const DockerVolume &v : volumes) {
        if (v.name.size() > kept + 1)
            byCut[v.name.left(kept) + QChar(0x2026)].append(v.name);
    }
    QSet<QString> names;
    for (const DockerVolume &v : volumes)
        names.insert(v.name);
    QSet<QString> mounted;
    for (const Container &c : containers) {
        for (const QString &m : c.mounts) {
            if (names.contains(m))
                mounted.insert(m);
            else if (const QStringList candidates = byCut.value(m); candidates.size() == 1)
                mounted.insert(candidates.first());
        }
    }
    return mounted;
}

} // namespace Docker
