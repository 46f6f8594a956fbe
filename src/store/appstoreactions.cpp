#include "appstore.h"

#include "worktext.h"

#include <QCoroFuture>
#include <QtConcurrent>

// ---- container, image and volume actions -------------------------------------------------

void AppStore::act(const OnEngine &on, const EngineAction &action)
{
    perform(on, action);
}

// No step asks which runtime is selected: the operation says where it began.
QFuture<std::optional<QString>> AppStore::attempt(const OnEngine &on, const EngineAction &action, Watch watch) const
{
    return QtConcurrent::run(actionWorkers(), [engine = m_engine, action, runtime = on.runtime, watch]() -> std::optional<QString> {
        try {
            engine->perform(action, runtime, watch);
            return std::nullopt;
        } catch (const DockerError &e) {
            return e.message();
        }
    });
}

QFuture<std::optional<QList<DockerImage>>> AppStore::listImages(const OnEngine &on) const
{
    return QtConcurrent::run(workers(), [engine = m_engine, runtime = on.runtime]() -> std::optional<QList<DockerImage>> {
        try {
            return engine->images(runtime);
        } catch (const DockerError &) {
            return std::nullopt;
        }
    });
}

namespace {
std::optional<Work::Kind> longWork(EngineAction::Kind kind)
{
    switch (kind) {
    case EngineAction::Kind::Pull: return Work::Kind::Pull;
    case EngineAction::Kind::ComposeUp:
    case EngineAction::Kind::ComposeRecreate: return Work::Kind::Up;
    case EngineAction::Kind::BackupVolume: return Work::Kind::Backup;
    case EngineAction::Kind::RestoreVolume: return Work::Kind::Restore;
    default: return std::nullopt;
    }
}

QString subjectOf(const EngineAction &action, const QString &project)
{
    if (action.kind == EngineAction::Kind::Pull)
        return action.argument;
    return action.dir ? project : action.targets.value(0);
}
}

QCoro::Task<> AppStore::perform(OnEngine on, EngineAction action, QString project)
{
    QPointer<AppStore> self(this);
    m_state.setBusy(true);
    // Long actions show how far they got and can be stopped.
    const auto kind = longWork(action.kind);
    const int id = kind ? m_work.begin(*kind, subjectOf(action, project)) : 0;
    if (id)
        m_work.update(id, [&](Work &w) { w.engine = on.name(); });
    const Watch watch = kind ? m_work.watch(id, action.dir ? project : QString()) : Watch{};
    // Named before it is awaited: GCC 12 destroys temporaries inside a co_await twice.
    auto future = attempt(on, action, watch);
    const std::optional<QString> failure = co_await future;
    if (!self)
        co_return;
    m_work.settle(id);
    const bool stopped = id && m_work.stopped(id);
    const Work done = id ? *m_work.find(id) : Work{};
    if (id) {
        if (stopped)
            m_state.setNotice(WorkText::stopped(*m_work.find(id), servicesOf(project, on.name())));
        else if (!failure && action.kind == EngineAction::Kind::Pull)
            m_state.setNotice(WorkText::pulled(*m_work.find(id)));
        m_work.end(id);
    }
    m_state.setError(stopped ? std::nullopt : failure);
    if (stopped || action.kind == EngineAction::Kind::Pull) {
        // Said above.
    } else if (!failure && action.kind == EngineAction::Kind::BackupVolume)
        m_state.setNotice(WorkText::backedUp(done, action.argument));
    else if (!failure && action.kind == EngineAction::Kind::RestoreVolume)
        m_state.setNotice(QStringLiteral("Restored %1 from %2").arg(action.targets.value(0), action.argument));
    m_state.setBusy(false);
    // The action may have half succeeded; show what is there now either way.
    co_await refreshOn(on);
}

using Kind = EngineAction::Kind;

void AppStore::start(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Start, {c.id})); }
void AppStore::stop(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Stop, {c.id})); }
void AppStore::restart(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Restart, {c.id})); }
void AppStore::pause(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Pause, {c.id})); }
void AppStore::unpause(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Unpause, {c.id})); }
void AppStore::remove(const Container &c) { act(onEngine(c.engine), EngineAction::on(Kind::Remove, {c.id})); }
QCoro::Task<> AppStore::keepRunning(Container container)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(container.engine);
    auto performing = perform(on, EngineAction::restartPolicy(container.id, QStringLiteral("unless-stopped")));
    co_await performing;
    if (!self)
        co_return;
    if (!self->m_state.error())
        self->m_state.setNotice(QStringLiteral("%1 now comes back after restarts (restart policy unless-stopped)").arg(container.name));
    // Its state did not change, so the listing alone would not read it again.
    for (EngineStore *store : std::as_const(self->m_engines))
        if (store->runtime() == on.runtime)
            self->m_restarts.updated(store, container.id);
}

