#pragma once

#include "hostengine.h"
#include "servicemanager.h"

#include <QCoroTask>
#include <optional>

// Whether an engine comes back by itself after the machine restarts, and why: what systemd
// and logind say, never a guess.
struct EngineStartup {
    enum class Answer { Yes, No, Unknown };
    Answer answer = Answer::Unknown;
    QString reason;   // "docker.service is enabled."
    friend bool operator==(const EngineStartup &, const EngineStartup &) = default;
};

namespace HostEngines {

// units: one engine's, all of one scope, as read (those systemd has no file for may be among
// them); linger counts only for the user's.
EngineStartup startup(const QList<ServiceUnit> &units, const Linger &linger);
// The unit "Start the engine at boot" enables, when disabled files are all that stand in the
// way: the service where there is one, else the socket.
std::optional<ServiceUnit> toEnable(const QList<ServiceUnit> &units);
// "Starts at boot", "Does not start at boot", "Not known whether it starts at boot"
QString startupLine(const EngineStartup &startup);

// The units of the engine that listens on a Docker endpoint, unread; when none Korvat knows
// does, why. runtimeDir: the user's, where the user's engines listen.
struct Serving {
    QList<ServiceUnit> units;
    QString none;
    friend bool operator==(const Serving &, const Serving &) = default;
};
Serving serving(const QString &endpoint, const QString &runtimeDir);

} // namespace HostEngines

// The answer for the engine at a Docker endpoint ("unix:///var/run/docker.sock"; empty is
// Docker's default), read from systemd and, for the user's engines, logind. Ends within the
// calls' timeouts, also under QCoro::waitFor with no window; services must outlive it.
QCoro::Task<EngineStartup> readStartup(const ServiceManager &services, QString endpoint);
