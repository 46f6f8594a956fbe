#pragma once

#include <QDateTime>
#include <QMap>
#include <QStringList>
#include <QString>
#include <optional>

// One container as the CLI lists it; every field is the CLI's own text.
struct Container {
    QString id;
    QString name;
    QString image;
    QString state;
    QString status;
    QString ports;
    QMap<QString, QString> labels;
    // When it was made, read from the listing's "CreatedAt"; invalid where not given.
    QDateTime created = {};
    // The listing's "Mounts": volume names, and bind paths, each cut to 15 characters with "…".
    QStringList mounts = {};

    std::optional<QString> project() const;
    std::optional<QString> workingDir() const;
    bool isRunning() const { return state == QLatin1String("running"); }
    // An exited container whose status does not show a zero exit code.
    bool hasFailed() const;
    // The runtime whose listing showed it, by name, where several engines are shown at
    // once; empty in one engine's own lists.
    QString engine = {};

    friend bool operator==(const Container &, const Container &) = default;
};

// One port of a container as the listing's "Ports" shows it: published on the host, or only
// exposed (no host address, host port 0).
struct PortBinding {
    QString hostIp;   // "0.0.0.0", "::", "127.0.0.1"
    int hostPort = 0;
    int port = 0;
    QString protocol;

    bool isPublished() const { return hostPort > 0; }
    friend bool operator==(const PortBinding &, const PortBinding &) = default;
};

namespace Labels {
inline constexpr auto project = "com.docker.compose.project";
// Set on the containers Korvat makes for its own work, such as moving a volume's data.
inline constexpr auto helper = "org.korvat.helper";
inline constexpr auto workingDir = "com.docker.compose.project.working_dir";
inline constexpr auto workingDirHyphen = "com.docker.compose.project.working-dir";
inline constexpr auto service = "com.docker.compose.service";
// Comma-separated absolute paths.
inline constexpr auto configFiles = "com.docker.compose.project.config_files";
}
