#pragma once

#include "composecheck.h"
#include "composefile.h"
#include "composetarget.h"
#include "container.h"
#include "containerdetails.h"
#include "imagedetails.h"
#include "imageorigins.h"
#include "afterrestart.h"
#include "volumedetails.h"
#include "dockerimage.h"
#include "dockervolume.h"
#include "dockernetwork.h"
#include "diskusage.h"
#include "engineaction.h"
#include "enginestream.h"
#include "logsource.h"
#include "progress.h"
#include "runtime.h"
#include "usage.h"

#include <QList>
#include <QMap>
#include <QProcessEnvironment>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

using OptRuntime = std::optional<Runtime>;
// Set by the caller to end a long operation early; what it started is ended with it.
using Cancel = std::shared_ptr<const std::atomic_bool>;

// How a long action tells how far it got, and how it is stopped. The callbacks run on the
// action's own worker thread as soon as the CLI prints.
struct Watch {
    // Ends the action's child; what it had done stays done. The action then fails with
    // "cancelled".
    Cancel cancel;
    // Each line of the CLI's progress output: a pull's, compose up's.
    std::function<void(const QString &line)> line;
    // A volume's data moved so far, a few times a second.
    std::function<void(const Transferred &moved)> moved;
};

struct RuntimeList {
    QList<RuntimeEntry> list;
    std::optional<Runtime> current;
    friend bool operator==(const RuntimeList &, const RuntimeList &) = default;
};

// A compose project as compose resolves it from a directory.
struct ResolvedProject {
    QString name;
    // Those compose acts on unless told otherwise: the inactive profiles' are left out.
    QStringList services;
    QStringList volumes;
    // Those of the volumes marked external: created and shared outside the project.
    QStringList externalVolumes;
    // Every service the files define, in any profile, sorted by name; read only when asked
    // for every profile.
    QList<ServiceDefinition> definitions = {};
    // The profiles compose turns on by itself, from COMPOSE_PROFILES.
    QStringList activeProfiles = {};
    friend bool operator==(const ResolvedProject &, const ResolvedProject &) = default;
};

// The project's file as compose resolves it, and the variables it draws on.
struct ResolvedFile {
    // `compose config`'s YAML: files merged, variables substituted; or why it failed.
    QString text;
    bool valid = false;
    QList<ComposeVariable> variables;
    // The files as written, before substitution: where each variable is used.
    QString written = {};
    friend bool operator==(const ResolvedFile &, const ResolvedFile &) = default;
};

// Container name to the named volumes it mounts.
using MountMap = QMap<QString, QStringList>;
// Volume name to its labels, for the volumes the engine described.
using VolumeLabels = QMap<QString, QMap<QString, QString>>;

// One command run to its end inside a container: both streams as they interleaved.
struct ExecResult {
    bool started = false;
    QString output;
    int status = -1;
    // Why it could not start.
    QString launchError;
    friend bool operator==(const ExecResult &, const ExecResult &) = default;
};

// What a version probe found: the version, or the reason there is none.
struct ToolVersion {
    std::optional<QString> version;
    QString problem;
    friend bool operator==(const ToolVersion &, const ToolVersion &) = default;
};

// An interactive shell in a container, for a terminal emulator to run.
struct ShellCommand {
    QStringList arguments;
    // Set in the terminal's environment on top of the user's.
    QMap<QString, QString> environment;
    friend bool operator==(const ShellCommand &, const ShellCommand &) = default;
};

// Everything Korvat asks of a container engine. The blocking operations may run on any
// thread, several at once; callers above keep them off the UI thread. Failures are thrown
// as DockerError with the engine's own message, except where a result says otherwise.
class Engine {
public:
    virtual ~Engine() = default;

    virtual RuntimeList runtimes() const = 0;
    // Whether the entry's endpoint can be reached now.
    virtual bool reachable(const RuntimeEntry &entry) const = 0;
    // Whether the runtime's engine answers the client's `version` within a few seconds.
    virtual bool answers(const Runtime &runtime) const = 0;
    virtual QList<Container> containers(const OptRuntime &runtime) const = 0;
    virtual QList<DockerImage> images(const OptRuntime &runtime) const = 0;
    virtual QList<DockerVolume> volumes(const OptRuntime &runtime) const = 0;
    virtual QList<DockerNetwork> networks(const OptRuntime &runtime) const = 0;
    // Where the disk goes (`docker system df -v`). A query: it fails at the deadline.
    virtual DiskUsage diskUsage(const OptRuntime &runtime) const = 0;

