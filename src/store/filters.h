#pragma once

#include "composeproject.h"
#include "container.h"
#include "dockerimage.h"
#include "dockervolume.h"
#include "dockernetwork.h"

#include <QList>

// The search field's rules: a plain, case-insensitive substring test on chosen fields.
namespace Filters {
// Spaces and tabs trimmed (not line breaks), then lower-cased.
QString query(const QString &filter);
QList<Container> containers(const QList<Container> &list, const QString &query);
QList<DockerImage> images(const QList<DockerImage> &list, const QString &query);
QList<DockerVolume> volumes(const QList<DockerVolume> &list, const QString &query);
// By name, driver, subnet, project, or the name of a container attached.
QList<DockerNetwork> networks(const QList<DockerNetwork> &list, const QString &query);
// Projects that still hold a matching container, or whose name matches.
QList<ComposeProject> projects(const QList<ComposeProject> &merged, const QString &query);
}
