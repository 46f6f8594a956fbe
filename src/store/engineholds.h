#pragma once

#include "runtime.h"

#include <QHash>
#include <QObject>
#include <memory>
#include <optional>

// The engine an operation began on. Every step it takes, the reading that closes it and the
// texts it leaves go there, whatever is selected meanwhile; while a copy lives, the runtime
// counts as in use, so a remote one keeps its connection until the last work on it ends.
struct OnEngine {
    std::optional<Runtime> runtime;
    std::shared_ptr<const void> lease;

    QString name() const { return runtime ? runtime->name : QString(); }
};

// The runtimes that work under way holds. Changes only on the interface thread; a lease
// dropped on a worker is released there.
class EngineHolds : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    OnEngine hold(const std::optional<Runtime> &runtime);
    bool holds(const Runtime &runtime) const { return m_count.value(runtime) > 0; }
    QList<Runtime> held() const { return m_count.keys(); }

signals:
    // A runtime came to be held, or its last hold ended.
    void changed();

private:
    void release(const Runtime &runtime);
    QHash<Runtime, int> m_count;
};
