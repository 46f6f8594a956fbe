#pragma once

#include <QString>
#include <QStringList>

// A compose project the user worked with on one runtime, remembered across launches.
struct KnownProject {
    QString name;
    QString workingDir;
    QStringList services;   // sorted
    // The configuration files it was last started with, so that it is still addressed as
    // itself once no container is left to tell.
    QStringList configFiles = {};

    friend bool operator==(const KnownProject &, const KnownProject &) = default;
};
