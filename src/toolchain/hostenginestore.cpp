#include "hostenginestore.h"
#include "enginestartup.h"

#include <QCoroFuture>
#include <QCoroTimer>
#include <QPointer>
#include <QtConcurrent>

namespace {
bool hasUserUnits(const HostEngine &engine)
{
    return std::any_of(engine.units.cbegin(), engine.units.cend(), [](const ServiceUnit &u) { return u.scope == ServiceUnit::Scope::User; });
}
}

HostEngineStore::HostEngineStore(Probe probe, std::shared_ptr<const ServiceManager> services, QObject *parent)
    : QObject(parent), m_probe(std::move(probe)), m_services(std::move(services))
{
}

QCoro::Task<> HostEngineStore::survey()
{
    if (m_surveying)
        co_return;
    m_surveying = true;
    QPointer self(this);
    const auto services = m_services;
    QList<HostEngine> found = co_await QtConcurrent::run(m_probe);
    std::optional<Linger> linger;   // the user's, asked once for all their engines
    for (auto &engine : found) {
        QList<ServiceUnit> read;
        for (const auto &unit : engine.units)
            read << co_await services->read(unit);
        engine = HostEngines::withUnits(engine, read);
        if (!hasUserUnits(engine))
            continue;
        if (!linger) {
            auto reading = services->linger();
            linger = co_await reading;
        }
        engine.linger = *linger;
    }
    if (!self)
        co_return;
    m_surveying = false;
    const bool first = !m_surveyed;
    m_surveyed = true;
    if (first && found == m_engines)
        emit enginesChanged();   // "none found" is news too
    setEngines(found);
}

QCoro::Task<> HostEngineStore::act(QString engine, ServiceUnit::Scope scope, QString name)
{
    const auto owner = std::find_if(m_engines.cbegin(), m_engines.cend(), [&](const HostEngine &e) { return e.name == engine; });
    if (owner == m_engines.cend())
        co_return;
    const auto found = std::find_if(owner->units.cbegin(), owner->units.cend(),
                                    [&](const ServiceUnit &u) { return u.scope == scope && u.name == name; });
    if (found == owner->units.cend())
        co_return;
    QPointer self(this);
    const auto services = m_services;
    ServiceUnit unit = co_await services->act(*found, HostEngines::verb(*found));
    // A start takes systemd a moment: follow the unit until it settles, within half a minute.
    for (int tries = 0; self && unit.error.isEmpty() && HostEngines::verb(unit) == HostEngines::Verb::None && tries < 60; ++tries) {
        replaceUnit(engine, unit);
        co_await QCoro::sleepFor(std::chrono::milliseconds(500));
        unit = co_await services->read(unit);
    }
    if (self)
        replaceUnit(engine, unit);
}

QCoro::Task<> HostEngineStore::startAtBoot(QString engine, ServiceUnit::Scope scope)
{
    const auto owner = std::find_if(m_engines.cbegin(), m_engines.cend(), [&](const HostEngine &e) { return e.name == engine; });
    if (owner == m_engines.cend())
        co_return;
    QList<ServiceUnit> units;
    std::copy_if(owner->units.cbegin(), owner->units.cend(), std::back_inserter(units), [&](const ServiceUnit &u) { return u.scope == scope; });
    const std::optional<ServiceUnit> unit = HostEngines::toEnable(units);
    if (!unit)
        co_return;
    QPointer self(this);
    const auto services = m_services;
    auto enabling = services->enable(*unit);
    const ServiceUnit enabled = co_await enabling;
    if (self)
        replaceUnit(engine, enabled);
}

QCoro::Task<> HostEngineStore::keepRunningAfterLogout()
{
    QPointer self(this);
    const auto services = m_services;
    auto asking = services->keepAfterLogout();
    const Linger linger = co_await asking;
    if (self)
        setLinger(linger);
}

void HostEngineStore::setLinger(const Linger &linger)
{
    QList<HostEngine> engines = m_engines;
    for (auto &e : engines)
        if (hasUserUnits(e))
            e.linger = linger;
    setEngines(engines);
}

void HostEngineStore::replaceUnit(const QString &engine, const ServiceUnit &unit)
{
    QList<HostEngine> engines = m_engines;
    for (auto &e : engines)
        if (e.name == engine)
            for (auto &u : e.units)
                if (u.scope == unit.scope && u.name == unit.name)
                    u = unit;
    setEngines(engines);
}

void HostEngineStore::setEngines(const QList<HostEngine> &engines)
{
    if (engines == m_engines)
        return;
    m_engines = engines;
    emit enginesChanged();
}
