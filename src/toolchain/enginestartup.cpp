#include "enginestartup.h"

#include <QDir>
#include <QUrl>

#include <unistd.h>

namespace HostEngines {

namespace {
using Answer = EngineStartup::Answer;

QString named(const ServiceUnit &unit)
{
    return unit.scope == ServiceUnit::Scope::User ? unit.name + QStringLiteral(" (yours)") : unit.name;
}

// A unit systemd has a file for, masked or not.
bool present(const ServiceUnit &unit)
{
    return unit.loadState == QLatin1String("loaded") || unit.loadState == QLatin1String("masked");
}

bool enabled(const ServiceUnit &unit)
{
    return present(unit) && unit.fileState == QLatin1String("enabled");
}

// Nothing starts the unit at boot. Static, indirect or generated ones start when another
// unit asks for them, which only that unit's files tell.
bool off(const ServiceUnit &unit)
{
    static const QStringList states{QStringLiteral("disabled"), QStringLiteral("masked"), QStringLiteral("masked-runtime"),
                                    QStringLiteral("linked"), QStringLiteral("linked-runtime"), QStringLiteral("enabled-runtime")};
    return states.contains(unit.fileState);
}

// "a", "a and b", "a, b and c"
QString joined(const QStringList &parts, const QString &last)
{
    return parts.size() < 2 ? parts.value(0) : parts.mid(0, parts.size() - 1).join(QStringLiteral(", ")) + last + parts.last();
}

QString state(const QString &fileState)
{
    return fileState == QLatin1String("enabled-runtime") ? fileState + QStringLiteral(", which lasts only until the next reboot") : fileState;
}

// "docker.service and docker.socket are disabled.", "docker.service is masked and docker.socket is disabled."
QString offStates(const QList<ServiceUnit> &units)
{
    const bool alike = std::all_of(units.cbegin(), units.cend(), [&](const ServiceUnit &u) { return u.fileState == units.first().fileState; });
    QStringList parts;
    for (const auto &unit : units)
        parts << (alike ? named(unit) : named(unit) + QStringLiteral(" is ") + state(unit.fileState));
    if (alike)
        return joined(parts, QStringLiteral(" and ")) + (parts.size() > 1 ? QStringLiteral(" are ") : QStringLiteral(" is "))
            + state(units.first().fileState) + u'.';
    return joined(parts, QStringLiteral(" and ")) + u'.';
}
}

EngineStartup startup(const QList<ServiceUnit> &units, const Linger &linger)
{
    if (units.isEmpty())
        return {Answer::Unknown, QStringLiteral("No systemd unit runs it.")};
    // A masked service starts neither at boot nor from its socket.
    const auto masked = std::find_if(units.cbegin(), units.cend(), [](const ServiceUnit &u) {
        return u.name.endsWith(QLatin1String(".service")) && (u.loadState == QLatin1String("masked") || u.fileState.startsWith(QLatin1String("masked")));
    });
    if (masked != units.cend())
        return {Answer::No, named(*masked) + QStringLiteral(" is masked: nothing can start it until it is unmasked.")};
    // The catalogue lists each engine's own way of starting first.
    const auto on = std::find_if(units.cbegin(), units.cend(), enabled);
    if (on != units.cend()) {
        const QString is = named(*on) + QStringLiteral(" is enabled");
        const QString when = on->name.endsWith(QLatin1String(".socket")) ? QStringLiteral(": the engine starts when first asked.") : QStringLiteral(".");
        if (on->scope == ServiceUnit::Scope::System)
            return {Answer::Yes, is + when};
        if (!linger.on)
            return {Answer::Unknown, linger.error.isEmpty() ? QStringLiteral("logind was not asked whether you linger.") : linger.error};
        if (*linger.on)
            return {Answer::Yes, is + QStringLiteral(" and lingering is on") + when};
        return {Answer::No, is + QStringLiteral(", but starts only when you log in: lingering is off.")};
    }
    QList<ServiceUnit> there;
    QStringList names;
    for (const auto &unit : units) {
        if (unit.loadState.isEmpty())
            return {Answer::Unknown, unit.error.isEmpty() ? QStringLiteral("systemd was not asked of ") + named(unit) + u'.' : unit.error};
        if (!present(unit) && unit.loadState != QLatin1String("not-found"))
            return {Answer::Unknown, QStringLiteral("systemd cannot load ") + named(unit) + QStringLiteral(": ") + unit.loadState + u'.'};
        if (present(unit))
            there << unit;
        names << named(unit);
    }
    if (there.isEmpty())
        return {Answer::Unknown, QStringLiteral("systemd has no ") + joined(names, QStringLiteral(" or ")) + u'.'};
    const auto elsewhere = std::find_if_not(there.cbegin(), there.cend(), off);
    if (elsewhere != there.cend())
        return {Answer::Unknown, elsewhere->fileState.isEmpty()
                    ? QStringLiteral("systemd does not say whether ") + named(*elsewhere) + QStringLiteral(" is enabled.")
                    : named(*elsewhere) + QStringLiteral(" is ") + elsewhere->fileState
                        + QStringLiteral(": it starts when another unit asks for it, and Korvat cannot tell whether one does at boot.")};
    return {Answer::No, offStates(there)};
}

std::optional<ServiceUnit> toEnable(const QList<ServiceUnit> &units)
{
    // Judged as if lingering: whether the user lingers is the other fix's.
    if (startup(units, Linger{true, {}}).answer != Answer::No)
        return std::nullopt;
    // A masked unit cannot be enabled, nor can one that starts it.
    if (std::any_of(units.cbegin(), units.cend(), [](const ServiceUnit &u) { return u.fileState.startsWith(QLatin1String("masked")); }))
        return std::nullopt;
    return *std::find_if(units.cbegin(), units.cend(), present);
}

QString startupLine(const EngineStartup &startup)
{
    switch (startup.answer) {
    case Answer::Yes: return QStringLiteral("Starts at boot");
    case Answer::No: return QStringLiteral("Does not start at boot");
    case Answer::Unknown: break;
    }
    return QStringLiteral("Not known whether it starts at boot");
}

Serving serving(const QString &endpoint, const QString &runtimeDir)
{
    const QString address = endpoint.isEmpty() ? QStringLiteral("unix:///var/run/docker.sock") : endpoint;
    const QString byHand = QStringLiteral("No systemd unit Korvat knows serves %1: it was started some other way.");
    if (!address.startsWith(QLatin1String("unix://"))) {
        static const QStringList local{QStringLiteral("localhost"), QStringLiteral("127.0.0.1"), QStringLiteral("::1")};
        // Whatever sign-in the address carries stays out of the reason.
        if (local.contains(QUrl(address).host()))
            return {{}, byHand.arg(QUrl(address).toDisplayString(QUrl::RemoveUserInfo))};
        return {{}, QStringLiteral("The engine runs on another machine: its start-up is that machine's.")};
    }
    QString path = QDir::cleanPath(address.mid(7));
    // /var/run is /run wherever systemd runs.
    if (path.startsWith(QLatin1String("/var/run/")))
        path = path.mid(4);
    for (const Kind &kind : catalogue()) {
        for (const auto scope : {ServiceUnit::Scope::System, ServiceUnit::Scope::User}) {
            const QString dir = scope == ServiceUnit::Scope::System ? QStringLiteral("/run") : QDir::cleanPath(runtimeDir);
            if (dir.isEmpty() || path != dir + u'/' + kind.socket)
                continue;
            Serving found;
            std::copy_if(kind.units.cbegin(), kind.units.cend(), std::back_inserter(found.units),
                         [&](const ServiceUnit &u) { return u.scope == scope; });
            return found;
        }
    }
    return {{}, byHand.arg(path)};
}

} // namespace HostEngines

QCoro::Task<EngineStartup> readStartup(const ServiceManager &services, QString endpoint)
{
    const QString runtimeDir = qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR") ? QStringLiteral("/run/user/") + QString::number(::getuid())
                                                                                : qEnvironmentVariable("XDG_RUNTIME_DIR");
    const HostEngines::Serving serving = HostEngines::serving(endpoint, runtimeDir);
    EngineStartup answer{EngineStartup::Answer::Unknown, serving.none};
    if (serving.units.isEmpty())
        co_return answer;
    QList<ServiceUnit> read;
    for (const ServiceUnit &unit : serving.units) {
        auto reading = services.read(unit);
        read << co_await reading;
    }
    Linger linger;
    if (serving.units.first().scope == ServiceUnit::Scope::User) {
        auto reading = services.linger();
        linger = co_await reading;
    }
    answer = HostEngines::startup(read, linger);
    co_return answer;
}
