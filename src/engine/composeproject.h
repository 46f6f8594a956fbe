#pragma once

#include "container.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// Containers that share a compose project label, or a project known only from the registry.
struct ComposeProject {
    QString name;
    std::optional<QString> workingDir;
    QList<Container> containers;
    int serviceCount = 0;
    // The configuration files it was started with, absolute, as compose recorded them; empty
    // where no container or registry entry told.
    QStringList configFiles = {};

    int runningCount() const;
    // The runtime whose listing showed it, by name, where several engines are shown at
    // once; empty in one engine's own lists.
    QString engine = {};

    friend bool operator==(const ComposeProject &, const ComposeProject &) = default;
};
