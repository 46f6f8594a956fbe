#include "meteredconnection.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>

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
    const QDBusReply<QDBusVariant> reply = co_await bus.asyncCall(get, 2000);
    const bool isMetered = reply.isValid() && metered(reply.value().variant().toUInt());
    co_return isMetered;
}

} // namespace MeteredConnection