void AppStore::pull(const QString &reference, const QString &engine) { act(onEngine(engine), EngineAction::pull(reference)); }
void AppStore::remove(const DockerImage &image) { act(onEngine(image.engine), EngineAction::on(Kind::RemoveImage, {image.id})); }
void AppStore::pruneImages() { act(onSelected(), EngineAction::prune(Kind::PruneImages)); }
void AppStore::remove(const DockerVolume &volume) { act(onEngine(volume.engine), EngineAction::on(Kind::RemoveVolume, {volume.name})); }
void AppStore::pruneVolumes() { act(onSelected(), EngineAction::prune(Kind::PruneVolumes)); }
void AppStore::remove(const DockerNetwork &network) { act(onEngine(network.engine), EngineAction::on(Kind::RemoveNetwork, {network.name})); }
void AppStore::backUp(const DockerVolume &volume, const QString &file) { act(onEngine(volume.engine), EngineAction::volumeData(Kind::BackupVolume, volume.name, file)); }
QCoro::Task<> AppStore::backUpAndRemove(QString volume, QString file, QString engine)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(engine);
    m_state.setBusy(true);
    const int id = m_work.begin(Work::Kind::Backup, volume);
    m_work.update(id, [&](Work &w) { w.engine = on.name(); });
    auto backup = attempt(on, EngineAction::volumeData(Kind::BackupVolume, volume, file), m_work.watch(id));
    const std::optional<QString> backupFailure = co_await backup;
    if (!self)
        co_return;
    m_work.settle(id);
    const bool stopped = m_work.stopped(id);
    const Work done = *m_work.find(id);
    if (stopped)
        m_state.setNotice(WorkText::stopped(done) + QStringLiteral(", and nothing was removed"));
    m_work.end(id);
    if (stopped) {
        // Said above.
    } else if (backupFailure) {
        m_state.setError(QStringLiteral("Nothing was removed: the backup of %1 failed: %2").arg(volume, *backupFailure));
    } else {
        auto removal = attempt(on, EngineAction::on(Kind::RemoveVolume, {volume}));
        const std::optional<QString> removalFailure = co_await removal;
        if (!self)
            co_return;
        m_state.setError(removalFailure);
        const QString backedUp = WorkText::backedUp(done, file);
        m_state.setNotice(removalFailure                   ? backedUp
                          : done.moved.leftOut.isEmpty() ? backedUp + QStringLiteral(" and removed it")
                                                         : backedUp + QStringLiteral("; %1 was removed").arg(volume));
    }
    m_state.setBusy(false);
    co_await refreshOn(on);
}

void AppStore::restore(const DockerVolume &volume, const QString &file) { act(onEngine(volume.engine), EngineAction::volumeData(Kind::RestoreVolume, volume.name, file)); }

void AppStore::commit(const Container &c, const QString &imageName)
{
    const QStringView name = Docker::trimBlanks(imageName);
    if (!name.isEmpty())
        act(onEngine(c.engine), EngineAction::commit(c.id, name.toString()));
}

// ---- project actions ---------------------------------------------------------------------

QCoro::Task<bool> AppStore::usableDirectory(ComposeProject project)
{
    co_return project.workingDir && (co_await DirectoryChecks::lookNow(*project.workingDir)).composeFile;
}

QCoro::Task<> AppStore::up(ComposeProject project)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(project.engine);
    if (!co_await usableDirectory(project) || !self)
        co_return;
    m_state.setBusy(true);
    auto future = QtConcurrent::run(workers(), [engine = m_engine, target = ComposeTarget::of(project)] { return engine->checkCompose(target); });
    const ComposeCheck check = co_await future;
    if (!self)
        co_return;
    if (!check.valid) {
        m_state.setError(check.message);
        m_state.setBusy(false);
        co_return;
    }
    m_state.setNotice(check.warning);
    co_await perform(on, EngineAction::compose(Kind::ComposeUp, project), project.name);
}

QCoro::Task<> AppStore::down(ComposeProject project)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(project.engine);
    if (co_await usableDirectory(project) && self)
        co_await perform(on, EngineAction::compose(Kind::ComposeDown, project));
}

namespace {
QStringList ids(const ComposeProject &project)
{
    QStringList list;
    for (const auto &c : project.containers)
        list << c.id;
    return list;
}
}

void AppStore::startAll(const ComposeProject &project) { act(onEngine(project.engine), EngineAction::on(Kind::Start, ids(project))); }
void AppStore::stopAll(const ComposeProject &project) { act(onEngine(project.engine), EngineAction::on(Kind::Stop, ids(project))); }

QStringList AppStore::servicesOf(const QString &project, const QString &runtime) const
{
    for (const KnownProject &known : registry().projects(runtime.isEmpty() ? runtimeKey() : std::optional(runtime))) {
        if (known.name == project)
            return known.services;
    }
    return {};
}

void AppStore::forget(const ComposeProject &project)
{
    m_memory.forget(project.name, project.engine.isEmpty() ? runtimeKey() : std::optional(project.engine));
}

