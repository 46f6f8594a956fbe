#pragma once

#include "engine.h"

#include <QMutex>
#include <QPointer>
#include <QSet>
#include <QWaitCondition>
#include <functional>

// A stream whose output the test (or a picture) writes.
class FakeStream : public EngineStream {
    Q_OBJECT

public:
    explicit FakeStream(QByteArray initial = {}) : m_pending(std::move(initial)) {}

    void start() override;
    void stop() override;
    bool running() const override { return m_running; }
    QByteArray readAll() override { return std::exchange(m_pending, {}); }

    // Output as if the engine wrote it.
    void write(const QByteArray &bytes);
    // The producer ends by itself.
    void end();

private:
    QByteArray m_pending;
    bool m_running = false;
};

// An engine held in memory: it answers from recorded docker output or from state a test
// sets, carries out actions on that state, and can be told to fail with the CLI's own
// message or to hang until released. Safe to call from several threads at once.
class FakeEngine : public Engine {
public:
    // What one runtime's engine holds.
    struct Holdings {
        QList<Container> containers;
        QList<DockerImage> images;
        QList<DockerVolume> volumes;
        QList<DockerNetwork> networks;
        MountMap mounts;
        VolumeLabels labels;
        // A volume's name, an image's or container's id, to the bytes it takes.
        QMap<QString, qint64> sizes;
        QList<DiskUsage::Cache> buildCache;
        // An image's id to the registry digests it was pulled at ("nginx@sha256:…").
        QMap<QString, QStringList> repoDigests = {};
        InsecureRegistries insecure = {};
        // A container's name to its restart policy; "no" where not given.
        QMap<QString, QString> restartPolicies = {};
        friend bool operator==(const Holdings &, const Holdings &) = default;
    };
    // Listing is the containers' listing; Images, Volumes and Networks are those lists'.
    enum class Call { Contexts, Listing, Images, Volumes, Networks, Inspection, Compose, Action, Exec, Probe };

    FakeEngine();
    ~FakeEngine() override;

    // Reads what scripts/record-engine.sh captured from a real engine into dir: ps.jsonl,
    // images.jsonl, volumes.jsonl, networks.json, contexts.jsonl, mounts.txt and volume-labels.jsonl. The
    // listings belong to the runtime the contexts mark current.
    static std::shared_ptr<FakeEngine> replaying(const QString &dir);

    void setRuntimes(const RuntimeList &runtimes);
    void setReachable(const QString &runtimeName, bool reachable);
    // Holdings of the runtime of that name; an unknown name answers with the default's.
    void setHoldings(const Holdings &holdings, const QString &runtimeName = {});
    Holdings holdings(const QString &runtimeName = {}) const;
    void setComposeProject(const QString &dir, const ResolvedProject &project);
    void setComposeCheck(const QString &dir, const ComposeCheck &check);
    // What `compose config` prints for dir; the variables are read from the files there.
    void setResolvedText(const QString &dir, const QString &text);
    // A compose pull gives the image named by reference this id from now on.
    void setNewerImage(const QString &reference, const QString &id);
    // Calls of the kind fail with this message until it is cleared; only for one runtime
    // when a name is given.
    void failWith(Call call, const std::optional<QString> &message, const std::optional<QString> &runtimeName = {});
    // Calls of the kind wait until released.
    void hold(Call call);
    void release(Call call);
    // Only actions of this kind wait, so that the ones before them go through.
    void hold(EngineAction::Kind action);
    void release(EngineAction::Kind action);
    // Every held call and action goes on.
    void releaseAll();
    void setExec(std::function<ExecResult(const QString &containerId, const QString &command)> answer);
    // What every log stream made from now on has written when it starts.
    void setLogOutput(const QByteArray &output);
    // The progress lines an action of the kind prints before it is held or carried out; a
    // backup or restore tells half its volume's size moved.
    void setProgress(EngineAction::Kind kind, const QStringList &lines);

    int calls(Call call) const;
    QList<EngineAction> performed() const;
    // The runtimes last said to be in use.
    QList<Runtime> kept() const;
    // The streams made so far that still exist, newest last.
    QList<FakeStream *> eventStreams() const;
    QList<FakeStream *> logStreams() const;
    // Each usage stream with the containers it was asked for, and how.
    struct UsageAsked {
        FakeStream *stream;
        QStringList ids;
        UsageRead read;
    };
    QList<UsageAsked> usageStreams() const;
    // Writes a line to every running event stream.
    void emitEvent(const QByteArray &line);

