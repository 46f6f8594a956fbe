#pragma once

#include <QString>
#include <QStringList>

// A compose project the user worked with on one runtime, remembered across launches.
struct KnownProject {
    QString name;
    QString workingDir;
    QStringList services;   // sorted

    friend bool operator==(const KnownProject &, const KnownProject &) = default;
};
