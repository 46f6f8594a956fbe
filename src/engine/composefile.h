#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

// One service as the project's files define it.
struct ServiceDefinition {
    QString name;
    // Empty for a service that only builds its image.
    QString image;
    bool builds = false;
    // Empty when the service is always on.
    QStringList profiles;

    bool activeWith(const QStringList &activeProfiles) const;
    friend bool operator==(const ServiceDefinition &, const ServiceDefinition &) = default;
};

// A variable the project's files use, and where compose takes its value from.
struct ComposeVariable {
    // In the order compose looks: the environment wins over the .env file, which wins over
    // the default written in the file.
    enum class Source { Environment, DotEnv, Default, Missing };
    QString name;
    QString value;
    Source source = Source::Missing;
    // Written "${NAME:?…}": compose refuses the file without it.
    bool required = false;
    friend bool operator==(const ComposeVariable &, const ComposeVariable &) = default;
};

namespace Docker {
// The KEY=VALUE lines of a .env file, as compose reads them: comments, blank lines and
// "export " skipped, one pair of quotes around a value taken off.
QMap<QString, QString> parseDotEnv(const QString &text);
// The .env beside the compose file, read from disk: compose takes its variables and its own
// settings from it. Empty when there is none.
QMap<QString, QString> dotEnvIn(const QString &dir);
// COMPOSE_PROFILES from the environment when set there, else from the .env file.
QStringList activeProfiles(const std::optional<QString> &environment, const QMap<QString, QString> &dotEnv);
// Every variable the files' text uses, once each in the order first used, with its source.
// "$$" is a literal dollar, not a variable.
QList<ComposeVariable> composeVariables(const QString &fileText, const QMap<QString, QString> &environment,
                                        const QMap<QString, QString> &dotEnv);
// The files compose merges in a directory: the compose file and its override, if any.
QStringList composeFiles(const QString &dir);
}