    // Never fail: a container or volume the engine no longer has is simply missing.
    virtual MountMap volumeMounts(const QStringList &containerNames, const OptRuntime &runtime) const = 0;
    virtual VolumeLabels volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime) const = 0;
    // Bytes the volume's data takes on disk; none when it cannot be read from here, which
    // is always so for a runtime whose engine runs on another machine.
    virtual std::optional<qint64> volumeSize(const DockerVolume &volume, const OptRuntime &runtime) const = 0;
    // One container as `docker inspect` describes it; none when the engine has no such
    // container. A query: it fails at the deadline.
    virtual std::optional<ContainerDetails> containerDetails(const QString &id, const OptRuntime &runtime) const = 0;
    // One image with its layers (`docker image inspect`, then `docker history`); none when
    // the engine has no such image.
    virtual std::optional<ImageDetails> imageDetails(const QString &id, const OptRuntime &runtime) const = 0;
    // Where the images of these ids came from, and which registries the engine reaches over
    // plain HTTP: image inspect, then info where any came from a registry. An id the engine
    // no longer has is left out.
    virtual ImageOrigins imageOrigins(const QStringList &imageIds, const OptRuntime &runtime) const = 0;
    // What decides whether these containers come back when the engine starts again: container
    // inspect; then, with askKind, version, for whether the engine is Podman. A container the
    // engine no longer has is left out. A query: it fails at the deadline.
    virtual RestartReading restartFacts(const QStringList &containerIds, const OptRuntime &runtime, bool askKind = true) const = 0;
    // One volume with every container that mounts it (`docker volume inspect`, then one
    // listing filtered to it); none when the engine has no such volume.
    virtual std::optional<VolumeDetails> volumeDetails(const QString &name, const OptRuntime &runtime) const = 0;
    // One network (`docker network inspect`); none when the engine has no such network.
    virtual std::optional<NetworkDetails> networkDetails(const QString &name, const OptRuntime &runtime) const = 0;

    // The compose queries read the project from its recorded files where they still exist,
    // else from the directory's own.
    // Never fails: an unusable configuration is an invalid check.
    virtual ComposeCheck checkCompose(const ComposeTarget &target) const = 0;
    virtual ResolvedProject composeProject(const ComposeTarget &target) const = 0;
    // The project with every service its files define, whatever their profile: one
    // `compose config` for all. A query: it fails at the deadline.
    virtual ResolvedProject composeServices(const ComposeTarget &target) const = 0;
    // Never fails: a file compose cannot load is an invalid one, with compose's words.
    virtual ResolvedFile resolvedFile(const ComposeTarget &target) const = 0;

    // Queries (every call but perform and exec) end after a deadline, failing with a message
    // that says so; perform and exec run until they finish or, for exec, are cancelled.
    virtual void perform(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const = 0;
    void perform(const EngineAction &action, const OptRuntime &runtime) const { perform(action, runtime, Watch{}); }
    virtual ExecResult exec(const QString &containerId, const QString &command, const OptRuntime &runtime, Cancel cancel) const = 0;

    virtual ToolVersion clientVersion() const = 0;
    virtual ToolVersion composeVersion() const = 0;

    // Made on the UI thread, not yet started.
    virtual std::unique_ptr<EngineStream> events(const OptRuntime &runtime) const = 0;
    virtual std::unique_ptr<EngineStream> logs(const LogSource &source, const OptRuntime &runtime) const = 0;
    // Readings of these containers' use of the machine, about once a second each or once in
    // all; lines for Docker::readUsage. A container it cannot find ends the stream.
    virtual std::unique_ptr<EngineStream> usage(const QStringList &containerIds, const OptRuntime &runtime, UsageRead read) const = 0;

    virtual ShellCommand shell(const QString &containerName, const OptRuntime &runtime) const = 0;

    // The runtimes in use now, on the interface thread: the one shown and every one that work
    // still runs on. A remote one gets a connection kept for it while it is in use; any kept
    // for a runtime no longer in use is ended.
    virtual void keep(const QList<RuntimeEntry> &inUse) { (void)inUse; }
    // The user asked for the runtime again (selected it, or pressed Refresh): a kept
    // connection that failed for good is tried once more.
    virtual void retry(const Runtime &runtime) { (void)runtime; }
};
