#include "appstore.h"

#include "docker.h"
#include "filters.h"
#include "runtimeselection.h"

#include <QCoroFuture>
#include <QPromise>
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
    : QObject(parent), m_engine(std::move(engine)), m_scheduler(m_engine, std::move(timing)), m_memory(defaults), m_failures(defaults),
      m_usage(m_engine), m_definitions(m_engine)
{
    connect(&m_scheduler.events(), &EngineEvents::containerChanged, &m_failures, &FailureWatch::see);
    // Another engine has not been waited for yet, nor answered: that is settled before
    // anyone hears of the change.
    connect(&m_state, &EngineState::runtimeChanged, &m_scheduler, &RefreshScheduler::forgetWaiting);
    connect(&m_state, &EngineState::runtimesChanged, this, &AppStore::runtimesChanged);
    connect(&m_state, &EngineState::runtimeChanged, this, &AppStore::runtimeChanged);
    connect(&m_state, &EngineState::containersChanged, this, &AppStore::containersChanged);
    connect(&m_state, &EngineState::imagesChanged, this, &AppStore::imagesChanged);
    connect(&m_state, &EngineState::volumesChanged, this, &AppStore::volumesChanged);
    connect(&m_state, &EngineState::networksChanged, this, &AppStore::networksChanged);
    connect(&m_state, &EngineState::errorChanged, this, &AppStore::errorChanged);
    connect(&m_state, &EngineState::noticeChanged, this, &AppStore::noticeChanged);
    connect(&m_state, &EngineState::busyChanged, this, &AppStore::busyChanged);
    connect(&m_memory, &ProjectMemory::changed, this, &AppStore::registryChanged);
    connect(&m_scheduler, &RefreshScheduler::staleChanged, this, &AppStore::staleChanged);
    connect(&m_scheduler, &RefreshScheduler::pollDue, this, [this] { pollOnce(); });
    connect(&m_detourProbe, &QTimer::timeout, this, [this] { tryChosen(); });
    // A remote runtime's connection is kept while it is shown or work runs on it: a change
    // of runtime must not cut a backup half-way.
    const auto keep = [this] {
        QList<RuntimeEntry> inUse;
        for (const RuntimeEntry &entry : runtimes()) {
            // The chosen one too while detoured: it is probed until it answers again.
            if (entry.runtime == runtime() || m_holds.holds(entry.runtime) || (detoured() && entry.runtime == *m_chosen))
                inUse.append(entry);
        }
        m_engine->keep(inUse);
    };
    connect(&m_state, &EngineState::runtimeChanged, this, keep);
    connect(&m_state, &EngineState::runtimesChanged, this, keep);
    connect(&m_holds, &EngineHolds::changed, this, keep);
    connect(&m_scheduler, &RefreshScheduler::changed, this, [this](Listings lists) { refresh(lists); });
    connect(&m_scheduler.events(), &EngineEvents::containerChanged, this, &AppStore::containerChanged);
    connect(&m_state, &EngineState::runtimeChanged, this, [this] {
        m_told.clear();
        m_failures.forgetListing();
    });
    connect(&m_scheduler.events(), &EngineEvents::healthyChanged, this, [this] {
        if (!m_scheduler.events().healthy())
            m_streamGap = true;
    });

    connect(this, &AppStore::containersChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::registryChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::filterChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::runtimeChanged, this, &AppStore::projectsChanged);
    connect(&m_directories, &DirectoryChecks::changed, this, &AppStore::projectsChanged);
    connect(&m_definitions, &ServiceDefinitions::changed, this, &AppStore::projectsChanged);
    // A directory can go while nothing else changes; it is looked at again whenever the
    // projects are, and when the window is shown again.
    connect(this, &AppStore::containersChanged, this, &AppStore::lookAtDirectories);
    connect(this, &AppStore::registryChanged, this, &AppStore::lookAtDirectories);
    connect(this, &AppStore::runtimeChanged, this, &AppStore::lookAtDirectories);
}

AppStore::~AppStore() = default;

void AppStore::setWindowVisible(bool visible)
{
    if (m_scheduler.windowVisible() == visible)
        return;
    m_scheduler.setWindowVisible(visible);
    m_usage.setShown(visible);
    if (visible)
        lookAtDirectories();
    if (m_detourProbe.isActive())
        m_detourProbe.setInterval(visible ? timing().visiblePoll : timing().hiddenPoll);
    emit windowVisibleChanged();
}

