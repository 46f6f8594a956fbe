#include "teardownplan.h"

#include "volumesize.h"

#include <QFileInfo>
#include <QSet>

#include <algorithm>

QString VolumeUse::keptBecause() const
{
    return usedBy.isEmpty() ? notOwned : QStringLiteral("used by ") + usedBy.join(QStringLiteral(", "));
}

QList<VolumeUse> TeardownPlan::removable() const
{
    QList<VolumeUse> list;
    std::copy_if(volumes.cbegin(), volumes.cend(), std::back_inserter(list), [](const VolumeUse &v) { return !v.isKept(); });
    return list;
}

QList<VolumeUse> TeardownPlan::kept() const
{
    QList<VolumeUse> list;
    std::copy_if(volumes.cbegin(), volumes.cend(), std::back_inserter(list), [](const VolumeUse &v) { return v.isKept(); });
    return list;
}

namespace Teardown {

QString notOwnedReason(const QString &volume, const QString &project, const VolumeOwnership &ownership)
{
    // Shared by intent: compose down -v itself never removes it.
    if (ownership.external.contains(volume))
        return QStringLiteral("external");
    const auto labels = ownership.labels.value(volume);
    const auto owner = labels.constFind(QString::fromLatin1(Labels::project));
    if (owner != labels.cend())
        return *owner == project ? QString() : QStringLiteral("belongs to ") + *owner;
    if (ownership.declared.contains(volume))
        return {};
    if (DockerVolume::isAnonymous(volume, labels))
        return {};
    return QStringLiteral("not this project’s");
}

TeardownPlan plan(const ComposeProject &project, const QList<Container> &allContainers, const MountMap &mounts,
                  const VolumeOwnership &ownership, const QMap<QString, QString> &sizes)
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
    for (const auto &v : ownership.declared + ownership.external) {
        if (!names.contains(v))
            names.append(v);
    }
    std::stable_sort(names.begin(), names.end(), Docker::codePointLess);

    for (const auto &volume : names) {
        VolumeUse use{volume, {}, std::nullopt, {}};
        for (const auto &c : allContainers) {
            if (!own.contains(c.name) && mounts.value(c.name).contains(volume))
                use.usedBy.append(c.name);
        }
        std::stable_sort(use.usedBy.begin(), use.usedBy.end(), Docker::codePointLess);
        if (use.usedBy.isEmpty())
            use.notOwned = notOwnedReason(volume, project.name, ownership);
        const auto size = sizes.constFind(volume);
        if (size != sizes.cend())
            use.size = *size;
        result.volumes.append(use);
    }
    if (project.workingDir && (QFileInfo::exists(*project.workingDir) || QFileInfo(*project.workingDir).isSymLink()))
        result.workingDir = project.workingDir;
    result.configFiles = project.configFiles;
    return result;
}


namespace {
// The project as compose resolves it for the target. Without all of its recorded files, the
// name it was started with is left out: the directory alone must then resolve to it, or
// the directory's file is another project's.
std::optional<ResolvedProject> resolveOwn(const Engine &engine, ComposeTarget target, const QString &project)
{
    if (target.existingFiles().isEmpty())
        target.name.clear();
    ResolvedProject resolved = engine.composeProject(target);
    if (resolved.name != project)
        return std::nullopt;
    return resolved;
}
}

VolumeOwnership ownConfiguration(const Engine &engine, const ComposeProject &project)
{
    if (!project.workingDir)
        return {};
    try {
        const auto resolved = resolveOwn(engine, ComposeTarget::of(project), project.name);
        if (!resolved)
            return {};
        VolumeOwnership own;
        own.external = resolved->externalVolumes;
        for (const auto &v : resolved->volumes) {
            if (!own.external.contains(v))
                own.declared.append(v);
        }
        return own;
    } catch (const DockerError &) {
        return {};
    }
}

bool composeDownIsOwn(const Engine &engine, const ComposeTarget &target, const QString &project)
{
    if (target.existingFiles().isEmpty() && !Docker::composeFile(target.dir))
        return false;
    try {
        return resolveOwn(engine, target, project).has_value();
    } catch (const DockerError &) {
        return true;
    }
}

QMap<QString, QString> volumeSizes(const Engine &engine, const QList<DockerVolume> &volumes, const QStringList &only, const OptRuntime &runtime)
{
    QMap<QString, QString> sizes;
    for (const auto &v : volumes) {
        if (!only.contains(v.name))
            continue;
        const auto bytes = engine.volumeSize(v, runtime);
        if (bytes && *bytes > 0)
            sizes.insert(v.name, VolumeSize::format(*bytes));
    }
    return sizes;
}

TeardownPlan assemble(const Engine &engine, const ComposeProject &project, const QList<Container> &allContainers,
                      const QList<DockerVolume> &volumes, const OptRuntime &runtime)
{
    QStringList all;
    for (const auto &c : allContainers)
        all.append(c.name);
    const auto mounts = engine.volumeMounts(all, runtime);
    VolumeOwnership ownership = ownConfiguration(engine, project);
    // Walking a volume's tree can be slow, so only the volumes in the plan are measured.
    QStringList touched;
    for (const auto &use : plan(project, allContainers, mounts, ownership, {}).volumes)
        touched.append(use.name);
    ownership.labels = engine.volumeLabels(touched, runtime);
    return plan(project, allContainers, mounts, ownership, volumeSizes(engine, volumes, touched, runtime));
}

} // namespace Teardown
