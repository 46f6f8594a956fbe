#pragma once

#include "composeproject.h"
#include "docker.h"
#include "engine.h"
#include "engineevents.h"
#include "projectregistry.h"
#include "teardownplan.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QSettings;
class QThreadPool;
template<typename T> class QPromise;

// How often the store polls (often while the main window shows, rarely otherwise), when
// an unanswered listing counts as stale, and whether engine events trigger refreshes.
struct PollTiming {
    std::chrono::milliseconds visiblePoll{2000};
    std::chrono::milliseconds hiddenPoll{10000};
    std::chrono::milliseconds staleAfter{10000};
    bool followEvents = true;
    EventTiming events{};
    std::function<QDateTime()> clock = &QDateTime::currentDateTime;
};

// The one observable state of the application: the runtimes and the selected one, the
// last fetched containers, images and volumes, the banners, the busy flag, the search text
// and the project registry. Everything changes on the UI thread, each assignment only when
// the value differs, so a poll that finds nothing new emits nothing. Every docker call runs
// on a worker.
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

public:
    using Timing = PollTiming;

    AppStore(QSettings *defaults, std::shared_ptr<Engine> engine, Timing timing = {}, QObject *parent = nullptr);
    ~AppStore() override;

    const QList<RuntimeEntry> &runtimes() const { return m_runtimes; }
    const std::optional<Runtime> &runtime() const { return m_runtime; }
    const QList<Container> &containers() const { return m_containers; }
    const QList<DockerImage> &images() const { return m_images; }
    const QList<DockerVolume> &volumes() const { return m_volumes; }
    const std::optional<QString> &error() const { return m_error; }
    const std::optional<QString> &notice() const { return m_notice; }
    QString errorText() const { return m_error.value_or(QString()); }
    QString noticeText() const { return m_notice.value_or(QString()); }
    bool busy() const { return m_busy; }
    bool windowVisible() const { return m_windowVisible; }
    const QString &filter() const { return m_filter; }
    const ProjectRegistry &registry() const { return m_registry; }
    // A listing of the selected runtime has been outstanding for longer than staleAfter.
    bool stale() const { return m_stale; }
    // When the oldest listing still outstanding started; invalid when none is.
    QDateTime waitingSince() const { return m_waitingSince; }
    // When the selected runtime last answered a listing; invalid before its first answer.
    QDateTime listedAt() const { return m_listedAt; }
    // Listings started since construction, each a set of three children.
    int fetchCount() const { return m_fetchCount; }
    const PollTiming &timing() const { return m_timing; }
    EngineEvents &events() { return m_events; }
    const std::shared_ptr<Engine> &engine() const { return m_engine; }

    void setWindowVisible(bool visible);
    void setFilter(const QString &filter);
    Q_INVOKABLE void dismissError();
    Q_INVOKABLE void dismissNotice();
    // A message that arose outside the store, such as a view's add-project answer.
    void reportError(const QString &message);

    // Derived on every read; nothing is cached.
    int runningCount() const;
    QList<Container> matchingContainers() const;
    QList<DockerImage> matchingImages() const;
    QList<DockerVolume> matchingVolumes() const;
    QList<ComposeProject> projects() const;

    // Lists the runtimes, picks one, and starts the one poll loop. Idempotent.
    Q_INVOKABLE void start();
    QCoro::Task<> loadContexts();
    // A refresh asked for while a listing of the same runtime runs starts no children: one
    // more listing follows the running one, and every caller waiting meanwhile returns
    // after that follow-up has been applied.
    QCoro::Task<> refresh(bool afterHandover = false);
    void select(const Runtime &runtime);

    void start(const Container &c);
    void stop(const Container &c);
    void restart(const Container &c);
    void pause(const Container &c);
    void unpause(const Container &c);
    void remove(const Container &c);
    void commit(const Container &c, const QString &imageName);
    void pull(const QString &reference);
    void remove(const DockerImage &image);
    void pruneImages();
    void remove(const DockerVolume &volume);
    void pruneVolumes();

    // Coroutines take their arguments by value: a caller's object may be gone when they resume.
    QCoro::Task<> up(ComposeProject project);
    void down(const ComposeProject &project);
    void startAll(const ComposeProject &project);
    void stopAll(const ComposeProject &project);
    void forget(const ComposeProject &project);
    QCoro::Task<std::optional<QString>> addProject(QString dir);
    QCoro::Task<std::optional<QString>> relocate(ComposeProject project, QString dir);

    QCoro::Task<TeardownPlan> teardownPlan(ComposeProject project);
    QCoro::Task<> deleteProject(TeardownPlan plan, bool trashDirectory);

    // Docker children mostly wait, so they get a pool wider than the cores.
    static QThreadPool *workers();

