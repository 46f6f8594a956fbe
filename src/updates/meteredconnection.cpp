#include "meteredconnection.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QtConcurrent>

#include <QCoroFuture>

#include <QCoroDBusPendingCall>

namespace MeteredConnection {

QCoro::Task<bool> inUse(QDBusConnection bus)
{
    if (!bus.isConnected())
        co_return false;
    const QString service = QStringLiteral("org.freedesktop.NetworkManager");
    auto get = QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/NetworkManager"),
                                              QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << service << QStringLiteral("Metered");
    const QDBusPendingCall call = bus.asyncCall(get, 2000);
    const QDBusReply<QDBusVariant> reply = co_await call;
    const bool isMetered = reply.isValid() && metered(reply.value().variant().toUInt());
    co_return isMetered;
}

QCoro::Task<bool> inUseOnSystemBus()
{
    // Connecting to the bus is a wait of its own, kept off the interface thread.
    auto connecting = QtConcurrent::run([] { return QDBusConnection::systemBus(); });
    const QDBusConnection bus = co_await connecting;
    auto asking = inUse(bus);
    const bool metered = co_await asking;
    co_return metered;
}

} // namespace MeteredConnection
