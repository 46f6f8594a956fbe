#pragma once

#include <QString>

struct DockerImage {
    QString id;
    QString repository;
    QString tag;
    QString size;   // the CLI's human text, never parsed

    friend bool operator==(const DockerImage &, const DockerImage &) = default;
};
