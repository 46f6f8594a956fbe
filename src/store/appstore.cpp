#include "appstore.h"

#include "filters.h"

#include <QCoroFuture>
#include <QPromise>
#include <QSettings>
#include <QThread>
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

AppStore::AppStore(QSettings *defaults, std::shared_ptr<Engine> engine, Timing timing, QObject *parent)
    : QObject(parent), m_defaults(defaults), m_engine(std::move(engine)), m_timing(std::move(timing)),
      m_registry(ProjectRegistry::load(*defaults)), m_events(m_engine, m_timing.events)
{
    m_pollTimer.setSingleShot(true);
    connect(&m_pollTimer, &QTimer::timeout, this, [this] { pollOnce(); });
    m_staleTimer.setSingleShot(true);
    connect(&m_staleTimer, &QTimer::timeout, this, [this] { setStale(true); });
    connect(&m_events, &EngineEvents::changed, this, [this] { refresh(false); });
    connect(this, &AppStore::containersChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::registryChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::filterChanged, this, &AppStore::projectsChanged);
    connect(this, &AppStore::runtimeChanged, this, &AppStore::projectsChanged);
}

AppStore::~AppStore() = default;

// ---- state -------------------------------------------------------------------------------

void AppStore::setRuntimes(const QList<RuntimeEntry> &runtimes)
{
    if (m_runtimes == runtimes)
        return;
    m_runtimes = runtimes;
    emit runtimesChanged();
}

void AppStore::setRuntime(const std::optional<Runtime> &runtime)
{
    if (m_runtime == runtime)
        return;
    m_runtime = runtime;
    // Another engine has not been waited for yet, nor answered.
    m_waitingSince = {};
    m_listedAt = {};
    m_staleTimer.stop();
    setStale(false);
    emit runtimeChanged();
}

void AppStore::setStale(bool stale)
{
    if (m_stale == stale)
        return;
    m_stale = stale;
    emit staleChanged();
}

void AppStore::listingStarted()
{
    if (m_waitingSince.isValid())
        return;
    m_waitingSince = m_timing.clock();
    m_staleTimer.start(m_timing.staleAfter);
}

void AppStore::listingEnded(bool answered)
{
    m_waitingSince = {};
    m_staleTimer.stop();
    if (answered)
        m_listedAt = m_timing.clock();
    setStale(false);
}

namespace {
// The engine does not keep a stable order among rows it considers equal (images listed
// within one second swap places from one call to the next), so the same rows in another
// order count as no change, and the order already shown stays.
template<typename T, typename Key>
bool sameRows(const QList<T> &shown, const QList<T> &fetched, Key key)
{
    if (shown.size() != fetched.size())
        return false;
    if (shown == fetched)
        return true;
    QList<T> a = shown, b = fetched;
    const auto byKey = [&](const T &x, const T &y) { return key(x) < key(y); };
    std::sort(a.begin(), a.end(), byKey);
    std::sort(b.begin(), b.end(), byKey);
    return a == b;
}
}

void AppStore::setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes)
{
    if (!sameRows(m_containers, containers, [](const Container &c) { return c.id; })) {
        m_containers = containers;
        emit containersChanged();
    }
    if (!sameRows(m_images, images, [](const DockerImage &i) { return std::tie(i.id, i.repository, i.tag); })) {
        m_images = images;
        emit imagesChanged();
    }
    if (!sameRows(m_volumes, volumes, [](const DockerVolume &v) { return v.name; })) {
        m_volumes = volumes;
        emit volumesChanged();
    }
}

void AppStore::setError(const std::optional<QString> &error, ErrorSource source)
{
    m_errorSource = source;
    if (m_error == error)
        return;
    m_error = error;
    emit errorChanged();
}

