#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// One image as `docker image inspect` and `docker history` describe it: what it is made of.
struct ImageDetails {
    struct Layer {
        // The instruction that made it, as a Dockerfile says it: "RUN apt-get install …".
        QString instruction;
        qint64 bytes = 0;
        QString size;   // the client's own words: "1.98MB", "0B"
        friend bool operator==(const Layer &, const Layer &) = default;
    };

    QString id;   // "sha256:…"
    QStringList tags;
    QDateTime created;
    qint64 bytes = 0;
    QString architecture;   // "amd64", "arm64/v8"
    QString os;
    QStringList entrypoint;
    QStringList command;
    QStringList exposedPorts;
    // Newest first, as the history prints them.
    QList<Layer> layers;
    // The whole description as the engine gave it, indented.
    QString document;
    friend bool operator==(const ImageDetails &, const ImageDetails &) = default;
};

namespace Docker {
// The first image of `docker image inspect`'s array with the lines of `docker history
// --no-trunc --format json`; none when the inspection names no image.
std::optional<ImageDetails> parseImageDetails(const QByteArray &inspect, const QByteArray &history);
// "RUN apt-get update", "CMD [\"nginx\"]": the shell the classic builder wrapped every step
// in, and BuildKit's marker, taken off.
QString instruction(const QString &createdBy);
}
