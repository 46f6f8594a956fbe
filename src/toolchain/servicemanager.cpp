#include "servicemanager.h"

#include <QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>

namespace {
const QString service = QStringLiteral("org.freedesktop.systemd1");
const QString managerPath = QStringLiteral("/org/freedesktop/systemd1");
const QString managerInterface = QStringLiteral("org.freedesktop.systemd1.Manager");
constexpr int readTimeout = 10'000;
// Long enough for a person to answer polkit's dialog.
constexpr int actTimeout = 120'000;

// systemd's own message, except where there is no systemd to give one.
QString described(const QDBusError &error)
{
    if (error.type() == QDBusError::ServiceUnknown || error.type() == QDBusError::Disconnected || error.type() == QDBusError::NoServer)
        return QStringLiteral("systemd does not answer on this machine.");
    return error.message().isEmpty() ? error.name() : error.message();
}
}

SystemdManager::SystemdManager(QDBusConnection system, QDBusConnection user)
    : m_system(std::move(system)), m_user(std::move(user))
{
}

QDBusConnection SystemdManager::busFor(const ServiceUnit &unit) const
{
    if (unit.scope == ServiceUnit::Scope::System)
        return m_system ? *m_system : QDBusConnection::systemBus();
    return m_user ? *m_user : QDBusConnection::sessionBus();
}

QCoro::Task<ServiceUnit> SystemdManager::read(ServiceUnit unit) const
{
    QDBusConnection bus = busFor(unit);
    unit.error.clear();
    if (!bus.isConnected()) {
        unit.error = described(QDBusError(QDBusError::Disconnected, {}));
        co_return unit;
    }
    auto load = QDBusMessage::createMethodCall(service, managerPath, managerInterface, QStringLiteral("LoadUnit"));
    load << unit.name;
    const QDBusReply<QDBusObjectPath> path = co_await bus.asyncCall(load, readTimeout);
    if (!path.isValid()) {
        unit.error = described(path.error());
        co_return unit;
    }
    auto get = QDBusMessage::createMethodCall(service, path.value().path(), QStringLiteral("org.freedesktop.DBus.Properties"),
                                              QStringLiteral("GetAll"));
    get << QStringLiteral("org.freedesktop.systemd1.Unit");
    const QDBusReply<QVariantMap> properties = co_await bus.asyncCall(get, readTimeout);
    if (!properties.isValid()) {
        unit.error = described(properties.error());
        co_return unit;
    }
    unit.loadState = properties.value().value(QStringLiteral("LoadState")).toString();
    unit.activeState = properties.value().value(QStringLiteral("ActiveState")).toString();
    unit.subState = properties.value().value(QStringLiteral("SubState")).toString();
    co_return unit;
}

QCoro::Task<ServiceUnit> SystemdManager::act(ServiceUnit unit, HostEngines::Verb verb) const
{
    if (verb == HostEngines::Verb::None)
        co_return unit;
    auto call = QDBusMessage::createMethodCall(service, managerPath, managerInterface,
                                               verb == HostEngines::Verb::Start ? QStringLiteral("StartUnit") : QStringLiteral("RestartUnit"));
    call << unit.name << QStringLiteral("replace");
    call.setInteractiveAuthorizationAllowed(true);
    const QDBusReply<QDBusObjectPath> job = co_await busFor(unit).asyncCall(call, actTimeout);
    if (!job.isValid()) {
        unit.error = described(job.error());
        co_return unit;
    }
    co_return co_await read(unit);
}
