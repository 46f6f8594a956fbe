#pragma once

#include "composeproject.h"
#include "directorychecks.h"
#include "engine.h"
#include "engineholds.h"
#include "enginestate.h"
#include "enginestore.h"
#include "mergedview.h"
#include "newerimagewatch.h"
#include "restartwatch.h"
#include "failurewatch.h"
#include "longwork.h"
#include "projectmemory.h"
#include "projectservices.h"
#include "servicedefinitions.h"
#include "reclaimplan.h"
#include "refreshscheduler.h"
#include "teardownplan.h"
#include "usagewatch.h"

#include <QCoroTask>
#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <optional>

class QSettings;
class QThreadPool;

// One reading of where one engine's disk goes: the report, its objects named as the
// engine's listings name them, or why there is none.
struct DiskReading {
    std::optional<DiskUsage> usage;
    QString error;
    std::optional<Runtime> runtime = {};
    // The engine's image listing, read with the report: what every image is called.
    QList<DockerImage> images = {};
};

// The one object every view reads and every action goes through. It composes what the
// engine showed (EngineState), when it is read again (RefreshScheduler), which runtime is
// shown (RuntimeSelection), the projects it knows (ProjectMemory) and the shared search
// text. Everything changes on the UI thread; every engine call runs on a worker.
class AppStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)
    Q_PROPERTY(QString notice READ noticeText NOTIFY noticeChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(bool windowVisible READ windowVisible WRITE setWindowVisible NOTIFY windowVisibleChanged)
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int runningCount READ runningCount NOTIFY containersChanged)
    Q_PROPERTY(bool stale READ stale NOTIFY staleChanged)
    Q_PROPERTY(QDateTime waitingSince READ waitingSince NOTIFY staleChanged)
    // Both times move with every poll without a signal; they are read when stale changes.
    Q_PROPERTY(QDateTime listedAt READ listedAt NOTIFY staleChanged)
    Q_PROPERTY(bool showAll READ showAll WRITE setShowAll NOTIFY shownChanged)