void AppStore::setNotice(const std::optional<QString> &notice)
{
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

void AppStore::setBusy(bool busy)
{
    if (m_busy == busy)
        return;
    m_busy = busy;
    emit busyChanged();
}

void AppStore::setWindowVisible(bool visible)
{
    if (m_windowVisible == visible)
        return;
    m_windowVisible = visible;
    // A window that opens should not wait out the long menu-bar interval.
    if (visible && m_pollTimer.isActive() && m_pollTimer.remainingTimeAsDuration() > m_timing.visiblePoll)
        m_pollTimer.start(m_timing.visiblePoll);
    emit windowVisibleChanged();
}

void AppStore::setFilter(const QString &filter)
{
    if (m_filter == filter)
        return;
    m_filter = filter;
    emit filterChanged();
}

void AppStore::setRegistry(const ProjectRegistry &registry)
{
    if (m_registry == registry)
        return;
    m_registry = registry;
    m_registry.save(*m_defaults);
    emit registryChanged();
}

void AppStore::dismissError() { setError(std::nullopt); }
void AppStore::dismissNotice() { setNotice(std::nullopt); }
void AppStore::reportError(const QString &message) { setError(message); }

// ---- derived -----------------------------------------------------------------------------

int AppStore::runningCount() const
{
    return int(std::count_if(m_containers.cbegin(), m_containers.cend(), [](const Container &c) { return c.isRunning(); }));
}

QList<Container> AppStore::matchingContainers() const { return Filters::containers(m_containers, Filters::query(m_filter)); }
QList<DockerImage> AppStore::matchingImages() const { return Filters::images(m_images, Filters::query(m_filter)); }
QList<DockerVolume> AppStore::matchingVolumes() const { return Filters::volumes(m_volumes, Filters::query(m_filter)); }

QList<ComposeProject> AppStore::projects() const
{
    const QString query = Filters::query(m_filter);
    const auto discovered = Docker::group(Filters::containers(m_containers, query));
    return Filters::projects(ProjectRegistry::merge(discovered, m_registry.projects(runtimeKey())), query);
}

std::optional<QString> AppStore::runtimeKey() const
{
    return m_runtime ? std::optional(m_runtime->name) : std::nullopt;
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
        self->scheduleNextPoll();
        if (self->m_timing.followEvents) {
            // The stream follows the selected runtime wherever a selection or hand-over takes it.
            self->m_events.follow(self->m_runtime);
            connect(self.data(), &AppStore::runtimeChanged, self.data(), [s = self.data()] { s->m_events.follow(s->m_runtime); });
        }
    }(this);
}

QCoro::Task<> AppStore::pollOnce()
{
    QPointer<AppStore> self(this);
    co_await refresh(false);
    if (self)
        self->scheduleNextPoll();
}

void AppStore::scheduleNextPoll()
{
    m_pollTimer.start(m_windowVisible ? m_timing.visiblePoll : m_timing.hiddenPoll);
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
        setRuntimes(listed.runtimes.list);
        if (!m_runtime) {
            setRuntime(listed.runtimes.current);
        } else {
            // The selected runtime may have left the list or lost its socket.
            handOver();
        }
    }
    co_await refresh(false);
}

void AppStore::select(const Runtime &runtime)
{
    setRuntime(runtime);
    // Never show one engine's lists under another engine's name.
    setLists({}, {}, {});
    refresh(false);
}

// ---- refresh -----------------------------------------------------------------------------

namespace {
struct Fetched {
    QList<Container> containers;
    QList<DockerImage> images;
    QList<DockerVolume> volumes;
    std::optional<QString> error;
};

// The three listings run together; all are awaited, so no child outlives the fetch, and
// the first failure in listing order is the one reported.
Fetched fetchAll(const std::shared_ptr<Engine> &engine, const std::optional<Runtime> &runtime)
{
    auto images = QtConcurrent::run(AppStore::workers(), [engine, runtime] { return engine->images(runtime); });
    auto volumes = QtConcurrent::run(AppStore::workers(), [engine, runtime] { return engine->volumes(runtime); });
    Fetched f;
    try {
        f.containers = engine->containers(runtime);
    } catch (const DockerError &e) {
        f.error = e.message();
    }
    try {
        f.images = images.result();
    } catch (const DockerError &e) {
        if (!f.error)
            f.error = e.message();
    }
    try {
        f.volumes = volumes.result();
    } catch (const DockerError &e) {
        if (!f.error)
            f.error = e.message();
    }
    return f;
}
}

