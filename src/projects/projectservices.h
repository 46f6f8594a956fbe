#pragma once

#include "container.h"
#include "dockerimage.h"
#include "engine.h"

#include <QMap>
#include <QStringList>

// A service of a project that its containers alone do not show: defined but never created
// (or its container removed), or in a profile compose does not turn on.
struct ProjectService {
    enum class State { NotCreated, Inactive };
    QString name;
    // Its image, or what it builds from when it has none.
    QString image;
    State state = State::NotCreated;
    // The profiles that turn it on; empty for one that is always on.
    QStringList profiles;
    friend bool operator==(const ProjectService &, const ProjectService &) = default;
};

// What a pull of a project's images found, service by service.
struct PullSummary {
    QStringList newer;
    QStringList upToDate;
    // Services that build their image, or name it by digest: nothing to pull.
    QStringList skipped;
    // Service to compose's words.
    QMap<QString, QString> failed;
    friend bool operator==(const PullSummary &, const PullSummary &) = default;
};

namespace ProjectServices {
// The defined services without a container, in name order: those always on or in an active
// profile first as not created, then the inactive ones. A service in an inactive profile
// whose container exists (started with its profile named) shows through that container.
QList<ProjectService> missing(const ResolvedProject &defined, const QList<Container> &containers);

// "redis" and "docker.io/library/redis:latest" are the listing's "redis:latest".
QString listed(const QString &reference);
// Each service's image as the engine lists it before and after the pull, and compose's
// failures: a service whose image now has another id got a newer one.
PullSummary compare(const QList<ServiceDefinition> &pulled, const QList<DockerImage> &before, const QList<DockerImage> &after,
                    const QMap<QString, QString> &failed);
}
