#pragma once

#include "composeproject.h"
#include "docker.h"
#include "dockervolume.h"

#include <QMap>
#include <QStringList>
#include <optional>

// A volume the project touches, the containers outside it that also mount it, and, when
// none does, why it is still not the project's to remove (empty when it is).
struct VolumeUse {
    QString name;
    QStringList usedBy;
    std::optional<QString> size;
    QString notOwned;

    bool isKept() const { return !usedBy.isEmpty() || !notOwned.isEmpty(); }
    // "used by a, b", or the reason it is not the project's.
    QString keptBecause() const;

    friend bool operator==(const VolumeUse &, const VolumeUse &) = default;
};

// What deleting a project would remove and keep; a snapshot taken when it is made.
struct TeardownPlan {
    QString project;
    QStringList containers;
    QList<VolumeUse> volumes;
    std::optional<QString> workingDir;   // only when it exists on disk
    // The files the project was started with, as compose recorded them.
    QStringList configFiles = {};
    // The engine it was made on, and the only one its steps may act on.
    std::optional<Runtime> runtime = {};

    QList<VolumeUse> removable() const;
    QList<VolumeUse> kept() const;
    // What compose down is told, so that it takes down this project as it was started.
    ComposeTarget target() const { return {workingDir.value_or(QString()), project, configFiles}; }

    friend bool operator==(const TeardownPlan &, const TeardownPlan &) = default;
};

// What tells a volume is the project's own: compose's project label on it, or else the
// project's own configuration declaring it without marking it external, or else being an
// anonymous volume. Declarations count only from a directory that resolves to the project.
struct VolumeOwnership {
    QStringList declared;
    QStringList external;
    VolumeLabels labels;
};

namespace Teardown {
// Empty when the volume is the project's; otherwise a short reason, such as "external".
QString notOwnedReason(const QString &volume, const QString &project, const VolumeOwnership &ownership);
TeardownPlan plan(const ComposeProject &project, const QList<Container> &allContainers, const MountMap &mounts,
                  const VolumeOwnership &ownership, const QMap<QString, QString> &sizes);
// The volumes the project's compose configuration declares, plain and external; none on
// any error. Read from the files the project was started with while they are all there;
// else from its directory, and then none when that resolves to another project (one that
// now holds another project, or a project started under another name).
VolumeOwnership ownConfiguration(const Engine &engine, const ComposeProject &project);
// Whether "compose down" told target takes down this project and no other: always, told
// the project's own name and files; else only when the directory resolves to the project.
// A file that does not resolve at all is let through: compose down fails on it just the
// same, with compose's own message, and touches nothing.
bool composeDownIsOwn(const Engine &engine, const ComposeTarget &target, const QString &project);
// Sizes of the named volumes whose mountpoint reports a size above zero; none of another
// machine's runtime.
QMap<QString, QString> volumeSizes(const Engine &engine, const QList<DockerVolume> &volumes, const QStringList &only, const OptRuntime &runtime);
// Everything the plan needs from the engine and the disk. Blocking.
TeardownPlan assemble(const Engine &engine, const ComposeProject &project, const QList<Container> &allContainers,
                      const QList<DockerVolume> &volumes, const OptRuntime &runtime);
}
