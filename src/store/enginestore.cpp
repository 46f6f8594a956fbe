#include "enginestore.h"

#include "listed.h"

#include "appstore.h"
#include "docker.h"

#include <QCoroFuture>
#include <QPointer>
#include <QPromise>
#include <QtConcurrent>

EngineStore::EngineStore(std::shared_ptr<Engine> engine, std::optional<Runtime> runtime, PollTiming timing, QSettings *settings,
                         QObject *parent)
    : QObject(parent), m_engine(engine), m_runtime(std::move(runtime)), m_scheduler(engine, std::move(timing)),
      m_failures(settings), m_usage(engine)
{
    m_failures.setEngine(name());
    connect(&m_scheduler.events(), &EngineEvents::containerChanged, &m_failures, &FailureWatch::see);
    connect(&m_scheduler.events(), &EngineEvents::containerChanged, this, &EngineStore::containerChanged);
    connect(&m_scheduler.events(), &EngineEvents::healthyChanged, this, [this] {
        if (!m_scheduler.events().healthy())
            m_streamGap = true;
    });
    connect(&m_scheduler, &RefreshScheduler::staleChanged, this, &EngineStore::staleChanged);
    connect(&m_scheduler, &RefreshScheduler::pollDue, this, [this] { pollOnce(); });
    connect(&m_scheduler, &RefreshScheduler::changed, this, [this](Listings lists) { refresh(lists); });
    connect(&m_lists, &EngineState::containersChanged, this, &EngineStore::containersChanged);
    connect(&m_lists, &EngineState::imagesChanged, this, &EngineStore::imagesChanged);
    connect(&m_lists, &EngineState::volumesChanged, this, &EngineStore::volumesChanged);
    connect(&m_lists, &EngineState::networksChanged, this, &EngineStore::networksChanged);
}

EngineStore::~EngineStore() = default;

void EngineStore::start()
{
    if (m_started)
        return;
    m_started = true;
    m_scheduler.scheduleNextPoll();
    m_scheduler.follow(m_runtime);
    m_usage.follow(m_runtime);
}

void EngineStore::setWindowVisible(bool visible)
{
    m_scheduler.setWindowVisible(visible);
    m_usage.setShown(visible);
}

void EngineStore::setPanelVisible(bool visible) { m_scheduler.setPanelVisible(visible); }

void EngineStore::setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes,
                           const QList<DockerNetwork> &networks)
{
    m_lists.setLists(containers, images, volumes, networks);
}

void EngineStore::containerChanged(const ContainerChange &change)
{
    using Kind = ContainerChange::Kind;
    if (change.kind == Kind::Updated)
        emit containerUpdated(change.id);
    if (change.kind == Kind::Updated || change.kind == Kind::Killed || change.kind == Kind::Stopped || change.kind == Kind::OutOfMemory || change.kind == Kind::Unhealthy
        || change.kind == Kind::Healthy)
        return;
    m_told.append({m_scheduler.count(), change});
    m_lists.setLists(Docker::withChange(containers(), change), images(), volumes(), networks());
}

QCoro::Task<> EngineStore::pollOnce()
{
    QPointer<EngineStore> self(this);
    co_await refresh(m_scheduler.pollListings());
    if (self)
        self->m_scheduler.scheduleNextPoll();
}

namespace {
struct Fetched {
    QList<Container> containers;
    QList<DockerImage> images;
    QList<DockerVolume> volumes;
    QList<DockerNetwork> networks;
    std::optional<QString> error;
};

// The lists asked for run together; all are awaited, so no child outlives the fetch, and
// the first failure in listing order is the one reported. Lists not asked for keep what
// they held.
Fetched fetch(const std::shared_ptr<Engine> &engine, const std::optional<Runtime> &runtime, Listings lists, Fetched kept)
{
    QFuture<Listed<DockerImage>> images;
    QFuture<Listed<DockerVolume>> volumes;
    QFuture<Listed<DockerNetwork>> networks;
    if (lists & Listing::Images)
        images = listOnWorker<DockerImage>([engine, runtime] { return engine->images(runtime); });
    if (lists & Listing::Volumes)
        volumes = listOnWorker<DockerVolume>([engine, runtime] { return engine->volumes(runtime); });
    if (lists & Listing::Networks)
        networks = listOnWorker<DockerNetwork>([engine, runtime] { return engine->networks(runtime); });
    Fetched f = std::move(kept);
    const auto note = [&f](const QString &error) {
        if (!f.error)
            f.error = error;
    };
    try {
        if (lists & Listing::Containers)
            f.containers = engine->containers(runtime);
    } catch (const DockerError &e) {
        note(e.message());
    }
    const auto take = [&](auto &future, auto &into) {
        const auto listed = future.result();
        if (listed.error)
            note(*listed.error);
        else
            into = listed.rows;
    };
    if (lists & Listing::Images)
        take(images, f.images);
    if (lists & Listing::Volumes)
        take(volumes, f.volumes);
    if (lists & Listing::Networks)
        take(networks, f.networks);
    return f;
}
}

QCoro::Task<> EngineStore::refresh(Listings lists)
{
    if (m_scheduler.listing(m_runtime)) {
        auto followedUp = m_scheduler.followUp(lists);
        co_await followedUp;
        co_return;
    }
    co_await fetchAndApply(lists);
}

QCoro::Task<> EngineStore::fetchAndApply(Listings lists)
{
    QPointer<EngineStore> self(this);
    const auto began = std::chrono::steady_clock::now();
    const int id = m_scheduler.begin(m_runtime);
    auto future = QtConcurrent::run(AppStore::workers(), fetch, m_engine, m_runtime, lists, Fetched{containers(), images(), volumes(), networks(), {}});
    const Fetched fetched = co_await future;
    if (!self)
        co_return;
    // A promise left unkept here (the store gone) is cancelled when released, which wakes
    // its waiters all the same.
    const RefreshScheduler::FollowUp followUp = m_scheduler.end(id);
    if (!fetched.error) {
        // A refusal is no answer: an engine or host that is gone shows as stale, with how long
        // it has been, beside its error. Answered before the lists change, so whoever hears of
        // them counts this engine in.
        m_scheduler.answered(true);
        QList<Container> rows = fetched.containers;
        for (const Told &told : std::as_const(m_told)) {
            if (told.listingsBefore >= id)
                rows = Docker::withChange(std::move(rows), told.change);
        }
        m_told.removeIf([id](const Told &told) { return told.listingsBefore <= id; });
        m_lists.setLists(rows, fetched.images, fetched.volumes, fetched.networks);
        if (lists & Listing::Containers) {
            // Deaths the stream could not tell of are found by comparing listings across its gap.
            const bool gap = std::exchange(m_streamGap, !m_scheduler.eventsHealthy()) || !m_scheduler.eventsHealthy();
            m_failures.listed(rows, gap);
            m_scheduler.events().listed(began);
        }
        m_error.reset();
        if (lists & Listing::Containers)
            emit containersListed();
        emit answeredChanged();
    } else {
        bool dealtWith = false;
        if (m_onFailure) {
            auto handled = m_onFailure(this, *fetched.error);
            dealtWith = co_await handled;
        }
        if (!self)
            co_return;
        if (!dealtWith) {
            m_error = fetched.error;
            emit answeredChanged();
        }
    }
    if (followUp.promise && self) {
        co_await refresh(followUp.lists);
        followUp.promise->finish();
    }
}