void AppStore::setPanelVisible(bool visible)
{
    m_scheduler.setPanelVisible(visible);
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

int AppStore::runningCount() const
{
    return int(std::count_if(containers().cbegin(), containers().cend(), [](const Container &c) { return c.isRunning(); }));
}

QList<Container> AppStore::matchingContainers() const { return Filters::containers(containers(), Filters::query(m_filter)); }
QList<DockerImage> AppStore::matchingImages() const { return Filters::images(images(), Filters::query(m_filter)); }
QList<DockerVolume> AppStore::matchingVolumes() const { return Filters::volumes(volumes(), Filters::query(m_filter)); }
QList<DockerNetwork> AppStore::matchingNetworks() const { return Filters::networks(networks(), Filters::query(m_filter)); }

QList<ComposeProject> AppStore::projects() const
{
    const QString query = Filters::query(m_filter);
    const auto discovered = Docker::group(Filters::containers(containers(), query));
    return Filters::projects(ProjectRegistry::merge(discovered, registry().projects(runtimeKey()), directories()), query);
}

void AppStore::lookAtDirectories()
{
    QStringList dirs;
    for (const Container &c : containers()) {
        if (const auto dir = c.workingDir())
            dirs.append(*dir);
    }
    for (const KnownProject &known : registry().projects(runtimeKey()))
        dirs.append(known.workingDir);
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
    // The loop begins once a runtime is chosen, so no early poll can fill the lists from
    // the CLI's default engine after the chosen one answered.
    [](QPointer<AppStore> self) -> QCoro::Task<> {
        co_await self->loadContexts();
        if (!self)
            co_return;
        self->m_scheduler.scheduleNextPoll();
        // The stream follows the selected runtime wherever a selection or hand-over takes it.
        self->m_scheduler.follow(self->runtime());
        self->m_usage.follow(self->runtime());
        connect(self.data(), &AppStore::runtimeChanged, self.data(), [s = self.data()] {
            s->m_scheduler.follow(s->runtime());
            s->m_usage.follow(s->runtime());
        });
    }(this);
}

QCoro::Task<> AppStore::pollOnce()
{
    QPointer<AppStore> self(this);
    co_await refresh(m_scheduler.pollListings());
    if (self)
        self->m_scheduler.scheduleNextPoll();
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
        m_state.setRuntimes(listed.runtimes.list);
        if (!runtime()) {
            m_state.setRuntime(listed.runtimes.current);
            m_chosen = listed.runtimes.current;
        } else {
            // The selected runtime may have left the list or lost its socket.
            auto moved = handOver();
            co_await moved;
            if (!self)
                co_return;
        }
    }
    co_await refresh();
}

void AppStore::select(const Runtime &runtime)
{
    // Asked for by name: a connection that had failed for good is worth one more try.
    m_engine->retry(runtime);
    m_chosen = runtime;
    m_detourProbe.stop();
    m_state.setRuntime(runtime);
    // Never show one engine's lists under another engine's name.
    m_state.setLists({}, {}, {}, {});
    refresh();
}

// ---- refresh -----------------------------------------------------------------------------

void AppStore::containerChanged(const ContainerChange &change)
{
    using Kind = ContainerChange::Kind;
    if (change.kind == Kind::Killed || change.kind == Kind::Stopped || change.kind == Kind::OutOfMemory || change.kind == Kind::Unhealthy
        || change.kind == Kind::Healthy)
        return;
    m_told.append({m_scheduler.count(), change});
    m_state.setLists(Docker::withChange(containers(), change), images(), volumes(), networks());
}

namespace {
struct Fetched {
    QList<Container> containers;
    QList<DockerImage> images;
    QList<DockerVolume> volumes;
    QList<DockerNetwork> networks;
    QList<RuntimeEntry> runtimes;
    std::optional<QString> error;
};

// The lists asked for run together; all are awaited, so no child outlives the fetch, and
// the first failure in listing order is the one reported. Lists not asked for keep what
// they held. The runtimes' sockets are looked at here too, off the interface thread.
Fetched fetch(const std::shared_ptr<Engine> &engine, const std::optional<Runtime> &runtime, Listings lists, Fetched kept)
{
    QFuture<QList<DockerImage>> images;
    QFuture<QList<DockerVolume>> volumes;
    QFuture<QList<DockerNetwork>> networks;
    if (lists & Listing::Images)
        images = QtConcurrent::run(AppStore::workers(), [engine, runtime] { return engine->images(runtime); });
    if (lists & Listing::Volumes)
        volumes = QtConcurrent::run(AppStore::workers(), [engine, runtime] { return engine->volumes(runtime); });
    if (lists & Listing::Networks)
        networks = QtConcurrent::run(AppStore::workers(), [engine, runtime] { return engine->networks(runtime); });
    Fetched f = std::move(kept);
    const auto note = [&f](const DockerError &e) {
        if (!f.error)
            f.error = e.message();
    };
    try {
        if (lists & Listing::Containers)
            f.containers = engine->containers(runtime);
    } catch (const DockerError &e) {
        note(e);
    }
    try {
        if (lists & Listing::Images)
            f.images = images.result();
    } catch (const DockerError &e) {
        note(e);
    }
    try {
        if (lists & Listing::Volumes)
            f.volumes = volumes.result();
    } catch (const DockerError &e) {
        note(e);
    }
    try {
        if (lists & Listing::Networks)
            f.networks = networks.result();
    } catch (const DockerError &e) {
        note(e);
    }
    f.runtimes = RuntimeSelection::rechecked(*engine, std::move(f.runtimes));
    return f;
}
}

