#pragma once

#include <QDateTime>
#include <QString>

struct DockerImage {
    QString id;
    QString repository;
    QString tag;
    QString size;   // the CLI's human text
    QDateTime created = {};

    friend bool operator==(const DockerImage &, const DockerImage &) = default;
};
