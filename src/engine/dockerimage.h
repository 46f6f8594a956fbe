#pragma once

#include <QDateTime>
#include <QString>

struct DockerImage {
    QString id;
    QString repository;
    QString tag;
    QString size;   // the CLI's human text
    QDateTime created = {};
    // The runtime whose listing showed it, by name, where several engines are shown at
    // once; empty in one engine's own lists.
    QString engine = {};

    friend bool operator==(const DockerImage &, const DockerImage &) = default;
};
