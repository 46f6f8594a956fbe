#pragma once

#include "composeproject.h"
#include "docker.h"
#include "dockervolume.h"

#include <QMap>
#include <QStringList>
#include <optional>

// A volume the project touches, and the containers outside it that also mount it.
struct VolumeUse {
    QString name;
    QStringList usedBy;
    std::optional<QString> size;

    friend bool operator==(const VolumeUse &, const VolumeUse &) = default;
};

// What deleting a project would remove and keep; a snapshot taken when it is made.
struct TeardownPlan {
    QString project;
    QStringList containers;
    QList<VolumeUse> volumes;
    std::optional<QString> workingDir;   // only when it exists on disk

    QList<VolumeUse> removable() const;
    QList<VolumeUse> kept() const;

    friend bool operator==(const TeardownPlan &, const TeardownPlan &) = default;
};

// Container name to the named volumes it mounts.
using MountMap = QMap<QString, QStringList>;

namespace Docker {
MountMap parseMounts(const QString &text);
MountMap volumeMounts(const QStringList &containerNames, const OptRuntime &runtime);
TeardownPlan plan(const ComposeProject &project, const QList<Container> &allContainers, const MountMap &mounts,
                  const QStringList &declaredVolumes, const QMap<QString, QString> &sizes);
}

namespace Teardown {
// The declared volumes from the project's compose configuration; none on any error.
QStringList declaredVolumes(const ComposeProject &project);
// Sizes of the named volumes whose mountpoint reports a size above zero.
QMap<QString, QString> volumeSizes(const QList<DockerVolume> &volumes, const QStringList &only);
// Everything the plan needs from the engine and the disk. Blocking.
TeardownPlan assemble(const ComposeProject &project, const QList<Container> &allContainers,
                      const QList<DockerVolume> &volumes, const Docker::OptRuntime &runtime);
}