signals:
    void runtimesChanged();
    void runtimeChanged();
    void containersChanged();
    void imagesChanged();
    void volumesChanged();
    void errorChanged();
    void noticeChanged();
    void busyChanged();
    void windowVisibleChanged();
    void filterChanged();
    void registryChanged();
    // Any input of projects() changed: containers, registry, filter or runtime.
    void projectsChanged();
    void staleChanged();

private:
    friend class AppStoreTestAccess;

    void setRuntimes(const QList<RuntimeEntry> &runtimes);
    void setRuntime(const std::optional<Runtime> &runtime);
    void setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes);
    // Who set the banner matters: a successful poll clears only what a failed poll set,
    // so an action's failure stays up until the next action or a dismissal.
    enum class ErrorSource { Refresh, Action };
    void setError(const std::optional<QString> &error, ErrorSource source = ErrorSource::Action);
    void setNotice(const std::optional<QString> &notice);
    void setBusy(bool busy);
    void setRegistry(const ProjectRegistry &registry);

    QList<RuntimeEntry> recheckedRuntimes() const;
    bool handOver();
    void remember(const QList<ComposeProject> &projects);
    void rememberIfChanged();
    std::optional<QString> runtimeKey() const;
    bool usableDirectory(const ComposeProject &project) const;

    // Reads the compose project in dir and keeps it on the selected runtime; with an
    // expected name, only when the directory holds that project.
    QCoro::Task<std::optional<QString>> adopt(QString dir, std::optional<QString> expectedName);
    void act(const EngineAction &action);
    QCoro::Task<> perform(EngineAction action);
    QCoro::Task<> pollOnce();
    QCoro::Task<> fetchAndApply(bool afterHandover);
    void listingStarted();
    void listingEnded(bool answered);
    void setStale(bool stale);
    void scheduleNextPoll();

    QSettings *m_defaults;
    std::shared_ptr<Engine> m_engine;
    Timing m_timing;
    QList<RuntimeEntry> m_runtimes;
    std::optional<Runtime> m_runtime;
    QList<Container> m_containers;
    QList<DockerImage> m_images;
    QList<DockerVolume> m_volumes;
    std::optional<QString> m_error;
    ErrorSource m_errorSource = ErrorSource::Action;
    std::optional<QString> m_notice;
    bool m_busy = false;
    bool m_windowVisible = false;
    QString m_filter;
    ProjectRegistry m_registry;
    // What the registry last recorded from; recording again from the same input is skipped.
    QList<Container> m_rememberedContainers;
    std::optional<Runtime> m_rememberedRuntime;
    ProjectRegistry m_rememberedRegistry;
    bool m_haveRemembered = false;
    bool m_started = false;
    QTimer m_pollTimer;

    // The newest listing still running, and the promise of the one that follows it.
    struct InFlight {
        int id = 0;
        std::optional<Runtime> runtime;
        std::shared_ptr<QPromise<void>> followUp;
    };
    std::optional<InFlight> m_inFlight;
    int m_fetchCount = 0;
    bool m_stale = false;
    QDateTime m_waitingSince;
    QDateTime m_listedAt;
    QTimer m_staleTimer;
    EngineEvents m_events;
};
