#include "restartwatch.h"

#include "appstore.h"
#include "dockererror.h"
#include "enginestore.h"

#include <QPointer>
#include <QtConcurrent>
#include <QCoroFuture>

namespace {
// What the listing shows of how it last ended: a stop and a start between two listings
// leave the state as it was but not its exit code.
QString listedState(const Container &c)
{
    return c.state == QLatin1String("exited") ? c.state + c.status.section(u' ', 1, 1) : c.state;
}
}

RestartWatch::RestartWatch(std::shared_ptr<Engine> engine, Engines engines, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_engines(std::move(engines))
{
}

void RestartWatch::listed(EngineStore *store)
{
    PerEngine &known = m_known[store->name()];
    if (known.reading) {
        known.again = true;
        return;
    }
    read(QPointer<EngineStore>(store));
}

void RestartWatch::updated(EngineStore *store, const QString &id)
{
    PerEngine &known = m_known[store->name()];
    // The listing's ids are a prefix of the engine's.
    known.byId.removeIf([&](const auto &entry) { return id.startsWith(entry.key()); });
    if (known.reading)
        known.dirty.insert(id);
    listed(store);
}

QCoro::Task<> RestartWatch::read(QPointer<EngineStore> store)
{
    QPointer<RestartWatch> self(this);
    const QString engine = store->name();
    QStringList stale;
    QSet<QString> listedIds;
    {
        PerEngine &known = m_known[engine];
        for (const Container &c : store->containers()) {
            listedIds.insert(c.id);
            const auto k = known.byId.constFind(c.id);
            if (k == known.byId.cend() || k->listed != listedState(c))
                stale.append(c.id);
        }
        const qsizetype before = known.byId.size();
        known.byId.removeIf([&](const auto &entry) { return !listedIds.contains(entry.key()); });
        if (stale.isEmpty()) {
            if (known.byId.size() != before)
                emit changed();
            co_return;
        }
        known.reading = true;
    }
    const bool askKind = !m_known.value(engine).podman.has_value();
    QHash<QString, QString> states;
    for (const Container &c : store->containers())
        states.insert(c.id, listedState(c));
    auto future = QtConcurrent::run(AppStore::workers(), [engine = m_engine, runtime = store->runtime(), stale, askKind]() -> std::optional<RestartReading> {
        try {
            return engine->restartFacts(stale, runtime, askKind);
        } catch (const DockerError &) {
            return std::nullopt;  // the engine's own rows say what is wrong with it
        }
    });
    const std::optional<RestartReading> reading = co_await future;
    if (!self)
        co_return;
    PerEngine &known = self->m_known[engine];
    known.reading = false;
    const QSet<QString> dirty = std::exchange(known.dirty, {});
    if (reading) {
        if (askKind)
            known.podman = reading->podman;
        for (const RestartFacts &facts : reading->containers) {
            const auto id = std::find_if(stale.cbegin(), stale.cend(), [&](const QString &s) { return facts.id.startsWith(s); });
            // What was read before an update is left for the next reading.
            if (dirty.contains(facts.id))
                continue;
            if (id != stale.cend())
                known.byId.insert(*id, {states.value(*id), facts, AfterRestart::predict(facts, known.podman.value_or(false))});
        }
        emit self->changed();
    }
    if (std::exchange(known.again, false) && store)
        self->listed(store);
}

std::optional<Comeback> RestartWatch::of(const QString &engine, const Container &container) const
{
    const auto known = m_known.constFind(engine);
    if (known == m_known.cend())
        return std::nullopt;
    const auto k = known->byId.constFind(container.id);
    return k == known->byId.cend() ? std::nullopt : std::optional(k->comeback);
}

std::optional<QList<std::pair<Container, Comeback>>> RestartWatch::all(const QString &engine) const
{
    QList<std::pair<Container, Comeback>> rows;
    for (EngineStore *store : m_engines()) {
        if (store->name() != engine)
            continue;
        for (const Container &c : store->containers()) {
            const std::optional<Comeback> comeback = of(engine, c);
            if (!comeback)
                return std::nullopt;
            rows.append({c, *comeback});
        }
        return rows;
    }
    return std::nullopt;
}
