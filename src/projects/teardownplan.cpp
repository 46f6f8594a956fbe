#include "teardownplan.h"

#include "volumesize.h"

#include <QFileInfo>
#include <QSet>

#include <algorithm>

QList<VolumeUse> TeardownPlan::removable() const
{
    QList<VolumeUse> list;
    std::copy_if(volumes.cbegin(), volumes.cend(), std::back_inserter(list), [](const VolumeUse &v) { return v.usedBy.isEmpty(); });
    return list;
}

QList<VolumeUse> TeardownPlan::kept() const
{
    QList<VolumeUse> list;
    std::copy_if(volumes.cbegin(), volumes.cend(), std::back_inserter(list), [](const VolumeUse &v) { return !v.usedBy.isEmpty(); });
    return list;
}

namespace Docker {

MountMap parseMounts(const QString &text)
{
    MountMap mounts;
    for (const auto &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype bar = line.indexOf(u'|');
        QStringView name = QStringView(line).left(bar < 0 ? line.size() : bar);
        const auto trimmable = [](QChar c) { return c == u'/' || c == u' '; };
        while (!name.isEmpty() && trimmable(name.front()))
            name = name.mid(1);
        while (!name.isEmpty() && trimmable(name.back()))
            name.chop(1);
        if (name.isEmpty())
            continue;
        mounts.insert(name.toString(), bar < 0 ? QStringList() : line.mid(bar + 1).split(u',', Qt::SkipEmptyParts));
    }
    return mounts;
}

MountMap volumeMounts(const QStringList &containerNames, const OptRuntime &runtime)
{
    if (containerNames.isEmpty())
        return {};
    // The status is not examined: a container that vanished meanwhile fails the command,
    // yet the others are still printed.
    const auto result = capture(QStringList{"inspect"} + containerNames
                                    + QStringList{"--format", R"({{.Name}}|{{range .Mounts}}{{if eq .Type "volume"}}{{.Name}},{{end}}{{end}})"},
                                runtime);
    return parseMounts(result.out);
}

TeardownPlan plan(const ComposeProject &project, const QList<Container> &allContainers, const MountMap &mounts,
                  const QStringList &declaredVolumes, const QMap<QString, QString> &sizes)
{
    TeardownPlan result{project.name, {}, {}, std::nullopt};
    for (const auto &c : project.containers)
        result.containers.append(c.name);
    const QSet<QString> own(result.containers.cbegin(), result.containers.cend());

    QStringList names;
    for (const auto &c : result.containers) {
        for (const auto &v : mounts.value(c)) {
            if (!names.contains(v))
                names.append(v);
        }
    }
    for (const auto &v : declaredVolumes) {
        if (!names.contains(v))
            names.append(v);
    }
    std::stable_sort(names.begin(), names.end(), codePointLess);

    for (const auto &volume : names) {
        VolumeUse use{volume, {}, std::nullopt};
        for (const auto &c : allContainers) {
            if (!own.contains(c.name) && mounts.value(c.name).contains(volume))
                use.usedBy.append(c.name);
        }
        std::stable_sort(use.usedBy.begin(), use.usedBy.end(), codePointLess);
        const auto size = sizes.constFind(volume);
        if (size != sizes.cend())
            use.size = *size;
        result.volumes.append(use);
    }
    if (project.workingDir && (QFileInfo::exists(*project.workingDir) || QFileInfo(*project.workingDir).isSymLink()))
        result.workingDir = project.workingDir;
    return result;
}

} // namespace Docker

namespace Teardown {

QStringList declaredVolumes(const ComposeProject &project)
{
    if (!project.workingDir)
        return {};
    try {
        return Docker::composeProject(*project.workingDir).volumes;
    } catch (const DockerError &) {
        return {};
    }
}

QMap<QString, QString> volumeSizes(const QList<DockerVolume> &volumes, const QStringList &only)
{
    QMap<QString, QString> sizes;
    for (const auto &v : volumes) {
        if (v.mountpoint.isEmpty() || !only.contains(v.name))
            continue;
        const auto bytes = VolumeSize::allocatedBytes(v.mountpoint);
        if (bytes && *bytes > 0)
            sizes.insert(v.name, VolumeSize::format(*bytes));
    }
    return sizes;
}

TeardownPlan assemble(const ComposeProject &project, const QList<Container> &allContainers,
                      const QList<DockerVolume> &volumes, const Docker::OptRuntime &runtime)
{
    QStringList all;
    for (const auto &c : allContainers)
        all.append(c.name);
    const auto mounts = Docker::volumeMounts(all, runtime);
    const auto declared = declaredVolumes(project);
    // Walking a volume's tree can be slow, so only the volumes in the plan are measured.
    QStringList touched;
    for (const auto &use : Docker::plan(project, allContainers, mounts, declared, {}).volumes)
        touched.append(use.name);
    return Docker::plan(project, allContainers, mounts, declared, volumeSizes(volumes, touched));
}

} // namespace Teardown
