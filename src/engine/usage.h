#pragma once

#include <QString>
#include <optional>

// One reading of a running container's use of the machine, as `docker stats` prints it.
// A value the engine could not read (a container just stopping shows "--") is absent.
struct Usage {
    // The container as the stream was asked for it.
    QString id;
    // Of one core: a busy container on four cores can read 400.
    std::optional<double> cpuPercent;
    std::optional<qint64> memoryBytes;
    std::optional<qint64> memoryLimit;
    friend bool operator==(const Usage &, const Usage &) = default;
};
