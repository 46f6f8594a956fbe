#pragma once

#include "hostengine.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <optional>

// Where unit states come from and where Start and Restart go: systemd in the program, a
// stand-in in pictures. Nothing here blocks; every call ends within its timeout.
class ServiceManager {
public:
    virtual ~ServiceManager() = default;
    // The unit with systemd's states filled in, or its error.
    virtual QCoro::Task<ServiceUnit> read(ServiceUnit unit) const = 0;
    // Queues the job; the unit as read after it, or with systemd's answer in its error.
    virtual QCoro::Task<ServiceUnit> act(ServiceUnit unit, HostEngines::Verb verb) const = 0;
};

// systemd's manager over D-Bus: the system bus for system units, the user's bus for
// theirs. Start and Restart allow polkit to ask, so the desktop's own agent does.
class SystemdManager : public ServiceManager {
public:
    // The desktop's buses, connected when first asked: a start-up never waits on them.
    SystemdManager() = default;
    SystemdManager(QDBusConnection system, QDBusConnection user);

    QCoro::Task<ServiceUnit> read(ServiceUnit unit) const override;
    QCoro::Task<ServiceUnit> act(ServiceUnit unit, HostEngines::Verb verb) const override;

private:
    QDBusConnection busFor(const ServiceUnit &unit) const;

    std::optional<QDBusConnection> m_system;
    std::optional<QDBusConnection> m_user;
};
