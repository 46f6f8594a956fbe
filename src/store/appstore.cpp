#include "appstore.h"

#include "docker.h"
#include "filters.h"
#include "runtimeselection.h"
#include "settings.h"

#include <QCoroFuture>
#include <QCoroSignal>
#include <QPromise>
#include <QSet>
#include <QThreadPool>
#include <QtConcurrent>

QThreadPool *AppStore::workers()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(16);
        p->setExpiryTimeout(60000);
        return p;
    }();
    return pool;
}

QThreadPool *AppStore::actionWorkers()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(64);
        p->setExpiryTimeout(60000);
        return p;
    }();
    return pool;
}

AppStore::AppStore(QSettings *defaults, std::shared_ptr<Engine> engine, Timing timing, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_settings(defaults), m_timing(std::move(timing)), m_memory(defaults),
      m_failures(defaults), m_definitions(m_engine), m_newer(
          m_engine, defaults, [this] { return m_engines; }, [this](const QString &project) { return m_failures.muted(project); },
          [this](const QString &engine) {
              for (const RuntimeEntry &e : runtimes())
                  if (e.runtime.name == engine)
                      return e.endpoint.startsWith(QLatin1String("unix://"));
              return false;
          }),
      m_restarts(m_engine, [this] { return m_engines; })
{
    if (m_settings)
        m_showAll = Settings::showAllEngines.read(*m_settings);
    // Before any runtime is listed, the CLI's own default is the one shown.
    m_engines.append(makeStore(std::nullopt));
    connect(&m_state, &EngineState::errorChanged, this, &AppStore::errorChanged);
    connect(&m_state, &EngineState::noticeChanged, this, &AppStore::noticeChanged);
    connect(&m_state, &EngineState::busyChanged, this, &AppStore::busyChanged);
    connect(&m_memory, &ProjectMemory::changed, this, &AppStore::registryChanged);
    connect(&m_detourProbe, &QTimer::timeout, this, [this] { tryChosen(); });
    // The stores follow the list, the selection and the switches; each change of the
    // selected one is a change of every list it shows.
    connect(&m_state, &EngineState::runtimesChanged, this, &AppStore::syncEngines);
    // Only once the stores are made does anyone hear of the change.
    connect(&m_state, &EngineState::runtimesChanged, this, &AppStore::runtimesChanged);
    connect(&m_state, &EngineState::runtimeChanged, this, [this] {
        syncEngines();
        emit runtimeChanged();
        emit containersChanged();
        emit imagesChanged();
        emit volumesChanged();
        emit networksChanged();
        emit staleChanged();
    });
    connect(this, &AppStore::watchedChanged, this, &AppStore::syncEngines);
    // A remote runtime's connection is kept while it is watched or work runs on it: a change
    // of runtime must not cut a backup half-way.
    const auto keep = [this] {
        QList<RuntimeEntry> inUse;
        for (const RuntimeEntry &entry : runtimes()) {
            // The chosen one too while detoured: it is probed until it answers again.
            if (engineNamed(entry.runtime.name) || m_holds.holds(entry.runtime) || (detoured() && entry.runtime == *m_chosen))
                inUse.append(entry);
        }
        m_engine->keep(inUse);
    };
    connect(this, &AppStore::enginesChanged, this, keep);
    connect(&m_state, &EngineState::runtimesChanged, this, keep);
    connect(&m_holds, &EngineHolds::changed, this, keep);

    connect(this, &AppStore::containersChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::registryChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::filterChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::runtimeChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::shownChanged, this, &AppStore::projectsChanged);
    connect(&m_directories, &DirectoryChecks::changed, this, &AppStore::projectsChanged);
    connect(&m_definitions, &ServiceDefinitions::changed, this, &AppStore::projectsChanged);
    // A directory can go while nothing else changes; it is looked at again whenever the
    // projects are, and when the window is shown again.
    connect(this, &AppStore::containersChanged, this, &AppStore::lookAtDirectories);
    connect(this, &AppStore::registryChanged, this, &AppStore::lookAtDirectories);
    connect(this, &AppStore::runtimeChanged, this, &AppStore::lookAtDirectories);
}

EngineStore *AppStore::makeStore(const std::optional<Runtime> &runtime)
{
    auto *store = new EngineStore(m_engine, runtime, m_timing, m_settings, this);
    store->setOnFailure([this](EngineStore *s, QString error) { return engineFailed(s, std::move(error)); });
    connect(store, &EngineStore::containersChanged, this, &AppStore::containersChanged);
    connect(store, &EngineStore::imagesChanged, this, &AppStore::imagesChanged);
    connect(store, &EngineStore::imagesChanged, this, [this, store] { m_newer.imagesChanged(store->name()); });
    connect(store, &EngineStore::volumesChanged, this, &AppStore::volumesChanged);
    connect(store, &EngineStore::networksChanged, this, &AppStore::networksChanged);
    connect(store, &EngineStore::staleChanged, this, &AppStore::staleChanged);
    connect(&store->failures(), &FailureWatch::failed, &m_failures, &FailureWatch::failed);
    connect(store, &EngineStore::containersListed, this, [this, store] { m_restarts.listed(store); });
    connect(store, &EngineStore::containerUpdated, this, [this, store](const QString &id) { m_restarts.updated(store, id); });
    connect(store, &EngineStore::containersListed, this, [this, store] {
        m_memory.record(store->containers(), store->runtime() ? std::optional(store->name()) : std::nullopt, directories());
    });
    connect(store, &EngineStore::answeredChanged, this, [this, store] { engineAnswered(store); });
    store->setWindowVisible(m_windowVisible);
    store->setPanelVisible(m_panelVisible);
    return store;
}

EngineStore &AppStore::selected() const
{
    for (EngineStore *store : m_engines) {
        if (store->runtime() == runtime())
            return *store;
    }
    // syncEngines keeps one for the selected runtime; this is never reached.
    Q_ASSERT(false);
    return *m_engines.first();
}

EngineStore *AppStore::engineNamed(const QString &name) const
{
    for (EngineStore *store : m_engines) {
        if (store->runtime() && store->name() == name)
            return store;
    }
    return nullptr;
}

UsageWatch *AppStore::usageOf(const QString &engine) const
{
    EngineStore *store = engine.isEmpty() ? &selected() : engineNamed(engine);
    return store ? &store->usage() : nullptr;
}

void AppStore::syncEngines()
{
    QList<std::optional<Runtime>> wanted;
    QSet<QString> endpoints;
    for (const RuntimeEntry &entry : RuntimeSelection::watched(runtimes(), watchedRemotes(), runtime())) {
        wanted.append(entry.runtime);
        endpoints.insert(entry.endpoint);
    }
    if (runtime() && runtime()->isSocket())
        endpoints.insert(QStringLiteral("unix://") + runtime()->path);
    // An engine of this machine that has answered stays while its runtime is listed: its
    // socket gone, its rows stay with the stale line that says for how long. Never beside
    // a twin that reaches the same endpoint.
    for (const RuntimeEntry &entry : runtimes()) {
        const EngineStore *had = engineNamed(entry.runtime.name);
        if (had && had->answered() && RuntimeSelection::isLocal(entry) && !wanted.contains(entry.runtime) && !endpoints.contains(entry.endpoint)) {
            wanted.append(entry.runtime);
            endpoints.insert(entry.endpoint);
        }
    }
    if (!wanted.contains(runtime()))
        wanted.prepend(runtime());
    QList<EngineStore *> next;
    for (const std::optional<Runtime> &r : std::as_const(wanted)) {
        const auto had = std::find_if(m_engines.cbegin(), m_engines.cend(), [&r](const EngineStore *s) { return s->runtime() == r; });
        next.append(had != m_engines.cend() ? *had : makeStore(r));
    }
    if (next == m_engines)
        return;
    const QList<EngineStore *> before = std::exchange(m_engines, next);
    for (EngineStore *store : before) {
        if (!m_engines.contains(store)) {
            store->disconnect(this);
            if (!engineNamed(store->name()))
                m_restarts.forget(store->name());
            store->deleteLater();
        }
    }
    // Started only once they are in the list: a store may answer at once, and whoever
    // hears of it looks for it there.
    for (EngineStore *store : std::as_const(m_engines)) {
        if (m_looping && !before.contains(store)) {
            store->start();
            // Its rows at once, not a whole poll later.
            store->refresh();
        }
    }
    emit enginesChanged();
    emit containersChanged();
    emit imagesChanged();
    emit volumesChanged();
    emit networksChanged();
}

void AppStore::engineAnswered(EngineStore *store)
{
    if (store != &selected())
        return;
    if (store->error()) {
        m_state.setError(store->error(), ErrorSource::Refresh);
    } else if (m_state.errorSource() == ErrorSource::Refresh) {
        m_state.setError(std::nullopt, ErrorSource::Refresh);
    }
    // The runtimes' sockets are looked at again with each answer of the selected engine,
    // off the interface thread.
    [](QPointer<AppStore> self) -> QCoro::Task<> {
        auto future = QtConcurrent::run(workers(), [engine = self->m_engine, rows = self->runtimes()] {
            return RuntimeSelection::rechecked(*engine, rows);
        });
        const QList<RuntimeEntry> read = co_await future;
        if (self)
            self->m_state.setRuntimes(withReachability(self->runtimes(), read));
    }(this);
}

QCoro::Task<bool> AppStore::engineFailed(EngineStore *store, QString error)
{
    Q_UNUSED(error);
    // Another engine's failure is its own: its rows show it, nothing moves.
    if (store != &selected())
        co_return false;
    QPointer<AppStore> self(this);
    if (m_handingOverFrom) {
        // A listing that failed while the hand-over it set off runs: its outcome is this
        // one's. The listing of the runtime just handed over to fails as itself: never
        // hand over again from there.
        if (*m_handingOverFrom != store->runtime())
            co_return false;
        const bool moved = co_await qCoro(this, &AppStore::handOverEnded);
        co_return self && moved;
    }
    m_handingOverFrom = store->runtime();
    // Whether its socket is still there decides whether to look elsewhere at all.
    auto rechecked = QtConcurrent::run(workers(), [engine = m_engine, rows = runtimes()] { return RuntimeSelection::rechecked(*engine, rows); });
    const QList<RuntimeEntry> read = co_await rechecked;
    if (!self)
        co_return false;
    m_state.setRuntimes(withReachability(runtimes(), read));
    const bool moved = co_await handOver();
    if (!self)
        co_return false;
    if (moved) {
        auto reread = selected().refresh(everyListing);
        co_await reread;
        if (!self)
            co_return false;
    }
    m_handingOverFrom.reset();
    emit handOverEnded(moved);
    co_return moved;
}

void AppStore::setShowAll(bool all)
{
    if (m_showAll == all)
        return;
    m_showAll = all;
    if (m_settings)
        Settings::showAllEngines.write(*m_settings, all);
    emit shownChanged();
    emit containersChanged();
    emit imagesChanged();
    emit volumesChanged();
    emit networksChanged();
}

MergedView AppStore::shown() const
{
    QList<MergedView::Part> parts;
    for (const EngineStore *store : m_engines) {
        const bool isSelected = store->runtime() == runtime();
        if (isSelected || (m_showAll && store->answered()))
            parts.append(MergedView::partOf(*store, registry()));
    }
    return MergedView(parts);
}

std::optional<Runtime> AppStore::runtimeNamed(const QString &engine) const
{
    if (engine.isEmpty())
        return runtime();
    if (const EngineStore *store = engineNamed(engine))
        return store->runtime();
    for (const RuntimeEntry &entry : runtimes()) {
        if (entry.runtime.name == engine)
            return entry.runtime;
    }
    // Never the selected one in its place, which may hold a namesake of the row: the
    // context of that name, which fails with the client's words if it is gone.
    return Runtime::context(engine);
}

OnEngine AppStore::onEngine(const QString &engine)
{
    return m_holds.hold(runtimeNamed(engine));
}

AppStore::~AppStore() = default;

void AppStore::setWindowVisible(bool visible)
{
    if (m_windowVisible == visible)
        return;
    m_windowVisible = visible;
    for (EngineStore *store : std::as_const(m_engines))
        store->setWindowVisible(visible);
    if (visible)
        lookAtDirectories();
    if (m_detourProbe.isActive())
        m_detourProbe.setInterval(visible ? timing().visiblePoll : timing().hiddenPoll);
    emit windowVisibleChanged();
}

QStringList AppStore::watchedRemotes() const
{
    return m_settings ? Settings::watchedRemotes.read(*m_settings) : QStringList();
}

void AppStore::setWatched(const QString &runtimeName, bool on)
{
    QStringList names = watchedRemotes();
    if (names.contains(runtimeName) == on || !m_settings)
        return;
    if (on)
        names.append(runtimeName);
    else
        names.removeAll(runtimeName);
    Settings::watchedRemotes.write(*m_settings, names);
    emit watchedChanged();
}

void AppStore::setPanelVisible(bool visible)
{
    m_panelVisible = visible;
    for (EngineStore *store : std::as_const(m_engines))
        store->setPanelVisible(visible);
}

void AppStore::setFilter(const QString &filter)
{
    if (m_filter == filter)
        return;
    m_filter = filter;
    emit filterChanged();
}

void AppStore::dismissError() { m_state.setError(std::nullopt); }
void AppStore::dismissNotice() { m_state.setNotice(std::nullopt); }
void AppStore::reportError(const QString &message) { m_state.setError(message); }

// ---- derived -----------------------------------------------------------------------------

int AppStore::runningCount() const { return shown().running(); }

QList<Container> AppStore::matchingContainers() const { return shown().containers(Filters::query(m_filter)); }
QList<DockerImage> AppStore::matchingImages() const { return shown().images(Filters::query(m_filter)); }
QList<DockerVolume> AppStore::matchingVolumes() const { return shown().volumes(Filters::query(m_filter)); }
QList<DockerNetwork> AppStore::matchingNetworks() const { return shown().networks(Filters::query(m_filter)); }
QList<ComposeProject> AppStore::projects() const { return shown().projects(directories(), Filters::query(m_filter)); }

void AppStore::lookAtDirectories()
{
    QStringList dirs;
    for (const EngineStore *store : std::as_const(m_engines)) {
        for (const Container &c : store->containers()) {
            if (const auto dir = c.workingDir())
                dirs.append(*dir);
        }
        for (const KnownProject &known : registry().projects(store->runtime() ? std::optional(store->name()) : std::nullopt))
            dirs.append(known.workingDir);
    }
    dirs.removeDuplicates();
    m_directories.look(dirs);
    m_definitions.follow(dirs);
}

std::optional<QString> AppStore::runtimeKey() const
{
    return runtime() ? std::optional(runtime()->name) : std::nullopt;
}

// ---- life and polling --------------------------------------------------------------------

void AppStore::start()
{
    if (m_started)
        return;
    m_started = true;
    // The loops begin once a runtime is chosen, so no early poll can fill the lists from
    // the CLI's default engine after the chosen one answered.
    [](QPointer<AppStore> self) -> QCoro::Task<> {
        co_await self->loadContexts();
        if (!self)
            co_return;
        self->m_looping = true;
        for (EngineStore *store : std::as_const(self->m_engines))
            store->start();
        self->m_newer.start();
    }(this);
}

QCoro::Task<> AppStore::loadContexts()
{
    QPointer<AppStore> self(this);
    struct Listed {
        RuntimeList runtimes;
        bool ok = false;
    };
    auto future = QtConcurrent::run(workers(), [engine = m_engine] {
        try {
            return Listed{engine->runtimes(), true};
        } catch (const DockerError &) {
            return Listed{};
        }
    });
    const Listed listed = co_await future;
    if (!self)
        co_return;
    if (listed.ok) {
        if (!runtime()) {
            // The selection first, so the stores made for the list already know it.
            m_state.setRuntime(listed.runtimes.current);
            m_chosen = listed.runtimes.current;
            m_state.setRuntimes(listed.runtimes.list);
        } else {
            m_state.setRuntimes(listed.runtimes.list);
            // The selected runtime may have left the list or lost its socket.
            auto moved = handOver();
            co_await moved;
            if (!self)
                co_return;
        }
    }
    // Every engine watched is read once before the loops begin; together, so a hung one
    // delays nobody.
    std::vector<QCoro::Task<>> reads;
    for (EngineStore *store : std::as_const(m_engines))
        reads.push_back(store->refresh());
    for (auto &read : reads) {
        co_await read;
    }
}

void AppStore::select(const Runtime &runtime)
{
    // Asked for by name: a connection that had failed for good is worth one more try.
    m_engine->retry(runtime);
    m_chosen = runtime;
    m_detourProbe.stop();
    m_state.setRuntime(runtime);
    refresh();
}

// ---- refresh -----------------------------------------------------------------------------

void AppStore::refreshAsked()
{
    for (EngineStore *store : std::as_const(m_engines)) {
        if (store->runtime())
            m_engine->retry(*store->runtime());
        store->refresh();
    }
}

QCoro::Task<> AppStore::refresh(Listings lists)
{
    // Named, so the store it was begun on is the one awaited, whatever is selected meanwhile.
    auto read = selected().refresh(lists);
    co_await read;
}

QCoro::Task<> AppStore::refreshOn(OnEngine on, Listings lists)
{
    for (EngineStore *store : std::as_const(m_engines)) {
        if (store->runtime() == on.runtime) {
            auto read = store->refresh(lists);
            co_await read;
            co_return;
        }
    }
}

QList<RuntimeEntry> AppStore::withReachability(QList<RuntimeEntry> rows, const QList<RuntimeEntry> &read)
{
    for (auto &row : rows) {
        for (const auto &r : read) {
            if (r.runtime == row.runtime && r.endpoint == row.endpoint)
                row.reachable = r.reachable;
        }
    }
    return rows;
}

QCoro::Task<bool> AppStore::handOver()
{
    QPointer<AppStore> self(this);
    const std::optional<Runtime> from = runtime();
    // A reachable socket or endpoint proves nothing: only an engine that answers is a place
    // to go. The probes run one at a time, in list order, so the first that answers is taken.
    for (const Runtime &candidate : Docker::handoverCandidates(from, runtimes())) {
        auto probe = QtConcurrent::run(workers(), [engine = m_engine, candidate] { return engine->answers(candidate); });
        const bool answered = co_await probe;
        if (!self || runtime() != from)
            co_return false;
        if (!answered)
            continue;
        m_state.setRuntime(candidate);
        m_state.setError(std::nullopt, ErrorSource::Refresh);
        m_state.setNotice(RuntimeSelection::handedOver(*from, candidate));
        m_detourProbe.setInterval(windowVisible() ? m_timing.visiblePoll : m_timing.hiddenPoll);
        m_detourProbe.start();
        co_return true;
    }
    co_return false;
}

QCoro::Task<> AppStore::tryChosen()
{
    if (!detoured())
        co_return;
    QPointer<AppStore> self(this);
    const Runtime chosen = *m_chosen, from = *runtime();
    auto probe = QtConcurrent::run(workers(), [engine = m_engine, chosen] { return engine->answers(chosen); });
    const bool answered = co_await probe;
    if (!self || !answered || m_chosen != chosen || runtime() != from)
        co_return;
    m_detourProbe.stop();
    m_state.setRuntime(chosen);
    m_state.setError(std::nullopt, ErrorSource::Refresh);
    m_state.setNotice(RuntimeSelection::cameBack(chosen, from));
    co_await refresh();
}
