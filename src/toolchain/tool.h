#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// One tool of the runtime toolchain, with what this machine and Homebrew say about it.
struct Tool {
    QString formula;
    QString name;
    QString purpose;
    QString homepage;
    QString binary;
    QStringList versionArgs;
    bool isPlugin = false;
    std::optional<QString> installed;
    std::optional<QString> latest;
    bool brewManaged = false;

    QString id() const { return formula; }
    // Contains the version, so a dismissed notice returns when a newer one appears.
    QString updateKey() const { return formula + u' ' + latest.value_or(QString()); }

    friend bool operator==(const Tool &, const Tool &) = default;
};

// The state of the container system service.
struct SystemStatus {
    bool running = false;
    std::optional<QString> clientVersion;
    std::optional<QString> serverVersion;

    // After an upgrade the old service keeps running until it is restarted.
    bool restartNeeded() const { return running && clientVersion && serverVersion && *clientVersion != *serverVersion; }

    friend bool operator==(const SystemStatus &, const SystemStatus &) = default;
};