    RuntimeList runtimes() const override;
    bool reachable(const RuntimeEntry &entry) const override;
    // As its listing would: no while listings of it fail or wait.
    bool answers(const Runtime &runtime) const override;
    QList<Container> containers(const OptRuntime &runtime) const override;
    QList<DockerImage> images(const OptRuntime &runtime) const override;
    QList<DockerVolume> volumes(const OptRuntime &runtime) const override;
    QList<DockerNetwork> networks(const OptRuntime &runtime) const override;
    // What setDiskUsage gave, else a report made from the holdings with no sizes.
    DiskUsage diskUsage(const OptRuntime &runtime) const override;
    void setDiskUsage(const std::optional<DiskUsage> &usage);
    MountMap volumeMounts(const QStringList &containerNames, const OptRuntime &runtime) const override;
    VolumeLabels volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime) const override;
    std::optional<qint64> volumeSize(const DockerVolume &volume, const OptRuntime &runtime) const override;
    // What setDetails gave for the id (or a prefix of it), else details made from the listed
    // row; none for a container the holdings do not list.
    std::optional<ContainerDetails> containerDetails(const QString &id, const OptRuntime &runtime) const override;
    void setDetails(const QList<ContainerDetails> &details);
    // Likewise for images: given, else made from the listed image.
    std::optional<ImageDetails> imageDetails(const QString &id, const OptRuntime &runtime) const override;
    void setImageDetails(const QList<ImageDetails> &details);
    // Made from the holdings: the volume, its labels and size, the containers mounting it.
    std::optional<VolumeDetails> volumeDetails(const QString &name, const OptRuntime &runtime) const override;
    std::optional<NetworkDetails> networkDetails(const QString &name, const OptRuntime &runtime) const override;
    // The listed images' tags, with the digests the holdings give them.
    ImageOrigins imageOrigins(const QStringList &imageIds, const OptRuntime &runtime) const override;
    RestartReading restartFacts(const QStringList &containerIds, const OptRuntime &runtime, bool askKind = true) const override;
    ComposeCheck checkCompose(const ComposeTarget &target) const override;
    ResolvedProject composeProject(const ComposeTarget &target) const override;
    // The project set for dir, every service kept; its text is compose's YAML when set.
    ResolvedProject composeServices(const ComposeTarget &target) const override;
    ResolvedFile resolvedFile(const ComposeTarget &target) const override;
    using Engine::perform;
    void perform(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const override;
    ExecResult exec(const QString &containerId, const QString &command, const OptRuntime &runtime, Cancel cancel) const override;
    ToolVersion clientVersion() const override;
    ToolVersion composeVersion() const override;
    std::unique_ptr<EngineStream> events(const OptRuntime &runtime) const override;
    std::unique_ptr<EngineStream> logs(const LogSource &source, const OptRuntime &runtime) const override;
    std::unique_ptr<EngineStream> usage(const QStringList &containerIds, const OptRuntime &runtime, UsageRead read) const override;
    void keep(const QList<RuntimeEntry> &inUse) override;
    ShellCommand shell(const QString &containerName, const OptRuntime &runtime) const override;

private:
    // With m_mutex locked; given a cancel flag, fails with "cancelled" once it is set.
    void waitWhile(const std::function<bool()> &held, const Cancel &cancel) const;
    // Counts the call, waits while it is held, throws its failure. Locks m_mutex.
    void enter(Call call, const OptRuntime &runtime, const Cancel &cancel = {}) const;
    QString keyOf(const OptRuntime &runtime) const;
    void apply(const EngineAction &action, Holdings &holdings) const;
    void createServices(const EngineAction &action, Holdings &holdings) const;

    mutable QMutex m_mutex;
    mutable QWaitCondition m_released;
    RuntimeList m_runtimes;
    QMap<QString, bool> m_reachable;
    mutable QMap<QString, Holdings> m_holdings;
    QMap<QString, ResolvedProject> m_projects;
    QMap<QString, ComposeCheck> m_checks;
    QMap<QString, QString> m_resolvedTexts;
    QMap<QString, QString> m_newerImages;
    QMap<std::pair<Call, QString>, QString> m_failures;
    QSet<int> m_held;
    QSet<int> m_heldActions;
    mutable QMap<Call, int> m_calls;
    mutable QList<EngineAction> m_performed;
    QList<Runtime> m_kept;
    std::function<ExecResult(const QString &, const QString &)> m_exec;
    QByteArray m_logOutput;
    QMap<EngineAction::Kind, QStringList> m_progress;
    QList<ContainerDetails> m_details;
    QList<ImageDetails> m_imageDetails;
    std::optional<DiskUsage> m_diskUsage;
    mutable QList<QPointer<FakeStream>> m_eventStreams;
    mutable QList<QPointer<FakeStream>> m_logStreams;
    mutable QList<std::tuple<QPointer<FakeStream>, QStringList, UsageRead>> m_usageStreams;
};