public:
    using Timing = PollTiming;

    AppStore(QSettings *defaults, std::shared_ptr<Engine> engine, Timing timing = {}, QObject *parent = nullptr);
    ~AppStore() override;

    const QList<RuntimeEntry> &runtimes() const { return m_state.runtimes(); }
    const std::optional<Runtime> &runtime() const { return m_state.runtime(); }
    // The selected runtime's lists, as its engine shows them.
    const QList<Container> &containers() const { return selected().containers(); }
    const QList<DockerImage> &images() const { return selected().images(); }
    const QList<DockerVolume> &volumes() const { return selected().volumes(); }
    const QList<DockerNetwork> &networks() const { return selected().networks(); }
    // Every engine watched, in the runtime list's order; the selected one always among them.
    const QList<EngineStore *> &engines() const { return m_engines; }
    EngineStore &selected() const;
    // The store of the runtime of that name, if it is watched.
    EngineStore *engineNamed(const QString &name) const;
    // What the window shows: every engine that has answered, or the selected one alone.
    bool showAll() const { return m_showAll; }
    void setShowAll(bool all);
    MergedView shown() const;
    const std::optional<QString> &error() const { return m_state.error(); }
    const std::optional<QString> &notice() const { return m_state.notice(); }
    QString errorText() const { return error().value_or(QString()); }
    QString noticeText() const { return notice().value_or(QString()); }
    bool busy() const { return m_state.busy(); }
    bool windowVisible() const { return m_windowVisible; }
    const QString &filter() const { return m_filter; }
    const ProjectRegistry &registry() const { return m_memory.registry(); }
    // What the disk last showed of the projects' directories.
    const DirectoryMap &directories() const { return m_directories.found(); }
    // The services each project's files define, by directory; read again when they change.
    const ServiceDefinitions &definitions() const { return m_definitions; }
    ServiceDefinitions &definitions() { return m_definitions; }
    // The last pull of each project's images on the selected runtime, by project, until
    // recreated or dismissed.
    QHash<QString, PullSummary> pulls(const QString &engine = {}) const
    {
        return m_pulls.value(engine.isEmpty() ? runtimeKey().value_or(QString()) : engine);
    }
    // The selected runtime's: whether its listing is late, since when, when it last answered.
    bool stale() const { return selected().stale(); }
    QDateTime waitingSince() const { return selected().waitingSince(); }
    QDateTime listedAt() const { return selected().listedAt(); }
    int fetchCount() const { return selected().fetchCount(); }
    const PollTiming &timing() const { return m_timing; }
    EngineEvents &events() { return selected().events(); }
    // Which failures are told: the setting and the muted projects. Each engine's own watch
    // finds them; every one it tells comes out of this one's failed().
    FailureWatch &failures() { return m_failures; }
    // Machine use of the containers a view shows; the window shows, the panel does not.
    UsageWatch &usage() { return selected().usage(); }
    UsageWatch *usageOf(const QString &engine) const;
    // The long actions under way: pulls, compose up, deletions, backups and restores.
    LongWork &work() { return m_work; }
    // Whether the registries hold newer images than the watched engines run.
    NewerImageWatch &newer() { return m_newer; }
    const NewerImageWatch &newer() const { return m_newer; }
    // Which containers will be running once their engine has started again.
    const RestartWatch &restarts() const { return m_restarts; }
    // The runtimes work under way holds, each to the end of that work.
    EngineHolds &holds() { return m_holds; }
    // The selected runtime, held for an operation that begins now.
    OnEngine onSelected() { return m_holds.hold(runtime()); }
    // A row's engine, held for an operation on it; a row of no engine in particular is the
    // selected runtime's.
    OnEngine onEngine(const QString &engine);
    // The runtime of a row's engine; the selected one for a row of no engine in particular.
    std::optional<Runtime> runtimeNamed(const QString &engine) const;
    const RefreshScheduler &scheduler() const { return selected().scheduler(); }
    const std::shared_ptr<Engine> &engine() const { return m_engine; }

    // Runtimes of other machines (ssh://, tcp://) watched beside this machine's, by name;
    // remembered. This machine's are watched whenever they answer.
    QStringList watchedRemotes() const;
    void setWatched(const QString &runtimeName, bool on);

    void setWindowVisible(bool visible);
    // The tray panel counts as shown, as the window does.
    Q_INVOKABLE void setPanelVisible(bool visible);
    void setFilter(const QString &filter);
    Q_INVOKABLE void dismissError();
    Q_INVOKABLE void dismissNotice();
    // A message that arose outside the store, such as a view's add-project answer.
    void reportError(const QString &message);

    // Derived on every read; nothing is cached.
    // Over every engine shown.
    int runningCount() const;
    QList<Container> matchingContainers() const;
    QList<DockerImage> matchingImages() const;
    QList<DockerVolume> matchingVolumes() const;
    QList<DockerNetwork> matchingNetworks() const;
    QList<ComposeProject> projects() const;

    // Lists the runtimes, picks one, and starts the one poll loop. Idempotent.
    Q_INVOKABLE void start();
    QCoro::Task<> loadContexts();
    // A refresh asked for while a listing of the same runtime runs starts no children: one
    // more listing follows the running one, and every caller waiting meanwhile returns
    // after that follow-up has been applied.
    QCoro::Task<> refresh(Listings lists = everyListing);
    // The lists of the engine the operation ran on, when it is watched.
    QCoro::Task<> refreshOn(OnEngine on, Listings lists = everyListing);
    // A refresh the user asked for, of every engine shown: a connection that failed for good
    // is tried once more.
    void refreshAsked();
    void select(const Runtime &runtime);

    void start(const Container &c);
    void stop(const Container &c);
    void restart(const Container &c);
    void pause(const Container &c);
    void unpause(const Container &c);
    void remove(const Container &c);
    void commit(const Container &c, const QString &imageName);
    // On the row's engine; the selected runtime's for none.
    // "Keep running after restarts": the restart policy unless-stopped, on the row's engine.
    QCoro::Task<> keepRunning(Container container);
    void pull(const QString &reference, const QString &engine = {});
    void remove(const DockerImage &image);
    void pruneImages();
    void remove(const DockerVolume &volume);
    void pruneVolumes();
    void remove(const DockerNetwork &network);
    // A volume's content into a .tar file, and back; nothing runs in a container.
    void backUp(const DockerVolume &volume, const QString &file);
    void restore(const DockerVolume &volume, const QString &file);
    // A backup, then the volume's removal only when the backup is whole.
    QCoro::Task<> backUpAndRemove(QString volume, QString file, QString engine = {});

    // Coroutines take their arguments by value: a caller's object may be gone when they resume.
    QCoro::Task<> up(ComposeProject project);
    QCoro::Task<> down(ComposeProject project);
    void startAll(const ComposeProject &project);
    void stopAll(const ComposeProject &project);
    void forget(const ComposeProject &project);
    // One service through compose: ComposeUp, ComposeStart, ComposeStop or ComposeRestart.
    QCoro::Task<> serviceAction(ComposeProject project, EngineAction::Kind kind, QString service);
    // Pulls the images of the services compose turns on, then tells by pulls() which
    // services got a newer one. Stopped, it keeps no summary.
    QCoro::Task<> pullNewer(ComposeProject project);
    // Up for exactly the services the last pull found newer, and nothing they depend on.
    QCoro::Task<> recreate(ComposeProject project);
    Q_INVOKABLE void dismissPull(const QString &project, const QString &engine = {});
    QCoro::Task<std::optional<QString>> addProject(QString dir);
    QCoro::Task<std::optional<QString>> relocate(ComposeProject project, QString dir);

    QCoro::Task<TeardownPlan> teardownPlan(ComposeProject project);
    // Runs the plan's steps under the work id, a Deletion begun by the caller: with a backup
    // folder, every removable volume is backed up first, and a failed backup removes
    // nothing. Stopped, it ends after the step under way. Returns the failed backup's
    // message, if one failed.
    QCoro::Task<std::optional<QString>> deleteProject(TeardownPlan plan, bool trashDirectory, QString backupFolder = {}, int workId = 0);
    // The steps deleteProject runs for the plan.
    static QList<DeletionStep> deletionSteps(const TeardownPlan &plan, bool trashDirectory, const QString &backupFolder);
    // The archive each volume goes to: "shop_data 2026-11-23 1657.tar" in the folder.
    static QString backupFile(const QString &folder, const QString &volume, const QDateTime &at);

    // Where the selected runtime's disk goes; read only when asked, since the engine walks
    // every layer and volume to answer.
    QCoro::Task<DiskReading> readDisk();
    QCoro::Task<DiskReading> readDisk(std::optional<Runtime> runtime);
    // What a reclaim would remove from the reading, on the reading's engine alone, naming
    // images by all their tags.
    static ReclaimPlan reclaimPlan(const DiskReading &read);
    // One step per item of the chosen categories, containers first.
    static QList<DeletionStep> reclaimSteps(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen);
    // Removes exactly the items of the chosen categories, one at a time, each by its id, on
    // the plan's engine, under the work id, a Reclaim begun by the caller. Stopped, it ends
    // the removal under way. Returns the bytes the engine counts as freed, if it tells.
    QCoro::Task<std::optional<qint64>> reclaim(ReclaimPlan plan, QList<ReclaimPlan::Kind> chosen, int workId = 0);

    // Docker children mostly wait, so they get a pool wider than the cores. Everything on it
    // ends at a deadline.
    static QThreadPool *workers();
    // Actions have no deadline, so they wait on threads of their own: the ones a hung engine
    // holds can never keep a listing from a thread.
    static QThreadPool *actionWorkers();

