#pragma once

#include <QDBusConnection>
#include <optional>

#include <QCoroTask>

// Whether the connection in use costs by the byte, as NetworkManager says over D-Bus; where
// it does not run, nothing is known to be metered.
class MeteredConnection {
public:
    // The system bus unless told another (tests run a stand-in on their own bus).
    explicit MeteredConnection(std::optional<QDBusConnection> bus = std::nullopt);

    QCoro::Task<bool> inUse() const;
    // NetworkManager's NMMetered: 1 yes, 3 guessed yes; 0 unknown, 2 no, 4 guessed no.
    static bool metered(uint value) { return value == 1 || value == 3; }

private:
    std::optional<QDBusConnection> m_bus;
};
