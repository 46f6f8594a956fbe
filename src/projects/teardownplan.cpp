#include "teardownplan.h"

#include "volumesize.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
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

VolumeLabels parseVolumeLabels(const QString &text)
{
    VolumeLabels all;
    for (const auto &object : ndjson(text)) {
        const QString name = object.value(QLatin1String("Name")).toString();
        if (name.isEmpty())
            continue;
        QMap<QString, QString> labels;
        const QJsonObject raw = object.value(QLatin1String("Labels")).toObject();
        for (auto it = raw.begin(); it != raw.end(); ++it)
            labels.insert(it.key(), it.value().toString());
        all.insert(name, labels);
    }
    return all;
}

VolumeLabels volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime)
{
    if (volumeNames.isEmpty())
        return {};
    // As with the mounts, a volume missing from the engine fails the command but the others
    // are still printed; an unlabelled volume then simply proves nothing.
    return parseVolumeLabels(capture(QStringList{"volume", "inspect", "--format", "{{json .}}"} + volumeNames, runtime).out);
}

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
    static const QRegularExpression anonymousName(QStringLiteral("^[0-9a-f]{64}$"));
    if (labels.contains(QStringLiteral("com.docker.volume.anonymous")) || anonymousName.match(volume).hasMatch())
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
    std::stable_sort(names.begin(), names.end(), codePointLess);

    for (const auto &volume : names) {
        VolumeUse use{volume, {}, std::nullopt, {}};
        for (const auto &c : allContainers) {
            if (!own.contains(c.name) && mounts.value(c.name).contains(volume))
                use.usedBy.append(c.name);
        }
        std::stable_sort(use.usedBy.begin(), use.usedBy.end(), codePointLess);
        if (use.usedBy.isEmpty())
            use.notOwned = notOwnedReason(volume, project.name, ownership);
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

VolumeOwnership ownConfiguration(const ComposeProject &project)
{
    if (!project.workingDir)
        return {};
    try {
        const auto resolved = Docker::composeProject(*project.workingDir);
        if (resolved.name != project.name)
            return {};
        VolumeOwnership own;
        own.external = resolved.externalVolumes;
        for (const auto &v : resolved.volumes) {
            if (!own.external.contains(v))
                own.declared.append(v);
        }
        return own;
    } catch (const DockerError &) {
        return {};
    }
}

bool composeDownIsOwn(const QString &dir, const QString &project)
{
    if (!Docker::composeFile(dir))
        return false;
    try {
        return Docker::composeProject(dir).name == project;
    } catch (const DockerError &) {
        return true;
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
    VolumeOwnership ownership = ownConfiguration(project);
    // Walking a volume's tree can be slow, so only the volumes in the plan are measured.
    QStringList touched;
    for (const auto &use : Docker::plan(project, allContainers, mounts, ownership, {}).volumes)
        touched.append(use.name);
    ownership.labels = Docker::volumeLabels(touched, runtime);
    return Docker::plan(project, allContainers, mounts, ownership, volumeSizes(volumes, touched));
}

} // namespace Teardown
