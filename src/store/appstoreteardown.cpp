#include "appstore.h"

#include "trash.h"

#include <QCoroFuture>
#include <QtConcurrent>

QCoro::Task<TeardownPlan> AppStore::teardownPlan(ComposeProject project)
{
    const auto runtime = m_runtime;
    const auto containers = m_containers;
    const auto volumes = m_volumes;
    auto future = QtConcurrent::run(workers(), [=] { return Teardown::assemble(project, containers, volumes, runtime); });
    co_return co_await future;
}

QCoro::Task<> AppStore::deleteProject(TeardownPlan plan, bool trashDirectory)
{
    QPointer<AppStore> self(this);
    const auto runtime = m_runtime;
    const auto key = runtimeKey();
    QStringList failures;
    const auto step = [&](QStringList args, std::optional<QString> dir) {
        return QtConcurrent::run(workers(), [=] { return Docker::capture(args, runtime, dir); });
    };
    const auto note = [&](const Docker::Captured &r) {
        if (r.status != 0)
            failures << r.err.trimmed();
    };

    // Containers go before their volumes, which cannot be removed while in use. Every
    // future is named before it is awaited: GCC 12 destroys temporaries inside a co_await
    // expression twice.
    // A directory that now resolves to another project would take that one down instead.
    bool composeDown = false;
    if (plan.workingDir) {
        auto check = QtConcurrent::run(workers(), &Teardown::composeDownIsOwn, *plan.workingDir, plan.project);
        composeDown = co_await check;
    }
    if (composeDown) {
        const QStringList args{QStringLiteral("compose"), QStringLiteral("down")};
        auto future = step(args, plan.workingDir);
        note(co_await future);
    } else if (!plan.containers.isEmpty()) {
        const QStringList args = QStringList{QStringLiteral("rm"), QStringLiteral("-f")} + plan.containers;
        auto future = step(args, std::nullopt);
        note(co_await future);
    }

    const auto removable = plan.removable();
    if (!removable.isEmpty()) {
        QStringList args{QStringLiteral("volume"), QStringLiteral("rm")};
        for (const auto &v : removable)
            args << v.name;
        auto future = step(args, std::nullopt);
        note(co_await future);
    }

    if (trashDirectory && plan.workingDir) {
        const QString dir = *plan.workingDir;
        auto future = QtConcurrent::run(workers(), &Trash::moveToTrash, dir);
        if (const auto problem = co_await future)
            failures << *problem;
    }

    if (!self)
        co_return;
    // Forgotten whatever the steps above did.
    ProjectRegistry next = m_registry;
    next.forget(plan.project, key);
    setRegistry(next);
    setError(failures.isEmpty() ? std::nullopt : std::optional(failures.join(u'\n')));
    co_await refresh(false);
}
