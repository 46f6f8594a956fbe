#pragma once

#include "engine.h"
#include "sshlink.h"

#include <QMutex>
#include <map>

// The engine reached through the docker command-line client: every operation is one docker
// child whose output is parsed. The only code that builds a docker argument list.
class CliEngine : public Engine {
public:
    CliEngine();
    ~CliEngine() override;

    // The arguments that carry out an action, after the runtime prefix.
    static QStringList arguments(const EngineAction &action);
    static QStringList logArguments(const LogSource &source);
    static QStringList eventArguments();

    RuntimeList runtimes() const override;
    bool reachable(const RuntimeEntry &entry) const override;
    bool answers(const Runtime &runtime) const override;
    void keep(const QList<RuntimeEntry> &inUse) override;
    void retry(const Runtime &runtime) override;
    // The connection kept for a remote runtime in use (or one that failed for good, kept
    // idle so that its children fail at once); none for any other. On the interface thread.
    SshLink *link(const QString &context) const;
    QList<Container> containers(const OptRuntime &runtime) const override;
    QList<DockerImage> images(const OptRuntime &runtime) const override;
    QList<DockerVolume> volumes(const OptRuntime &runtime) const override;
    QList<DockerNetwork> networks(const OptRuntime &runtime) const override;
    DiskUsage diskUsage(const OptRuntime &runtime) const override;
    MountMap volumeMounts(const QStringList &containerNames, const OptRuntime &runtime) const override;
    VolumeLabels volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime) const override;
    std::optional<qint64> volumeSize(const DockerVolume &volume, const OptRuntime &runtime) const override;
    std::optional<ContainerDetails> containerDetails(const QString &id, const OptRuntime &runtime) const override;
    std::optional<ImageDetails> imageDetails(const QString &id, const OptRuntime &runtime) const override;
    std::optional<VolumeDetails> volumeDetails(const QString &name, const OptRuntime &runtime) const override;
    std::optional<NetworkDetails> networkDetails(const QString &name, const OptRuntime &runtime) const override;
    ImageOrigins imageOrigins(const QStringList &imageIds, const OptRuntime &runtime) const override;
    RestartReading restartFacts(const QStringList &containerIds, const OptRuntime &runtime, bool askKind = true) const override;
    ComposeCheck checkCompose(const ComposeTarget &target) const override;
    ResolvedProject composeProject(const ComposeTarget &target) const override;
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
    ShellCommand shell(const QString &containerName, const OptRuntime &runtime) const override;

private:
    void moveVolumeData(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const;
    void reclaimImage(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const;

    struct Listings;
    std::unique_ptr<Listings> m_last;
    // Ended on its own thread, whichever thread lets the engine go last.
    struct Later {
        void operator()(QObject *o) const;
    };
    // One per remote context, by its name.
    std::map<QString, std::unique_ptr<SshLink, Later>> m_links;
};
