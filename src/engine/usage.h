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

// How the client is asked: a stream that redraws about once a second until it is ended, or
// one reading of each container, after which it ends by itself. The engine reads a container
// twice for one reading (the CPU share is a difference), so a reading alone costs about two
// seconds of streaming, and a client started for every reading costs its start-up.
enum class UsageRead { Streaming, Once };
