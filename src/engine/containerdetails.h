#pragma once

#include "container.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

// One container as `docker inspect` describes it: what a person asks next about a row (why
// did it stop, what does its health check say, what does it run with, where is it attached).
struct ContainerDetails {
    struct Probe {
        QDateTime start;
        int exitCode = 0;
        QString output;
        friend bool operator==(const Probe &, const Probe &) = default;
    };
    struct Health {
        QString status;   // "healthy", "unhealthy", "starting"
        int failingStreak = 0;
        // Newest first, as many as the engine keeps (five).
        QList<Probe> probes;
        QStringList test;   // the check's command, its form ("CMD-SHELL") first
        qint64 intervalSeconds = 0;
        friend bool operator==(const Health &, const Health &) = default;
    };
    struct Mount {
        QString type;   // "volume", "bind", "tmpfs"
        QString source;
        QString destination;
        bool readOnly = false;
        QString volume;   // the volume's name, for a volume
        friend bool operator==(const Mount &, const Mount &) = default;
    };
    struct Network {
        QString name;
        QString address;
        QString gateway;
        QStringList aliases;
        friend bool operator==(const Network &, const Network &) = default;
    };

    QString id;
    QString name;
    QString image;     // as it was asked for: "nginx:1.27"
    QString imageId;   // "sha256:…"
    QString state;     // "running", "exited", "paused", "created", "restarting", "dead"
    int exitCode = 0;
    bool outOfMemory = false;
    QString error;     // the engine's own words, where it could not run it
    QDateTime created;
    QDateTime startedAt;    // invalid where never started
    QDateTime finishedAt;   // invalid where never finished
    QString restartPolicy;  // "no", "always", "unless-stopped", "on-failure"
    int restartCount = 0;
    std::optional<Health> health;
    QStringList entrypoint;
    QStringList command;
    QString workingDir;
    QString user;
    // In the order the engine keeps them: "NAME", "value".
    QList<std::pair<QString, QString>> environment;
    QList<Mount> mounts;
    // Each port it exposes, with where it is published (hostPort 0: not published).
    QList<PortBinding> ports;
    QList<Network> networks;
    QMap<QString, QString> labels;
    // The whole description as the engine gave it, indented.
    QString document;

    friend bool operator==(const ContainerDetails &, const ContainerDetails &) = default;
};

namespace Docker {
// The first container of `docker inspect`'s array; none for anything else.
std::optional<ContainerDetails> parseContainerDetails(const QByteArray &json);
// What an exit code says: "exited normally", "killed (SIGKILL)", "crashed (segmentation
// fault)", "command not found"; "Killed: out of memory" whatever the code when the engine
// says so.
QString exitMeaning(int exitCode, bool outOfMemory);
}
