#pragma once

#include "engine.h"
#include "enginestate.h"
#include "failurewatch.h"
#include "refreshscheduler.h"
#include "usagewatch.h"

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

class QSettings;

// What one watched engine shows, read on its own: its lists, its poll pace and event stream,
// its stale line, the failures of its containers and their machine use. Each engine has
// one, so an engine that hangs or goes away holds up nobody else's rows; AppStore keeps one
// per watched runtime and MergedView lays their rows side by side.
class EngineStore : public QObject {
    Q_OBJECT

public:
    // Called when a listing fails, before its error is shown: true when it was dealt with
    // (the selected runtime handed over to another), and the error is not this engine's to
    // show any more.
    using OnFailure = std::function<QCoro::Task<bool>(EngineStore *store, QString error)>;

    EngineStore(std::shared_ptr<Engine> engine, std::optional<Runtime> runtime, PollTiming timing, QSettings *settings,
                QObject *parent = nullptr);
    ~EngineStore() override;

    // Never changes: another runtime is another store.
    const std::optional<Runtime> &runtime() const { return m_runtime; }
    // Its name as rows carry it; empty for the CLI's default before any runtime was listed.
    QString name() const { return m_runtime ? m_runtime->name : QString(); }
    const QList<Container> &containers() const { return m_lists.containers(); }
    const QList<DockerImage> &images() const { return m_lists.images(); }
    const QList<DockerVolume> &volumes() const { return m_lists.volumes(); }
    const QList<DockerNetwork> &networks() const { return m_lists.networks(); }
    // The last listing's failure, until one succeeds.
    const std::optional<QString> &error() const { return m_error; }
    // Answered a listing at least once: before that it has nothing to show.
    bool answered() const { return m_scheduler.listedAt().isValid(); }
    bool stale() const { return m_scheduler.stale(); }
    QDateTime waitingSince() const { return m_scheduler.waitingSince(); }
    QDateTime listedAt() const { return m_scheduler.listedAt(); }
    int fetchCount() const { return m_scheduler.count(); }

    RefreshScheduler &scheduler() { return m_scheduler; }
    const RefreshScheduler &scheduler() const { return m_scheduler; }
    EngineEvents &events() { return m_scheduler.events(); }
    FailureWatch &failures() { return m_failures; }
    UsageWatch &usage() { return m_usage; }

    void setOnFailure(OnFailure onFailure) { m_onFailure = std::move(onFailure); }
    // The poll loop, the event stream and the usage readings begin. Idempotent.
    void start();
    void setWindowVisible(bool visible);
    void setPanelVisible(bool visible);
    // One listing of the engine at a time: asked for meanwhile, one more follows the running
    // one, and every caller waiting returns after it.
    QCoro::Task<> refresh(Listings lists = everyListing);
    // Lists as an action left them, ahead of the next listing.
    void setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes,
                  const QList<DockerNetwork> &networks);

signals:
    void containersChanged();
    void imagesChanged();
    void volumesChanged();
    void networksChanged();
    void staleChanged();
    // A listing of the containers came back whole.
    void containersListed();
    // A listing succeeded or failed; error() says which.
    void answeredChanged();
    // The container's settings changed, its restart policy perhaps; by the engine's full id.
    void containerUpdated(const QString &id);

private:
    QCoro::Task<> fetchAndApply(Listings lists);
    QCoro::Task<> pollOnce();
    void containerChanged(const ContainerChange &change);

    std::shared_ptr<Engine> m_engine;
    std::optional<Runtime> m_runtime;
    EngineState m_lists;
    RefreshScheduler m_scheduler;
    FailureWatch m_failures;
    UsageWatch m_usage;
    OnFailure m_onFailure;
    std::optional<QString> m_error;
    bool m_started = false;
    // Changes the event stream told of, each with the number of listings begun before it:
    // the result of a listing begun earlier may not show it yet, and must not undo it.
    struct Told {
        int listingsBefore;
        ContainerChange change;
    };
    QList<Told> m_told;
    // The event stream was down at some time since the last listing of the containers.
    bool m_streamGap = true;
};
