#include "appstore.h"

#include "trash.h"

#include <QCoroFuture>
#include <QtConcurrent>

QCoro::Task<TeardownPlan> AppStore::teardownPlan(ComposeProject project)
{
    const auto runtime = this->runtime();
    const auto containers = this->containers();
    const auto volumes = this->volumes();
    auto future = QtConcurrent::run(workers(), [=, engine = m_engine] { return Teardown::assemble(*engine, project, containers, volumes, runtime); });
    co_return co_await future;
}

QCoro::Task<> AppStore::deleteProject(TeardownPlan plan, bool trashDirectory)
{
    QPointer<AppStore> self(this);
    const auto runtime = this->runtime();
    const auto key = runtimeKey();
    QStringList failures;
    const auto step = [&](const EngineAction &action) {
        return QtConcurrent::run(actionWorkers(), [=, engine = m_engine]() -> std::optional<QString> {
            try {
                engine->perform(action, runtime);
                return std::nullopt;
            } catch (const DockerError &e) {
                return e.message();
            }
        });
    };
    const auto note = [&](const std::optional<QString> &failure) {
        if (failure)
            failures << *failure;
    };
    using Kind = EngineAction::Kind;

    // Containers go before their volumes, which cannot be removed while in use. Every
    // future is named before it is awaited: GCC 12 destroys temporaries inside a co_await
    // expression twice.
    // A directory that now resolves to another project would take that one down instead.
    bool composeDown = false;
    if (plan.workingDir) {
        auto check = QtConcurrent::run(workers(), [engine = m_engine, dir = *plan.workingDir, name = plan.project] {
            return Teardown::composeDownIsOwn(*engine, dir, name);
        });
        composeDown = co_await check;
    }
    if (composeDown) {
        auto future = step(EngineAction::compose(Kind::ComposeDown, *plan.workingDir));
        note(co_await future);
    } else if (!plan.containers.isEmpty()) {
        auto future = step(EngineAction::on(Kind::Remove, plan.containers));
        note(co_await future);
    }

    const auto removable = plan.removable();
    if (!removable.isEmpty()) {
        QStringList names;
        for (const auto &v : removable)
            names << v.name;
        auto future = step(EngineAction::on(Kind::RemoveVolume, names));
        note(co_await future);
    }

    if (trashDirectory && plan.workingDir) {
        const QString dir = *plan.workingDir;
        auto future = QtConcurrent::run(actionWorkers(), &Trash::moveToTrash, dir);
        if (const auto problem = co_await future)
            failures << *problem;
    }

    if (!self)
        co_return;
    // Forgotten whatever the steps above did.
    m_memory.forget(plan.project, key);
    m_state.setError(failures.isEmpty() ? std::nullopt : std::optional(failures.join(u'\n')));
    co_await refresh();
}
