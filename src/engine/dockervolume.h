#pragma once

#include <QString>

struct DockerVolume {
    QString name;
    QString driver;
    QString mountpoint;

    friend bool operator==(const DockerVolume &, const DockerVolume &) = default;
};
