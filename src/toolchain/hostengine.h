#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

// A systemd unit an engine runs as, and what systemd last said of it.
struct ServiceUnit {
    enum class Scope { System, User };
    Scope scope = Scope::System;
    QString name;          // "docker.service"
    QString loadState;     // systemd's own words: "loaded", "not-found"; empty until read
    QString activeState;   // "active", "inactive", "failed", "activating"…
    QString subState;      // "running", "dead", "listening"…
    QString fileState;     // whether its file is enabled: "enabled", "disabled", "static", "masked"…
    QString error;         // what systemd answered when reading or acting failed

    bool isLoaded() const { return loadState == QLatin1String("loaded"); }
    friend bool operator==(const ServiceUnit &, const ServiceUnit &) = default;
};

// Whether the user's own units run while no session of theirs does, as logind says.
struct Linger {
    std::optional<bool> on;   // none until read, or when logind could not tell
    QString error;            // why it could not be read, or why a change was refused
    friend bool operator==(const Linger &, const Linger &) = default;
};

// A container engine installed on this machine, as its package and its services tell.
struct HostEngine {
    QString name;                      // "Docker", "Podman"
    QString package;                   // the package that owns it; empty when none does
    QString installed;                 // the package's version, or the binary's own
    std::optional<QString> offered;    // the newest version the package manager offers
    QList<ServiceUnit> units;
    QString servicesNote = {};         // why no unit is shown
    Linger linger = {};                // read only when a unit of the user's runs it

    friend bool operator==(const HostEngine &, const HostEngine &) = default;
};

// The Linux engines Korvat knows, read from the package database, the binaries and
// systemd. Pure but for probe(), which blocks while its children run.
namespace HostEngines {

struct Kind {
    QString name;
    QStringList packages;   // the vendor's first: it is what a user installed on purpose
    QString binary;         // the daemon, asked for its version when no package owns it
    QList<ServiceUnit> units;
    QString socket;         // under /run for the system's engine, the runtime directory for the user's
};
const QList<Kind> &catalogue();

// `dpkg-query -W -f '${Package}\t${Version}\t${db:Status-Status}\n' …`: installed packages
// and their versions.
QMap<QString, QString> parsePackages(const QString &dpkgQuery);
// `apt-cache policy …` in the C locale: each package's candidate, where there is one.
QMap<QString, QString> parseCandidates(const QString &aptPolicy);
// The engines found: by package, else by a binary's version (binary name to version).
QList<HostEngine> assemble(const QMap<QString, QString> &installed, const QMap<QString, QString> &candidates,
                           const QMap<QString, QString> &binaries);

// The package database and the binaries; each child ends within a few seconds.
QList<HostEngine> probe();

// On Linux with neither Homebrew nor the Apple socket, the engines take the toolchain's place.
bool replaceToolchain(bool brewAvailable, bool appleSocketPresent);

// The engine with the units systemd has loaded; when there are none, a note says why.
HostEngine withUnits(HostEngine engine, const QList<ServiceUnit> &read);

enum class Verb { None, Start, Restart };
Verb verb(const ServiceUnit &unit);
// "20.10.24 · docker.io · up to date", "28.2.2 · not from a package"
QString versionLine(const HostEngine &engine);
// "docker.service · active (running)", "podman.socket, yours · inactive (dead)"
QString unitLine(const ServiceUnit &unit);

} // namespace HostEngines