QList<RuntimeEntry> AppStore::recheckedRuntimes() const
{
    QList<RuntimeEntry> rows = m_runtimes;
    for (auto &row : rows)
        row.reachable = m_engine->reachable(row);
    return rows;
}

QCoro::Task<> AppStore::refresh(bool afterHandover)
{
    if (m_inFlight && m_inFlight->runtime == m_runtime) {
        // Children of a hung engine would only pile up behind the running ones.
        if (!m_inFlight->followUp) {
            m_inFlight->followUp = std::make_shared<QPromise<void>>();
            m_inFlight->followUp->start();
        }
        auto followedUp = m_inFlight->followUp->future();
        co_await followedUp;
        co_return;
    }
    co_await fetchAndApply(afterHandover);
}

QCoro::Task<> AppStore::fetchAndApply(bool afterHandover)
{
    QPointer<AppStore> self(this);
    const std::optional<Runtime> snapshot = m_runtime;
    const int id = ++m_fetchCount;
    m_inFlight = InFlight{id, snapshot, nullptr};
    listingStarted();
    auto future = QtConcurrent::run(workers(), fetchAll, m_engine, snapshot);
    const Fetched fetched = co_await future;
    // A promise left unkept here (the store gone, the runtime changed) is cancelled when
    // released, which wakes its waiters all the same.
    std::shared_ptr<QPromise<void>> followUp;
    if (!self)
        co_return;
    if (m_inFlight && m_inFlight->id == id) {
        followUp = std::move(m_inFlight->followUp);
        m_inFlight.reset();
    }
    // A result for a runtime no longer selected is dropped; that runtime's own refresh follows.
    if (m_runtime != snapshot)
        co_return;
    listingEnded(!fetched.error);
    if (!fetched.error) {
        setLists(fetched.containers, fetched.images, fetched.volumes);
        if (m_errorSource == ErrorSource::Refresh)
            setError(std::nullopt, ErrorSource::Refresh);
        setRuntimes(recheckedRuntimes());
        rememberIfChanged();
    } else {
        setRuntimes(recheckedRuntimes());
        // Never hand over when the user switched runtime while this fetch ran.
        if (!afterHandover && handOver()) {
            co_await refresh(true);
        } else {
            setError(fetched.error, ErrorSource::Refresh);
        }
    }
    if (followUp && self) {
        co_await refresh(false);
        followUp->finish();
    }
}

bool AppStore::handOver()
{
    const auto replacement = Docker::handover(m_runtime, m_runtimes);
    if (!replacement)
        return false;
    const QString oldName = m_runtime ? m_runtime->name : QString();
    setRuntime(replacement);
    setLists({}, {}, {});
    setError(std::nullopt, ErrorSource::Refresh);
    setNotice(oldName + QStringLiteral(" is not answering — switched to ") + replacement->name + u'.');
    return true;
}

void AppStore::remember(const QList<ComposeProject> &projects)
{
    ProjectRegistry next = m_registry;
    next.record(projects, runtimeKey());
    // A poll that saw the same projects writes nothing.
    setRegistry(next);
}

void AppStore::rememberIfChanged()
{
    // The lists share data with the last listing, so on a quiet poll these compare in O(1).
    if (m_haveRemembered && m_containers == m_rememberedContainers && m_runtime == m_rememberedRuntime
        && m_registry == m_rememberedRegistry)
        return;
    remember(Docker::group(m_containers));
    m_rememberedContainers = m_containers;
    m_rememberedRuntime = m_runtime;
    m_rememberedRegistry = m_registry;
    m_haveRemembered = true;
}