signals:
    void runtimesChanged();
    void runtimeChanged();
    void containersChanged();
    void imagesChanged();
    void volumesChanged();
    void networksChanged();
    void errorChanged();
    void noticeChanged();
    void busyChanged();
    void windowVisibleChanged();
    void filterChanged();
    void registryChanged();
    // Any input of projects() changed: containers, registry, filter or runtime.
    void projectsChanged();
    void staleChanged();
    // Any reading of where an engine's disk goes, whoever asked for it; engine: its
    // runtime's name.
    void diskRead(const DiskUsage &usage, const QString &engine);
    void pullsChanged();
    void watchedChanged();
    // An engine began or ended being watched.
    void enginesChanged();
    void shownChanged();
    // A hand-over away from the selected runtime ended; moved: to another.
    void handOverEnded(bool moved);

private:
    using ErrorSource = EngineState::ErrorSource;

    // To the first other runtime that answers a probe, when the selected one has gone; the
    // one chosen is remembered, and taken back as soon as it answers again.
    QCoro::Task<bool> handOver();
    QCoro::Task<> tryChosen();
    bool detoured() const { return m_chosen && runtime() && *m_chosen != *runtime(); }
    std::optional<QString> runtimeKey() const;
    // Compose run anywhere else would search the parent directories for a file.
    static QCoro::Task<bool> usableDirectory(ComposeProject project);
    void lookAtDirectories();

    // Reads the compose project in dir and keeps it on the selected runtime; with an
    // expected name, only when the directory holds that project.
    QCoro::Task<std::optional<QString>> adopt(QString dir, std::optional<QString> expectedName, QString engine);
    void act(const OnEngine &on, const EngineAction &action);
    // The action on the operation's engine, on an action worker: what went wrong, or nothing.
    QFuture<std::optional<QString>> attempt(const OnEngine &on, const EngineAction &action, Watch watch = {}) const;
    // The image listing of the operation's engine, on a worker; none when it failed.
    QFuture<std::optional<QList<DockerImage>>> listImages(const OnEngine &on) const;
    // A compose action names its project, for what its progress says.
    QCoro::Task<> perform(OnEngine on, EngineAction action, QString project = {});
    // The services the project was last seen with, where it is known.
    QStringList servicesOf(const QString &project, const QString &runtime = {}) const;
    // A listing of a watched engine failed: the selected one hands over, where it may.
    QCoro::Task<bool> engineFailed(EngineStore *store, QString error);
    // One store per watched runtime, made and ended as the list, the selection and the
    // remote switches say.
    void syncEngines();
    EngineStore *makeStore(const std::optional<Runtime> &runtime);
    void engineAnswered(EngineStore *store);
    static QList<RuntimeEntry> withReachability(QList<RuntimeEntry> rows, const QList<RuntimeEntry> &read);

    std::shared_ptr<Engine> m_engine;
    QSettings *m_settings;
    PollTiming m_timing;
    EngineState m_state;
    QList<EngineStore *> m_engines;
    ProjectMemory m_memory;
    DirectoryChecks m_directories;
    FailureWatch m_failures;
    LongWork m_work;
    ServiceDefinitions m_definitions;
    NewerImageWatch m_newer;
    RestartWatch m_restarts;
    // By runtime, then project: a namesake on another engine is another project.
    QHash<QString, QHash<QString, PullSummary>> m_pulls;
    EngineHolds m_holds;
    QString m_filter;
    bool m_started = false;
    // The runtimes are listed: stores made from now on start their loops at once.
    bool m_looping = false;
    bool m_windowVisible = false;
    bool m_panelVisible = false;
    bool m_showAll = true;
    // The runtime whose failed listing set off the hand-over under way; its store may go
    // meanwhile, but the hand-over is still under way.
    std::optional<std::optional<Runtime>> m_handingOverFrom;
    // The runtime the user chose, or the one chosen at launch: a hand-over is a detour from it.
    std::optional<Runtime> m_chosen;
    // While detoured, the chosen runtime is probed at the poll's pace.
    QTimer m_detourProbe;
    // The disk report under way for each runtime, if any.
    QHash<QString, QFuture<DiskReading>> m_diskReadings;
};
