#include "appstore.h"

#include "trash.h"
#include "worktext.h"

#include <QCoroFuture>
#include <QtConcurrent>

QCoro::Task<TeardownPlan> AppStore::teardownPlan(ComposeProject project)
{
    // Planned from the lists of the project's own engine, where its deletion will run. An
    // engine no longer watched has no lists to tell which volumes others use: its plan is
    // empty and belongs to no runtime, so nothing can be deleted from it.
    const EngineStore *store = project.engine.isEmpty() ? &selected() : engineNamed(project.engine);
    if (!store) {
        TeardownPlan none;
        none.project = project.name;
        co_return none;
    }
    const auto runtime = store->runtime();
    const auto containers = store->containers();
    const auto volumes = store->volumes();
    auto future = QtConcurrent::run(workers(), [=, engine = m_engine] { return Teardown::assemble(*engine, project, containers, volumes, runtime); });
    TeardownPlan plan = co_await future;
    plan.runtime = runtime;
    co_return plan;
}

QList<DeletionStep> AppStore::deletionSteps(const TeardownPlan &plan, bool trashDirectory, const QString &backupFolder)
{
    using Step = DeletionStep;
    QList<Step> steps;
    const auto removable = plan.removable();
    if (!backupFolder.isEmpty()) {
        for (const VolumeUse &v : removable)
            steps.append({Step::Kind::Backup, v.name, Step::State::Pending, {}});
    }
    // Containers go before their volumes, which cannot be removed while in use.
    if (plan.workingDir || !plan.containers.isEmpty())
        steps.append({Step::Kind::Containers, plan.project, Step::State::Pending, {}});
    for (const VolumeUse &v : removable)
        steps.append({Step::Kind::Volume, v.name, Step::State::Pending, {}});
    if (trashDirectory && plan.workingDir)
        steps.append({Step::Kind::Directory, *plan.workingDir, Step::State::Pending, {}});
    return steps;
}

QString AppStore::backupFile(const QString &folder, const QString &volume, const QDateTime &at)
{
    return folder + u'/' + volume + at.toString(QStringLiteral(" yyyy-MM-dd HHmm")) + QStringLiteral(".tar");
}

QCoro::Task<std::optional<QString>> AppStore::deleteProject(TeardownPlan plan, bool trashDirectory, QString backupFolder, int workId)
{
    using Step = DeletionStep;
    using Kind = EngineAction::Kind;
    QPointer<AppStore> self(this);
    // The plan was made on one engine, and every step goes there.
    const OnEngine on = m_holds.hold(plan.runtime);
    const auto key = plan.runtime ? std::optional(plan.runtime->name) : std::nullopt;
    const int id = workId ? workId : m_work.begin(Work::Kind::Deletion, plan.project);
    m_work.update(id, [&](Work &w) { w.engine = on.name(); });
    QList<Step> steps = deletionSteps(plan, trashDirectory, backupFolder);
    const auto show = [&] { m_work.update(id, [&](Work &w) { w.steps = steps; }); };
    show();
    const QDateTime at = QDateTime::currentDateTime();
    QStringList failures;
    std::optional<QString> backupProblem;

    // Every future is named before it is awaited: GCC 12 destroys temporaries inside a
    // co_await expression twice.
    for (qsizetype i = 0; i < steps.size(); ++i) {
        // Stopping waits for the step under way: half a removal helps nobody.
        if (m_work.stopped(id) || backupProblem) {
            for (qsizetype j = i; j < steps.size(); ++j)
                steps[j].state = Step::State::Skipped;
            break;
        }
        steps[i].state = Step::State::Running;
        show();
        std::optional<QString> failure;
        const QString subject = steps[i].subject;
        switch (steps[i].kind) {
        case Step::Kind::Backup: {
            // A backup holds nothing half done, so a stop ends it at once.
            auto future = attempt(on, EngineAction::volumeData(Kind::BackupVolume, subject, backupFile(backupFolder, subject, at)), m_work.watch(id));
            failure = co_await future;
            if (failure && self && !m_work.stopped(id))
                backupProblem = QStringLiteral("the backup of %1 failed: %2").arg(subject, *failure);
            break;
        }
        case Step::Kind::Containers: {
            // A directory that now resolves to another project would take that one down instead.
            bool composeDown = false;
            if (plan.workingDir) {
                auto check = QtConcurrent::run(workers(), [engine = m_engine, target = plan.target(), name = plan.project] {
                    return Teardown::composeDownIsOwn(*engine, target, name);
                });
                composeDown = co_await check;
            }
            if (!self)
                co_return std::nullopt;
            if (composeDown || !plan.containers.isEmpty()) {
                auto future = attempt(on, composeDown ? EngineAction::compose(Kind::ComposeDown, plan.target())
                                                      : EngineAction::on(Kind::Remove, plan.containers));
                failure = co_await future;
            }
            break;
        }
        case Step::Kind::Volume: {
            auto future = attempt(on, EngineAction::on(Kind::RemoveVolume, {subject}));
            failure = co_await future;
            break;
        }
        case Step::Kind::Directory: {
            auto future = QtConcurrent::run(actionWorkers(), &Trash::moveToTrash, subject);
            failure = co_await future;
            break;
        }
        // A reclaim's steps; a deletion has none.
        case Step::Kind::Image:
        case Step::Kind::Container:
        case Step::Kind::Cache: break;
        }
        if (!self)
            co_return std::nullopt;
        if (steps[i].kind == Step::Kind::Backup && failure && m_work.stopped(id)) {
            steps[i].state = Step::State::Skipped;
            continue;
        }
        steps[i].state = failure ? Step::State::Failed : Step::State::Done;
        steps[i].failure = failure.value_or(QString());
        if (failure && steps[i].kind != Step::Kind::Backup)
            failures << *failure;
    }
    show();
    const bool stopped = m_work.stopped(id);
    if (stopped)
        m_state.setNotice(WorkText::stopped(*m_work.find(id)));
    m_work.end(id);
    // Forgotten whatever the steps did, once they all ran.
    if (!stopped && !backupProblem) {
        m_memory.forget(plan.project, key);
        m_state.setError(failures.isEmpty() ? std::nullopt : std::optional(failures.join(u'\n')));
    }
    co_await refreshOn(on);
    co_return backupProblem;
}
