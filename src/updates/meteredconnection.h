#pragma once

#include <QDBusConnection>

#include <QCoroTask>

// Whether the connection in use costs by the byte, as NetworkManager says over D-Bus (the
// system bus; tests run a stand-in on a bus of their own). Where it does not run, nothing
// is known to be metered.
namespace MeteredConnection {

QCoro::Task<bool> inUse(QDBusConnection bus);
QCoro::Task<bool> inUseOnSystemBus();
// NetworkManager's NMMetered: 1 yes, 3 guessed yes; 0 unknown, 2 no, 4 guessed no.
inline bool metered(uint value)
{
    return value == 1 || value == 3;
}

} // namespace MeteredConnection
