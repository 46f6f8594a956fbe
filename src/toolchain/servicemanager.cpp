#include "servicemanager.h"

#include <QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>

#include <unistd.h>

namespace {
const QString service = QStringLiteral("org.freedesktop.systemd1");
const QString managerPath = QStringLiteral("/org/freedesktop/systemd1");
const QString managerInterface = QStringLiteral("org.freedesktop.systemd1.Manager");
const QString logindService = QStringLiteral("org.freedesktop.login1");
const QString logindPath = QStringLiteral("/org/freedesktop/login1");
const QString logindManager = QStringLiteral("org.freedesktop.login1.Manager");
const QString logindName = QStringLiteral("logind");
constexpr int readTimeout = 10'000;
// Long enough for a person to answer polkit's dialog.
constexpr int actTimeout = 120'000;

// The daemon's own message, except where there is no daemon to give one.
QString described(const QDBusError &error, const QString &daemon = QStringLiteral("systemd"))
{
    if (error.type() == QDBusError::ServiceUnknown || error.type() == QDBusError::Disconnected || error.type() == QDBusError::NoServer)
        return daemon + QStringLiteral(" does not answer on this machine.");
    return error.message().isEmpty() ? error.name() : error.message();
}

QDBusMessage logindCall(const QString &method)
{
    auto call = QDBusMessage::createMethodCall(logindService, logindPath, logindManager, method);
    call << uint(::getuid());
    return call;
}
}

SystemdManager::SystemdManager(QDBusConnection system, QDBusConnection user, std::optional<QDBusConnection> logind)
    : m_system(std::move(system)), m_user(std::move(user)), m_logind(std::move(logind))
{
}

QDBusConnection SystemdManager::logindBus() const
{
    if (m_logind)
        return *m_logind;
    return m_system ? *m_system : QDBusConnection::systemBus();
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
    auto loading = bus.asyncCall(load, readTimeout);
    const QDBusReply<QDBusObjectPath> path = co_await loading;
    if (!path.isValid()) {
        unit.error = described(path.error());
        co_return unit;
    }
    auto get = QDBusMessage::createMethodCall(service, path.value().path(), QStringLiteral("org.freedesktop.DBus.Properties"),
                                              QStringLiteral("GetAll"));
    get << QStringLiteral("org.freedesktop.systemd1.Unit");
    auto getting = bus.asyncCall(get, readTimeout);
    const QDBusReply<QVariantMap> properties = co_await getting;
    if (!properties.isValid()) {
        unit.error = described(properties.error());
        co_return unit;
    }
    unit.loadState = properties.value().value(QStringLiteral("LoadState")).toString();
    unit.activeState = properties.value().value(QStringLiteral("ActiveState")).toString();
    unit.subState = properties.value().value(QStringLiteral("SubState")).toString();
    unit.fileState = properties.value().value(QStringLiteral("UnitFileState")).toString();
    // The property keeps the state systemd last loaded; an enable since shows on the disk.
    auto state = QDBusMessage::createMethodCall(service, managerPath, managerInterface, QStringLiteral("GetUnitFileState"));
    state << unit.name;
    auto askingState = bus.asyncCall(state, readTimeout);
    const QDBusReply<QString> onDisk = co_await askingState;
    if (onDisk.isValid() && !onDisk.value().isEmpty())
        unit.fileState = onDisk.value();
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
    auto queuing = busFor(unit).asyncCall(call, actTimeout);
    const QDBusReply<QDBusObjectPath> job = co_await queuing;
    if (!job.isValid()) {
        unit.error = described(job.error());
        co_return unit;
    }
    co_return co_await read(unit);
}

QCoro::Task<Linger> SystemdManager::linger() const
{
    QDBusConnection bus = logindBus();
    Linger result;
    if (!bus.isConnected()) {
        result.error = described(QDBusError(QDBusError::Disconnected, {}), logindName);
        co_return result;
    }
    const QDBusMessage getUser = logindCall(QStringLiteral("GetUser"));
    auto askingUser = bus.asyncCall(getUser, readTimeout);
    const QDBusReply<QDBusObjectPath> user = co_await askingUser;
    if (!user.isValid()) {
        result.error = described(user.error(), logindName);
        co_return result;
    }
    auto get = QDBusMessage::createMethodCall(logindService, user.value().path(), QStringLiteral("org.freedesktop.DBus.Properties"),
                                              QStringLiteral("Get"));
    get << QStringLiteral("org.freedesktop.login1.User") << QStringLiteral("Linger");
    auto asking = bus.asyncCall(get, readTimeout);
    const QDBusReply<QDBusVariant> on = co_await asking;
    if (on.isValid())
        result.on = on.value().variant().toBool();
    else
        result.error = described(on.error(), logindName);
    co_return result;
}

QCoro::Task<ServiceUnit> SystemdManager::enable(ServiceUnit unit) const
{
    QDBusConnection bus = busFor(unit);
    auto call = QDBusMessage::createMethodCall(service, managerPath, managerInterface, QStringLiteral("EnableUnitFiles"));
    call << QStringList{unit.name} << false << false;   // for good, and never over a file of another's
    call.setInteractiveAuthorizationAllowed(true);
    auto enabling = bus.asyncCall(call, actTimeout);
    const QDBusMessage enabled = co_await enabling;
    if (enabled.type() != QDBusMessage::ReplyMessage) {
        unit.error = described(QDBusError(enabled));
        co_return unit;
    }
    // The links are all a boot needs. No reload: it would take every other pending edit of
    // the machine's units with it, and ask polkit a second time.
    auto reading = read(unit);
    co_return co_await reading;
}

QCoro::Task<Linger> SystemdManager::keepAfterLogout() const
{
    auto call = logindCall(QStringLiteral("SetUserLinger"));
    call << true << true;   // on, and polkit may ask
    call.setInteractiveAuthorizationAllowed(true);
    QDBusConnection bus = logindBus();
    auto asking = bus.asyncCall(call, actTimeout);
    const QDBusMessage reply = co_await asking;
    auto reading = linger();
    Linger after = co_await reading;
    if (reply.type() != QDBusMessage::ReplyMessage)
        after.error = described(QDBusError(reply), logindName);
    co_return after;
}
