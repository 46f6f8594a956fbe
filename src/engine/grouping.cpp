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

} // namespace Docker
