#pragma once

#include "container.h"

#include <QList>
#include <QString>
#include <optional>

// Containers that share a compose project label, or a project known only from the registry.
struct ComposeProject {
    QString name;
    std::optional<QString> workingDir;
    QList<Container> containers;
    int serviceCount = 0;

    int runningCount() const;

    friend bool operator==(const ComposeProject &, const ComposeProject &) = default;
};
