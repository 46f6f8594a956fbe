#pragma once

#include "hostengine.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <optional>

// Where unit states come from and where Start, Restart and the start-up fixes go: systemd
// and logind in the program, a stand-in in pictures. Nothing here blocks; every call ends
// within its timeout.
class ServiceManager {
public:
    virtual ~ServiceManager() = default;
    // The unit with systemd's states filled in, or its error.
    virtual QCoro::Task<ServiceUnit> read(ServiceUnit unit) const = 0;
    // Queues the job; the unit as read after it, or with systemd's answer in its error.
    virtual QCoro::Task<ServiceUnit> act(ServiceUnit unit, HostEngines::Verb verb) const = 0;
    // Whether this user lingers.
    virtual QCoro::Task<Linger> linger() const = 0;
    // Enables the unit's file so it starts at boot; the unit as read after, or as it was
    // with systemd's answer in its error.
    virtual QCoro::Task<ServiceUnit> enable(ServiceUnit unit) const = 0;
    // Asks logind to let this user linger; the lingering as read after, with logind's
    // answer in its error when it refused.
    virtual QCoro::Task<Linger> keepAfterLogout() const = 0;
};

// systemd's manager over D-Bus: the system bus for system units, the user's bus for
// theirs; logind on the system bus. Whatever changes the machine allows polkit to ask,
// so the desktop's own agent does.
class SystemdManager : public ServiceManager {
public:
    // The desktop's buses, connected when first asked: a start-up never waits on them.
    SystemdManager() = default;
    // logind: where it answers; the system bus when none is given.
    SystemdManager(QDBusConnection system, QDBusConnection user, std::optional<QDBusConnection> logind = std::nullopt);

    QCoro::Task<ServiceUnit> read(ServiceUnit unit) const override;
    QCoro::Task<ServiceUnit> act(ServiceUnit unit, HostEngines::Verb verb) const override;
    QCoro::Task<Linger> linger() const override;
    QCoro::Task<ServiceUnit> enable(ServiceUnit unit) const override;
    QCoro::Task<Linger> keepAfterLogout() const override;

private:
    QDBusConnection busFor(const ServiceUnit &unit) const;
    QDBusConnection logindBus() const;

    std::optional<QDBusConnection> m_system;
    std::optional<QDBusConnection> m_user;
    std::optional<QDBusConnection> m_logind;
};