QCoro::Task<> AppStore::serviceAction(ComposeProject project, EngineAction::Kind kind, QString service)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(project.engine);
    if (!co_await usableDirectory(project) || !self)
        co_return;
    const EngineAction action = EngineAction::compose(kind, project, QStringList{service});
    co_await perform(on, action, project.name);
}

QCoro::Task<> AppStore::pullNewer(ComposeProject project)
{
    QPointer<AppStore> self(this);
    const OnEngine on = onEngine(project.engine);
    if (!co_await usableDirectory(project) || !self)
        co_return;
    const QString dir = *project.workingDir;
    m_pulls[on.name()].remove(project.name);
    emit pullsChanged();
    m_state.setBusy(true);
    const int id = m_work.begin(Work::Kind::ProjectPull, project.name);
    m_work.update(id, [&](Work &w) { w.engine = on.name(); });
    // The services compose pulls are those it turns on.
    auto definitions = m_definitions.current(dir);
    const std::optional<ResolvedProject> defined = co_await definitions;
    if (!self)
        co_return;
    // What the engine lists under each image's name before, to tell a newer one after; read
    // from the project's engine, whichever the lists show by then.
    auto listedBefore = listImages(on);
    const QList<DockerImage> before = (co_await listedBefore).value_or(QList<DockerImage>{});
    if (!self)
        co_return;
    auto pull = attempt(on, EngineAction::compose(Kind::ComposePull, project), m_work.watch(id, project.name));
    const std::optional<QString> failure = co_await pull;
    if (!self)
        co_return;
    m_work.settle(id);
    const Work done = *m_work.find(id);
    const bool stopped = m_work.stopped(id);
    m_work.end(id);
    m_state.setBusy(false);
    if (stopped) {
        m_state.setNotice(WorkText::stopped(done));
        co_return;
    }
    auto listedAfter = listImages(on);
    const QList<DockerImage> after = (co_await listedAfter).value_or(QList<DockerImage>{});
    if (!self)
        co_return;
    refreshOn(on, Listing::Images);
    if (failure && !defined) {
        m_state.setError(failure);
        co_return;
    }
    QMap<QString, QString> failed;
    for (const ServiceProgress &s : done.compose.services) {
        if (s.phase == ServiceProgress::Phase::Failed)
            failed.insert(s.service, s.error);
    }
    QList<ServiceDefinition> pulled;
    for (const ServiceDefinition &s : defined ? defined->definitions : QList<ServiceDefinition>{}) {
        if (s.activeWith(defined->activeProfiles))
            pulled.append(s);
    }
    m_state.setError(failure);
    m_pulls[on.name()].insert(project.name, ProjectServices::compare(pulled, before, after, failed));
    emit pullsChanged();
}

QCoro::Task<> AppStore::recreate(ComposeProject project)
{
    const OnEngine on = onEngine(project.engine);
    const QStringList newer = m_pulls.value(on.name()).value(project.name).newer;
    dismissPull(project.name, on.name());
    QPointer<AppStore> self(this);
    if (newer.isEmpty() || !co_await usableDirectory(project) || !self)
        co_return;
    const EngineAction action = EngineAction::compose(Kind::ComposeRecreate, project, newer);
    co_await perform(on, action, project.name);
}

void AppStore::dismissPull(const QString &project, const QString &engine)
{
    if (m_pulls[engine.isEmpty() ? runtimeKey().value_or(QString()) : engine].remove(project))
        emit pullsChanged();
}

namespace {
struct ReadProject {
    std::optional<ResolvedProject> project;
    QString error;
};

ReadProject readProject(const std::shared_ptr<Engine> &engine, const QString &dir)
{
    try {
        return {engine->composeProject(dir), {}};
    } catch (const DockerError &e) {
        return {std::nullopt, e.message()};
    }
}
}

QCoro::Task<std::optional<QString>> AppStore::addProject(QString dir)
{
    return adopt(std::move(dir), std::nullopt, {});
}

QCoro::Task<std::optional<QString>> AppStore::relocate(ComposeProject project, QString dir)
{
    return adopt(std::move(dir), project.name, project.engine);
}

QCoro::Task<std::optional<QString>> AppStore::adopt(QString dir, std::optional<QString> expectedName, QString engine)
{
    if (!runtime())
        co_return QStringLiteral("Choose a runtime first.");
    // Added to the project's own engine, or to the runtime selected when asked, whichever is
    // selected once compose has answered.
    const OnEngine on = onEngine(engine);
    const auto key = std::optional(on.name());
    QPointer<AppStore> self(this);
    auto future = QtConcurrent::run(workers(), readProject, m_engine, dir);
    const ReadProject read = co_await future;
    if (!read.project)
        co_return read.error;
    if (expectedName && read.project->name != *expectedName) {
        co_return QStringLiteral("That directory is compose project “") + read.project->name + QStringLiteral("”, not “")
            + *expectedName + QStringLiteral("”. Up there would create a different project — add it as its own project instead.");
    }
    if (!self)
        co_return std::nullopt;
    m_memory.add({read.project->name, dir, read.project->services}, key);
    co_await refreshOn(on);
    co_return std::nullopt;
}