void AppStore::refreshAsked()
{
    if (runtime())
        m_engine->retry(*runtime());
    refresh();
}

QCoro::Task<> AppStore::refresh(Listings lists)
{
    co_await reread(lists, false);
}

QCoro::Task<> AppStore::reread(Listings lists, bool afterHandover)
{
    if (m_scheduler.listing(runtime())) {
        auto followedUp = m_scheduler.followUp(lists);
        co_await followedUp;
        co_return;
    }
    co_await fetchAndApply(lists, afterHandover);
}

QCoro::Task<> AppStore::fetchAndApply(Listings lists, bool afterHandover)
{
    QPointer<AppStore> self(this);
    const std::optional<Runtime> snapshot = runtime();
    const auto began = std::chrono::steady_clock::now();
    const int id = m_scheduler.begin(snapshot);
    auto future = QtConcurrent::run(workers(), fetch, m_engine, snapshot, lists, Fetched{containers(), images(), volumes(), networks(), runtimes(), {}});
    const Fetched fetched = co_await future;
    if (!self)
        co_return;
    // A promise left unkept here (the store gone, the runtime changed) is cancelled when
    // released, which wakes its waiters all the same.
    const RefreshScheduler::FollowUp followUp = m_scheduler.end(id);
    // A result for a runtime no longer selected is dropped; that runtime's own refresh follows.
    if (runtime() != snapshot)
        co_return;
    // A refusal is no answer either: an engine or host that is gone shows as stale, with how
    // long it has been, beside its error.
    if (!fetched.error)
        m_scheduler.answered(true);
    // Rows may have come or gone meanwhile; only the reachability read is new.
    m_state.setRuntimes(withReachability(runtimes(), fetched.runtimes));
    if (!fetched.error) {
        QList<Container> rows = fetched.containers;
        for (const Told &told : std::as_const(m_told)) {
            if (told.listingsBefore >= id)
                rows = Docker::withChange(std::move(rows), told.change);
        }
        m_told.removeIf([id](const Told &told) { return told.listingsBefore <= id; });
        m_state.setLists(rows, fetched.images, fetched.volumes, fetched.networks);
        if (lists & Listing::Containers) {
            // Deaths the stream could not tell of are found by comparing listings across its gap.
            const bool gap = std::exchange(m_streamGap, !m_scheduler.eventsHealthy()) || !m_scheduler.eventsHealthy();
            m_failures.listed(rows, gap);
            m_scheduler.events().listed(began);
        }
        if (m_state.errorSource() == ErrorSource::Refresh)
            m_state.setError(std::nullopt, ErrorSource::Refresh);
        if (lists & Listing::Containers)
            m_memory.record(containers(), runtimeKey(), directories());
    } else if (!afterHandover && co_await handOver() && self) {
        // Never hand over again from the runtime just handed over to.
        co_await reread(everyListing, true);
    } else {
        m_state.setError(fetched.error, ErrorSource::Refresh);
    }
    if (followUp.promise && self) {
        co_await reread(followUp.lists, false);
        followUp.promise->finish();
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
        m_state.setLists({}, {}, {}, {});
        m_state.setError(std::nullopt, ErrorSource::Refresh);
        m_state.setNotice(RuntimeSelection::handedOver(*from, candidate));
        m_detourProbe.setInterval(windowVisible() ? m_scheduler.timing().visiblePoll : m_scheduler.timing().hiddenPoll);
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
    m_state.setLists({}, {}, {}, {});
    m_state.setError(std::nullopt, ErrorSource::Refresh);
    m_state.setNotice(RuntimeSelection::cameBack(chosen, from));
    co_await refresh();
}
