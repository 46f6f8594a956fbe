#pragma once

#include "engine.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>

#include <QCoroTask>

class EngineStore;

// Whether each container of the watched engines will be running once its engine has started
// again. What decides it (restart policy, how it ended) is read for the containers new or
// changed since the last reading, one inspect for all of them; at rest nothing is read.
class RestartWatch : public QObject {
    Q_OBJECT

public:
    using Engines = std::function<QList<EngineStore *>()>;

    RestartWatch(std::shared_ptr<Engine> engine, Engines engines, QObject *parent = nullptr);

    // The engine listed its containers: those new or changed since are read again.
    void listed(EngineStore *store);
    // The container's settings changed: it is read again, whatever its state.
    void updated(EngineStore *store, const QString &id);
    // The engine is no longer watched: what was read of it may be stale when it returns.
    void forget(const QString &engine) { m_known.remove(engine); }

    // By the listing's id; none where not read yet.
    std::optional<Comeback> of(const QString &engine, const Container &container) const;
    // Every listed container of the engine with its prediction, in the listing's order; none
    // until all are read.
    std::optional<QList<std::pair<Container, Comeback>>> all(const QString &engine) const;

signals:
    void changed();

private:
    QCoro::Task<> read(QPointer<EngineStore> store);

    struct Known {
        // The listing's state when read: a change of it may change the answer.
        QString listed;
        RestartFacts facts;
        Comeback comeback;
    };
    struct PerEngine {
        QHash<QString, Known> byId;
        // Asked once: an engine does not change its kind.
        std::optional<bool> podman;
        bool reading = false;
        bool again = false;
        // Updated while a reading was under way, which may have read it before the update.
        QSet<QString> dirty;
    };

    std::shared_ptr<Engine> m_engine;
    Engines m_engines;
    QHash<QString, PerEngine> m_known;
};
