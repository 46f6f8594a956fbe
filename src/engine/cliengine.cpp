#include "cliengine.h"
#include "kernelusage.h"

#include "backuparchive.h"
#include "childprocess.h"
#include "docker.h"
#include "dockercli.h"
#include "pipestream.h"
#include "volumesize.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QScopeGuard>
#include <QUuid>
#include <QThread>


namespace {
// How long one removal of a reclaim may take before it counts as stuck.
constexpr std::chrono::minutes reclaimDeadline{5};
}

namespace {

// Most polls print exactly what the last one printed; the bytes tell before any decoding,
// and the list parsed last time is handed out again, sharing its data.
template<typename T>
class LastListing {
public:
    QList<T> parse(const QByteArray &bytes, QList<T> (*parser)(const QString &))
    {
        {
            QMutexLocker lock(&m_mutex);
            if (m_valid && bytes == m_bytes)
                return m_list;
        }
        const QList<T> list = parser(Docker::utf8(bytes));
        QMutexLocker lock(&m_mutex);
        m_bytes = bytes;
        m_list = list;
        m_valid = true;
        return list;
    }

private:
    QMutex m_mutex;
    QByteArray m_bytes;
    QList<T> m_list;
    bool m_valid = false;
};

// A docker child's standard output read as it writes, its errors thrown away. Stopping it
// ends its whole group without waiting for it here.
class ProcessStream : public EngineStream {
public:
    explicit ProcessStream(std::unique_ptr<QProcess> child, std::chrono::milliseconds grace = std::chrono::seconds(3))
        : m_child(std::move(child)), m_grace(grace)
    {
        m_child->setStandardInputFile(QProcess::nullDevice());
        m_child->setStandardErrorFile(QProcess::nullDevice());
        connect(m_child.get(), &QProcess::readyRead, this, &EngineStream::readyRead);
        follow(m_child.get());
    }
    ~ProcessStream() override { stop(); }

    void start() override
    {
        if (m_child && m_child->state() == QProcess::NotRunning)
            m_child->start();
    }
    void stop() override
    {
        if (!m_child || m_child->state() == QProcess::NotRunning)
            return;
        // A stream holds nothing worth a clean exit, but the plugin under compose is given a
        // moment to pass the signal on.
        ChildProcess::endInBackground(std::move(m_child), m_grace);
        emit runningChanged();
    }
    bool running() const override { return m_child && m_child->state() != QProcess::NotRunning; }
    QByteArray readAll() override { return m_child ? m_child->readAll() : QByteArray(); }
    qint64 pid() const override { return m_child ? m_child->processId() : 0; }

private:
    std::unique_ptr<QProcess> m_child;
    std::chrono::milliseconds m_grace;
};

// Whether the helper's mounted volume holds anything, from the head of its archive alone:
// the volume's own directory comes first, and right after it either an entry or the end.
bool volumeEmpty(const QString &helper, const OptRuntime &runtime)
{
    constexpr int block = 512;
    auto child = Docker::process({QStringLiteral("cp"), helper + QStringLiteral(":/volume"), QStringLiteral("-")}, runtime);
    child->setStandardInputFile(QProcess::nullDevice());
    child->start();
    QByteArray head;
    QDeadlineTimer deadline(Docker::Wait::query().deadline.value_or(std::chrono::seconds(60)));
    while (head.size() < 2 * block && !deadline.hasExpired()) {
        if (!child->waitForReadyRead(int(std::max<qint64>(deadline.remainingTime(), 1))))
            break;
        head += child->readAllStandardOutput();
    }
    const bool finished = child->state() == QProcess::NotRunning;
    ChildProcess::kill(*child);
    if (head.size() < 2 * block) {
        if (finished && child->exitCode() != 0)
            throw DockerError(QString::fromUtf8(child->readAllStandardError()).trimmed());
        throw DockerError(QStringLiteral("Could not look into the volume: the engine did not answer"));
    }
    const QByteArray second = head.mid(block, block);
    return std::all_of(second.cbegin(), second.cend(), [](char c) { return c == 0; });
}

QStringList containerArguments(const char *verb, const EngineAction &action)
{
    return QStringList{QString::fromLatin1(verb)} + action.targets;
}

// Whether the paths the runtime's engine reports are paths on this machine's disk: only
// through a unix socket that exists here. A context is asked for its endpoint each time,
// so a context pointed elsewhere since is never read from the disk.
bool onThisMachine(const OptRuntime &runtime)
{
    if (runtime && runtime->isSocket())
        return VolumeSize::onThisMachine(QStringLiteral("unix://") + runtime->path);
    QStringList args{QStringLiteral("context"), QStringLiteral("inspect"), QStringLiteral("--format"), QStringLiteral("{{.Endpoints.docker.Host}}")};
    if (runtime)
        args << runtime->name;
    const auto endpoint = Docker::capture(args);
    return endpoint.status == 0 && VolumeSize::onThisMachine(endpoint.out.trimmed());
}

// Why compose would find no configuration: neither the recorded files are all there nor
// does the directory hold one.
std::optional<QString> missingConfiguration(const ComposeTarget &target)
{
    if (!target.existingFiles().isEmpty() || Docker::composeFile(target.dir))
        return std::nullopt;
    return Docker::missingComposeFileMessage(target.dir);
}

QStringList composeQuery(const ComposeTarget &target, const QStringList &subcommand)
{
    return QStringList{QStringLiteral("compose")} + target.options() + subcommand;
}

// The project named as it was started, then the subcommand, then its services.
QStringList composeArguments(const EngineAction &action, const QStringList &subcommand)
{
    return QStringList{QStringLiteral("compose")} + action.composeTarget().options() + subcommand + action.targets;
}

} // namespace

struct CliEngine::Listings {
    LastListing<Container> containers;
    LastListing<DockerImage> images;
    LastListing<DockerVolume> volumes;
    LastListing<DockerNetwork> networks;
};

CliEngine::CliEngine() : m_last(std::make_unique<Listings>()) {}
CliEngine::~CliEngine() = default;

QStringList CliEngine::arguments(const EngineAction &action)
{
    using Kind = EngineAction::Kind;
    switch (action.kind) {
    case Kind::Start: return containerArguments("start", action);
    case Kind::Stop: return containerArguments("stop", action);
    case Kind::Restart: return containerArguments("restart", action);
    case Kind::Pause: return containerArguments("pause", action);
    case Kind::Unpause: return containerArguments("unpause", action);
    case Kind::Remove: return QStringList{QStringLiteral("rm"), QStringLiteral("-f")} + action.targets;
    case Kind::Commit: return QStringList{QStringLiteral("commit")} + action.targets + QStringList{action.argument};
    case Kind::RestartPolicy: return QStringList{QStringLiteral("update"), QStringLiteral("--restart"), action.argument} + action.targets;
    case Kind::Pull: return {QStringLiteral("pull"), action.argument};
    case Kind::RemoveImage: return containerArguments("rmi", action);
    case Kind::PruneImages: return {QStringLiteral("image"), QStringLiteral("prune"), QStringLiteral("-f")};
    case Kind::RemoveVolume: return QStringList{QStringLiteral("volume"), QStringLiteral("rm")} + action.targets;
    case Kind::PruneVolumes: return {QStringLiteral("volume"), QStringLiteral("prune"), QStringLiteral("-f")};
    case Kind::RemoveNetwork: return QStringList{QStringLiteral("network"), QStringLiteral("rm")} + action.targets;
    // Never forced: a container started since the plan was shown is refused, not killed.
    case Kind::ReclaimContainer: return QStringList{QStringLiteral("rm")} + action.targets.first(1);
    // By the record's exact id: `-a` so a record of any type is taken, the filter so nothing
    // else is, whatever was built since.
    case Kind::ReclaimCache:
        return {QStringLiteral("builder"), QStringLiteral("prune"), QStringLiteral("-a"), QStringLiteral("-f"), QStringLiteral("--filter"),
                QStringLiteral("id=") + action.targets.value(0)};
    case Kind::ReclaimImage: return {};
    // Plain progress: one line per step, as compose prints for a log.
    case Kind::ComposeUp: return composeArguments(action, {"--progress", "plain", "up", "-d"});
    case Kind::ComposeRecreate: return composeArguments(action, {"--progress", "plain", "up", "-d", "--no-deps"});
    case Kind::ComposePull: return composeArguments(action, {"--progress", "plain", "pull", "--ignore-pull-failures", "--ignore-buildable"});
    // The whole project, whatever services were named.
    case Kind::ComposeDown: return QStringList{QStringLiteral("compose")} + action.composeTarget().options() + QStringList{QStringLiteral("down")};
    case Kind::ComposeStart: return composeArguments(action, {"start"});
    case Kind::ComposeStop: return composeArguments(action, {"stop"});
    case Kind::ComposeRestart: return composeArguments(action, {"restart"});
    // Several children: see moveVolumeData.
    case Kind::BackupVolume:
    case Kind::RestoreVolume: return {};
    }
    Q_UNREACHABLE();
}

QStringList CliEngine::logArguments(const LogSource &source)
{
    QStringList args{QStringLiteral("logs"), QStringLiteral("-f"), QStringLiteral("--tail"), QStringLiteral("300")};
    // By its recorded name alone: compose finds its containers by their label, and the
    // stream is made on the interface thread, which does not look at the disk for files.
    if (const auto *p = std::get_if<ComposeProject>(&source.subject))
        args = QStringList{QStringLiteral("compose")} + (p->name.isEmpty() ? QStringList() : QStringList{QStringLiteral("-p"), p->name}) + args;
    if (source.timestamps)
        args << "--timestamps";
    if (const auto *c = std::get_if<Container>(&source.subject))
        args << c->id;
    if (!source.service.isEmpty())
        args << source.service;
    return args;
}

QStringList CliEngine::eventArguments()
{
    return {QStringLiteral("events"), QStringLiteral("--format"), QStringLiteral("json"),
            QStringLiteral("--filter"), QStringLiteral("type=container"),
            QStringLiteral("--filter"), QStringLiteral("type=image"),
            QStringLiteral("--filter"), QStringLiteral("type=volume"),
            QStringLiteral("--filter"), QStringLiteral("type=network")};
}

RuntimeList CliEngine::runtimes() const
{
    return Docker::parseRuntimes(Docker::run({"context", "ls", "--format", "json"}));
}

bool CliEngine::reachable(const RuntimeEntry &entry) const
{
    return Docker::endpointReachable(entry.endpoint);
}

bool CliEngine::answers(const Runtime &runtime) const
{
    // Short: a hand-over waits on it, and an engine that is there answers in milliseconds.
    const Docker::Wait wait{std::chrono::seconds(3), nullptr};
    return Docker::capture({QStringLiteral("version"), QStringLiteral("--format"), QStringLiteral("{{.Server.Version}}")}, runtime, {}, wait).status == 0;
}

void CliEngine::Later::operator()(QObject *o) const
{
    if (o->thread() == QThread::currentThread())
        delete o;
    else
        o->deleteLater();
}

void CliEngine::keep(const QList<RuntimeEntry> &inUse)
{
    QMap<QString, QString> wanted;
    for (const RuntimeEntry &e : inUse) {
        if (!e.runtime.isSocket() && Docker::sshTarget(e.endpoint))
            wanted.insert(e.runtime.name, e.endpoint);
    }
    for (auto it = m_links.begin(); it != m_links.end();) {
        SshLink *link = it->second.get();
        const auto want = wanted.constFind(it->first);
        const bool same = want != wanted.cend() && *want == link->endpoint();
        // Out of use, a link's connection ends; one that failed for good stays, idle, so that
        // its children still fail at once rather than log in on their own.
        if (same || (want == wanted.cend() && link->state() == SshLink::State::Failed)) {
            link->setInUse(same);
            ++it;
        } else {
            it = m_links.erase(it);
        }
    }
    for (auto it = wanted.cbegin(); it != wanted.cend(); ++it) {
        if (!m_links.count(it.key()))
            m_links.emplace(it.key(), std::unique_ptr<SshLink, Later>(new SshLink(it.key(), it.value())));
    }
}

void CliEngine::retry(const Runtime &runtime)
{
    if (SshLink *kept = link(runtime.name); kept && !runtime.isSocket())
        kept->retry();
}

SshLink *CliEngine::link(const QString &context) const
{
    const auto it = m_links.find(context);
    return it == m_links.end() ? nullptr : it->second.get();
}

QList<Container> CliEngine::containers(const OptRuntime &runtime) const
{
    return m_last->containers.parse(Docker::runBytes({"ps", "-a", "--format", "json"}, runtime), &Docker::parseContainers);
}

QList<DockerImage> CliEngine::images(const OptRuntime &runtime) const
{
    return m_last->images.parse(Docker::runBytes({"images", "--format", "json"}, runtime), &Docker::parseImages);
}

QList<DockerVolume> CliEngine::volumes(const OptRuntime &runtime) const
{
    return m_last->volumes.parse(Docker::runBytes({"volume", "ls", "--format", "json"}, runtime), &Docker::parseVolumes);
}

QList<DockerNetwork> CliEngine::networks(const OptRuntime &runtime) const
{
    const QStringList ids = Docker::run({"network", "ls", "-q", "--no-trunc"}, runtime).split(u'\n', Qt::SkipEmptyParts);
    if (ids.isEmpty())
        return {};
    // A network removed between the two commands fails the second, which still describes
    // the others.
    const auto inspected = Docker::capture(QStringList{"network", "inspect"} + ids, runtime);
    if (inspected.status != 0 && !inspected.out.trimmed().startsWith(u'['))
        throw DockerError(inspected.err.trimmed());
    return m_last->networks.parse(inspected.out.toUtf8(), [](const QString &text) { return Docker::parseNetworks(text.toUtf8()); });
}

DiskUsage CliEngine::diskUsage(const OptRuntime &runtime) const
{
    // The engine works out one disk report at a time and turns away a second asked meanwhile,
    // from us or from anyone: that one is asked again after a moment, a few times.
    const auto report = [&](const QStringList &args) {
        for (int attempt = 0;; ++attempt) {
            try {
                return Docker::runBytes(args, runtime);
            } catch (const DockerError &e) {
                if (attempt == 4 || !e.message().contains(QLatin1String("disk usage operation is already running")))
                    throw;
                QThread::msleep(500);
            }
        }
    };
    // The items come only with -v and the totals only without it; a missing total stays unknown.
    DiskUsage usage = Docker::parseDiskUsage(report({"system", "df", "-v", "--format", "json"}));
    try {
        Docker::parseDiskTotals(report({"system", "df", "--format", "json"}), usage);
    } catch (const DockerError &) {
    }
    return usage;
}

MountMap CliEngine::volumeMounts(const QStringList &containerNames, const OptRuntime &runtime) const
{
    if (containerNames.isEmpty())
        return {};
    // The status is not examined: a container that vanished meanwhile fails the command,
    // yet the others are still printed.
    const auto result = Docker::capture(QStringList{"inspect"} + containerNames
                                            + QStringList{"--format", R"({{.Name}}|{{range .Mounts}}{{if eq .Type "volume"}}{{.Name}},{{end}}{{end}})"},
                                        runtime);
    return Docker::parseMounts(result.out);
}

VolumeLabels CliEngine::volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime) const
{
    if (volumeNames.isEmpty())
        return {};
    // As with the mounts, a volume missing from the engine fails the command but the others
    // are still printed; an unlabelled volume then simply proves nothing.
    return Docker::parseVolumeLabels(
        Docker::capture(QStringList{"volume", "inspect", "--format", "{{json .}}"} + volumeNames, runtime).out);
}

std::optional<qint64> CliEngine::volumeSize(const DockerVolume &volume, const OptRuntime &runtime) const
{
    if (volume.mountpoint.isEmpty() || !onThisMachine(runtime))
        return std::nullopt;
    return VolumeSize::allocatedBytes(volume.mountpoint);
}

std::optional<ContainerDetails> CliEngine::containerDetails(const QString &id, const OptRuntime &runtime) const
{
    const auto inspected = Docker::capture({QStringLiteral("inspect"), QStringLiteral("--type"), QStringLiteral("container"), id}, runtime);
    if (inspected.status == 0)
        return Docker::parseContainerDetails(inspected.out.toUtf8());
    // "Error: No such container: …": gone, which is an answer, not a failure.
    if (inspected.status > 0 && inspected.err.contains(QLatin1String("No such")))
        return std::nullopt;
    throw DockerError(inspected.err.trimmed());
}

std::optional<ImageDetails> CliEngine::imageDetails(const QString &id, const OptRuntime &runtime) const
{
    const auto inspected = Docker::capture({QStringLiteral("image"), QStringLiteral("inspect"), id}, runtime);
    if (inspected.status > 0 && inspected.err.contains(QLatin1String("No such")))
        return std::nullopt;
    if (inspected.status != 0)
        throw DockerError(inspected.err.trimmed());
    const QByteArray history = Docker::runBytes({QStringLiteral("history"), QStringLiteral("--no-trunc"), QStringLiteral("--format"), QStringLiteral("json"), id}, runtime);
    return Docker::parseImageDetails(inspected.out.toUtf8(), history);
}

std::optional<VolumeDetails> CliEngine::volumeDetails(const QString &name, const OptRuntime &runtime) const
{
    const auto inspected = Docker::capture({QStringLiteral("volume"), QStringLiteral("inspect"), name}, runtime);
    if (inspected.status > 0 && inspected.err.contains(QLatin1String("no such volume"), Qt::CaseInsensitive))
        return std::nullopt;
    if (inspected.status != 0)
        throw DockerError(inspected.err.trimmed());
    auto details = Docker::parseVolumeDetails(inspected.out.toUtf8());
    if (!details)
        return std::nullopt;
    details->users = Docker::parseContainers(Docker::run({QStringLiteral("ps"), QStringLiteral("-a"), QStringLiteral("--filter"),
                                                          QStringLiteral("volume=") + name, QStringLiteral("--format"), QStringLiteral("json")},
                                                         runtime));
    if (!details->mountpoint.isEmpty() && onThisMachine(runtime))
        details->bytes = VolumeSize::allocatedBytes(details->mountpoint);
    return details;
}

std::optional<NetworkDetails> CliEngine::networkDetails(const QString &name, const OptRuntime &runtime) const
{
    const auto inspected = Docker::capture({QStringLiteral("network"), QStringLiteral("inspect"), name}, runtime);
    if (inspected.status > 0 && inspected.err.contains(QLatin1String("not found"), Qt::CaseInsensitive))
        return std::nullopt;
    if (inspected.status > 0 && inspected.err.contains(QLatin1String("No such"), Qt::CaseInsensitive))
        return std::nullopt;
    if (inspected.status != 0)
        throw DockerError(inspected.err.trimmed());
    return Docker::parseNetworkDetails(inspected.out.toUtf8());
}

ImageOrigins CliEngine::imageOrigins(const QStringList &imageIds, const OptRuntime &runtime) const
{
    ImageOrigins origins;
    if (!imageIds.isEmpty()) {
        // An id removed meanwhile fails the run but not the others' lines.
        const auto inspected = Docker::capture(QStringList{"image", "inspect", "--format", Docker::originFormat()} + imageIds, runtime);
        if (inspected.status != 0 && inspected.out.trimmed().isEmpty())
            throw DockerError(inspected.err.trimmed());
        origins.images = Docker::parseImageOrigins(inspected.out.toUtf8());
    }
    // Images made here are never asked of a registry: no need to know how to reach one.
    // An engine that will not say (some Docker APIs lack it) leaves loopback as the only
    // plain-HTTP way, which is what the engine's defaults allow anyway.
    if (std::any_of(origins.images.cbegin(), origins.images.cend(), [](const ImageOrigin &o) { return !o.repoDigests.isEmpty(); })) {
        const auto info = Docker::capture({"info", "--format", "{{json .RegistryConfig}}"}, runtime);
        if (info.status == 0)
            origins.insecure = Docker::parseInsecureRegistries(info.out.toUtf8());
    }
    return origins;
}

RestartReading CliEngine::restartFacts(const QStringList &containerIds, const OptRuntime &runtime, bool askKind) const
{
    RestartReading reading;
    if (containerIds.isEmpty())
        return reading;
    // A container removed meanwhile fails the run but not the others' lines.
    const auto inspected = Docker::capture(QStringList{"container", "inspect", "--format", Docker::restartFormat()} + containerIds, runtime);
    if (inspected.status != 0 && inspected.out.trimmed().isEmpty())
        throw DockerError(inspected.err.trimmed());
    reading.containers = Docker::parseRestartFacts(inspected.out.toUtf8());
    if (!askKind)
        return reading;
    const auto version = Docker::capture({"version", "--format", "{{range .Server.Components}}{{.Name}}|{{end}}"}, runtime);
    reading.podman = version.status == 0 && version.out.contains(QLatin1String("Podman"));
    return reading;
}

ComposeCheck CliEngine::checkCompose(const ComposeTarget &target) const
{
    if (const auto missing = missingConfiguration(target))
        return ComposeCheck::makeInvalid(*missing);
    // "-q" prints nothing on standard output; what compose has to say is on standard error.
    const auto checked = Docker::capture(composeQuery(target, {"config", "-q"}), std::nullopt, target.dir);
    if (checked.status == -1)
        return ComposeCheck::makeInvalid(checked.err);
    if (checked.status == 0)
        return ComposeCheck::makeValid(Docker::composeWarningSummary(checked.err));
    QString message = Docker::composeMessages(checked.err).join(u'\n');
    if (message.isEmpty())
        message = QStringLiteral("compose config exited %1.").arg(checked.status);
    return ComposeCheck::makeInvalid(message);
}

ResolvedProject CliEngine::composeProject(const ComposeTarget &target) const
{
    if (const auto missing = missingConfiguration(target))
        throw DockerError(*missing);
    return Docker::parseComposeConfig(Docker::run(composeQuery(target, {"config", "--format", "json"}), std::nullopt, target.dir), target.dir);
}

ResolvedProject CliEngine::composeServices(const ComposeTarget &target) const
{
    if (const auto missing = missingConfiguration(target))
        throw DockerError(*missing);
    // Every profile at once: the inactive ones' services are listed too, each with its profiles.
    ResolvedProject project = Docker::parseComposeConfig(
        Docker::run(composeQuery(target, {"--profile", "*", "config", "--format", "json"}), std::nullopt, target.dir), target.dir);
    const auto environment = QProcessEnvironment::systemEnvironment();
    const auto dotEnvValues = Docker::dotEnvIn(target.dir);
    project.activeProfiles = Docker::activeProfiles(environment.contains(QStringLiteral("COMPOSE_PROFILES"))
                                                        ? std::optional(environment.value(QStringLiteral("COMPOSE_PROFILES")))
                                                        : std::nullopt,
                                                    dotEnvValues);
    project.services.clear();
    for (const ServiceDefinition &service : std::as_const(project.definitions)) {
        if (service.activeWith(project.activeProfiles))
            project.services.append(service.name);
    }
    return project;
}

ResolvedFile CliEngine::resolvedFile(const ComposeTarget &target) const
{
    if (const auto missing = missingConfiguration(target))
        return {*missing, false, {}};
    const auto resolved = Docker::capture(composeQuery(target, {"config"}), std::nullopt, target.dir);
    ResolvedFile file{resolved.status == 0 ? resolved.out : Docker::composeMessages(resolved.err).join(u'\n'), resolved.status == 0, {}};
    if (!file.valid && file.text.isEmpty())
        file.text = QStringLiteral("compose config exited %1.").arg(resolved.status);
    QString written;
    const QStringList recorded = target.existingFiles();
    for (const QString &path : recorded.isEmpty() ? Docker::composeFiles(target.dir) : recorded) {
        QFile f(path);
        if (f.open(QIODevice::ReadOnly))
            written += QString::fromUtf8(f.readAll()) + u'\n';
    }
    const auto dotEnvValues = Docker::dotEnvIn(target.dir);
    QMap<QString, QString> environment;
    const auto system = QProcessEnvironment::systemEnvironment();
    for (const QString &key : system.keys())
        environment.insert(key, system.value(key));
    file.variables = Docker::composeVariables(written, environment, dotEnvValues);
    file.written = written;
    return file;
}

void CliEngine::perform(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const
{
    using Kind = EngineAction::Kind;
    switch (action.kind) {
    case Kind::BackupVolume:
    case Kind::RestoreVolume:
        return moveVolumeData(action, runtime, watch);
    case Kind::ReclaimImage:
        return reclaimImage(action, runtime, watch);
    // A reclaim removes one object a step; one the engine cannot remove within minutes is
    // stuck, and the rest of the plan should not wait on it.
    case Kind::ReclaimContainer:
    case Kind::ReclaimCache:
        Docker::run(arguments(action), runtime, action.dir, Docker::Wait{reclaimDeadline, watch.cancel, {}});
        return;
    // A pull draws its byte counts only on a terminal; on a pipe it tells layers alone.
    case Kind::Pull:
        return Docker::follow(arguments(action), runtime, action.dir, watch, true, [](QStringView) { return false; });
    // Compose writes its progress and its failure to standard error alike.
    case Kind::ComposeUp:
    case Kind::ComposeRecreate:
    case Kind::ComposePull:
        return Docker::follow(arguments(action), runtime, action.dir, watch, false, [project = ComposeProgress()](QStringView line) mutable {
            return Docker::readCompose(project, line, QString());
        });
    default:
        Docker::run(arguments(action), runtime, action.dir, Docker::Wait{std::nullopt, watch.cancel, {}});
    }
}

// `docker rmi` takes an image by id only while one name at most points at it, and forcing it
// would take one a container has come to use. So the names are read again and removed one
// by one: the last of them takes the image, unless a container now uses it. A name given
// since the plan was shown is someone's new wish, and keeps the image.
void CliEngine::reclaimImage(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const
{
    const QString id = action.targets.value(0);
    const QStringList planned = action.targets.mid(1);
    const Docker::Wait wait{Docker::Wait::query().deadline, watch.cancel, {}};
    // Each name goes on its own, so one container made since the plan (from any of them)
    // would be left with an image it could no longer be named by: asked right before the
    // first name goes, it keeps them all.
    const QString users = Docker::run({QStringLiteral("ps"), QStringLiteral("-a"), QStringLiteral("-q"), QStringLiteral("--filter"),
                                       QStringLiteral("ancestor=") + id},
                                      runtime, {}, wait);
    if (!users.trimmed().isEmpty())
        throw DockerError(QStringLiteral("Kept: a container uses it now."));
    const QString tags = Docker::run({QStringLiteral("image"), QStringLiteral("inspect"), QStringLiteral("--format"),
                                      QStringLiteral("{{range .RepoTags}}{{.}} {{end}}"), id},
                                     runtime, {}, wait);
    const QStringList names = tags.simplified().split(u' ', Qt::SkipEmptyParts);
    for (const QString &name : names) {
        if (!planned.contains(name))
            throw DockerError(QStringLiteral("Kept: it was named %1 after the plan was made.").arg(name));
    }
    Docker::run(QStringList{QStringLiteral("rmi")} + (names.isEmpty() ? QStringList{id} : names), runtime, {}, Docker::Wait{reclaimDeadline, watch.cancel, {}});
}

// A volume's content moves through a helper container that is created, never started, with
// the volume mounted: `docker cp` streams it as a tar archive between the engine and the
// file, whatever the engine runs on. Any image on the engine will do for the helper, since
// nothing in it runs. A backup is written beside its file and renamed into place when
// whole, so a failed one leaves no partial archive under the chosen name.
void CliEngine::moveVolumeData(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const
{
    const bool backup = action.kind == EngineAction::Kind::BackupVolume;
    const QString volume = action.targets.value(0), file = action.argument;
    const QString partial = file + QStringLiteral(".part");
    const QList<DockerImage> held = images(runtime);
    if (held.isEmpty())
        throw DockerError(QStringLiteral("This engine holds no image to make the helper container from: pull any image "
                                         "(busybox will do) and try again."));
    if (backup) {
        QFile probe(partial);
        if (!probe.open(QIODevice::WriteOnly))
            throw DockerError(QStringLiteral("Cannot write %1: %2").arg(file, probe.errorString()));
    } else if (!QFileInfo(file).isReadable()) {
        throw DockerError(QStringLiteral("Cannot read %1").arg(file));
    }
    // An archive is read before anything changes: one whose entries would land beside the
    // volume rather than in it is refused, not reported as restored.
    const Archive::Placement placement = backup ? Archive::Placement{Archive::Placement::Kind::Root, {}} : Archive::place(Archive::entries(file));
    if (placement.kind == Archive::Placement::Kind::Refused)
        throw DockerError(QStringLiteral("Cannot restore from %1: %2.").arg(QFileInfo(file).fileName(), placement.reason));
    // Whatever happens from here, no helper and no partial archive stay behind.
    const auto leftovers = qScopeGuard([&] { QFile::remove(partial); });
    const QString helper = QStringLiteral("korvat-volume-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
    Docker::run({QStringLiteral("create"), QStringLiteral("--name"), helper, QStringLiteral("--label"), QStringLiteral("org.korvat.helper=volume-data"),
                 QStringLiteral("-v"), volume + QStringLiteral(":/volume"), held.first().id, QStringLiteral("korvat-never-runs")},
                runtime, {}, Docker::Wait::query());
    const auto helperGone = qScopeGuard([&] { Docker::capture({QStringLiteral("rm"), QStringLiteral("-f"), helper}, runtime); });
    // Nothing a volume holds is overwritten: a restore fills only a new or empty one.
    if (!backup && !volumeEmpty(helper, runtime))
        throw DockerError(QStringLiteral("%1 already holds files, and a restore fills only an empty volume, so that nothing is "
                                         "overwritten. Restore into a new or empty volume.").arg(volume));
    if (backup) {
        // The archive is a little larger than the data; the size is what there is to tell.
        qint64 size = 0;
        QStringList leftOut;
        const bool here = onThisMachine(runtime);
        for (const DockerVolume &v : volumes(runtime)) {
            if (here && v.name == volume && !v.mountpoint.isEmpty()) {
                size = VolumeSize::allocatedBytes(v.mountpoint).value_or(0);
                leftOut = VolumeSize::unarchivable(v.mountpoint);
            }
        }
        Watch told = watch;
        if (watch.moved && !leftOut.isEmpty())
            told.moved = [&](Transferred moved) {
                moved.leftOut = leftOut;
                watch.moved(moved);
            };
        Docker::transfer({QStringLiteral("cp"), helper + QStringLiteral(":/volume"), QStringLiteral("-")}, runtime, {}, partial, told, size);
    } else {
        const QString into = helper + (placement.kind == Archive::Placement::Kind::Root ? QStringLiteral(":/") : QStringLiteral(":/volume"));
        Docker::transfer({QStringLiteral("cp"), QStringLiteral("-a"), QStringLiteral("-"), into}, runtime, file, {}, watch, QFileInfo(file).size());
        if (volumeEmpty(helper, runtime))
            throw DockerError(QStringLiteral("The engine took %1 but %2 is still empty.").arg(QFileInfo(file).fileName(), volume));
    }
    if (backup && ((QFile::exists(file) && !QFile::remove(file)) || !QFile::rename(partial, file)))
        throw DockerError(QStringLiteral("Cannot write %1").arg(file));
}

ExecResult CliEngine::exec(const QString &containerId, const QString &command, const OptRuntime &runtime, Cancel cancel) const
{
    auto child = Docker::process({"exec", containerId, "sh", "-c", command}, runtime);
    child->setProcessChannelMode(QProcess::MergedChannels);
    const auto ended = Docker::runToEnd(*child, {std::nullopt, std::move(cancel)});
    if (ended == Docker::Ended::NotStarted)
        return {false, {}, -1, child->errorString()};
    return {true, Docker::utf8(child->readAll()), child->exitCode(), {}};
}

ToolVersion CliEngine::clientVersion() const
{
    const auto client = Docker::capture({"version", "--format", "{{.Client.Version}}"});
    const QString version = client.out.trimmed();
    if (version.isEmpty())
        return {std::nullopt, client.err.trimmed()};
    return {version, {}};
}

ToolVersion CliEngine::composeVersion() const
{
    const auto plugin = Docker::capture({"compose", "version", "--short"});
    if (plugin.status != 0)
        return {std::nullopt, plugin.err.trimmed()};
    return {plugin.out.trimmed(), {}};
}

std::unique_ptr<EngineStream> CliEngine::events(const OptRuntime &runtime) const
{
    return std::make_unique<ProcessStream>(Docker::process(eventArguments(), runtime));
}

std::unique_ptr<EngineStream> CliEngine::logs(const LogSource &source, const OptRuntime &runtime) const
{
    // A log may flood: read off the interface thread and kept to its newest lines.
    return std::make_unique<PipeStream>(Docker::process(logArguments(source), runtime, source.workingDir()));
}

namespace {
// Where the counters of these containers are, when their engine runs on this machine and
// every one of them can be read here.
std::optional<KernelUsageStream::Found> locateGroups(const QStringList &containerIds, const OptRuntime &runtime)
{
    if (containerIds.isEmpty() || !onThisMachine(runtime))
        return std::nullopt;
    const auto inspected = Docker::capture(QStringList{QStringLiteral("inspect"), QStringLiteral("--type"), QStringLiteral("container"),
                                                       QStringLiteral("--format"), QStringLiteral("{{.Id}} {{.State.Pid}}")}
                                               + containerIds,
                                           runtime, {}, Docker::Wait{std::chrono::seconds(5), nullptr, {}});
    const QStringList lines = inspected.out.split(u'\n', Qt::SkipEmptyParts);
    if (inspected.status != 0 || lines.size() != containerIds.size())
        return std::nullopt;
    KernelUsageStream::Found found;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QStringList words = lines.at(i).split(u' ', Qt::SkipEmptyParts);
        const qint64 pid = words.value(1).toLongLong();
        if (words.size() != 2 || pid <= 0)
            return std::nullopt;
        QFile groups(QStringLiteral("/proc/%1/cgroup").arg(pid));
        const QByteArray text = groups.open(QIODevice::ReadOnly) ? groups.readAll() : QByteArray();
        // A process of this number that is not the container's (its engine sees other
        // processes: another machine's, or a VM's) names another group.
        if (!text.contains(words.at(0).toLatin1()))
            return std::nullopt;
        const auto paths = Cgroup::paths(text);
        if (!paths)
            return std::nullopt;
        found.groups.append({containerIds.at(i), *paths});
    }
    QFile meminfo(QStringLiteral("/proc/meminfo"));
    if (meminfo.open(QIODevice::ReadOnly)) {
        // "MemTotal:       24568432 kB"
        const QList<QByteArray> first = meminfo.readLine().simplified().split(' ');
        if (first.size() == 3 && first.at(0) == "MemTotal:")
            found.machineMemory = first.at(1).toLongLong() * 1024;
    }
    return found;
}
}

std::unique_ptr<EngineStream> CliEngine::usage(const QStringList &containerIds, const OptRuntime &runtime, UsageRead read) const
{
    const auto engineStats = [containerIds, runtime, read]() -> std::unique_ptr<EngineStream> {
        QStringList arguments{QStringLiteral("stats"), QStringLiteral("--format"), QStringLiteral("json")};
        if (read == UsageRead::Once)
            arguments << QStringLiteral("--no-stream");
        auto child = Docker::process(arguments + containerIds, runtime);
        // `docker stats` (28) ignores SIGTERM and SIGINT; it holds nothing, so it is killed.
        ChildProcess::prepare(*child, SIGKILL);
        return std::make_unique<ProcessStream>(std::move(child), std::chrono::milliseconds(0));
    };
    // The engine reads every container it is asked about, and that work outweighs the
    // client's; the kernel's counters cost a few small reads.
    return std::make_unique<KernelUsageStream>([containerIds, runtime] { return locateGroups(containerIds, runtime); }, engineStats, read);
}

ShellCommand CliEngine::shell(const QString &containerName, const OptRuntime &runtime) const
{
    ShellCommand command;
    command.arguments << QStringLiteral("docker");
    if (runtime && runtime->isSocket())
        command.environment.insert(QStringLiteral("DOCKER_HOST"), QStringLiteral("unix://") + runtime->path);
    else if (runtime)
        command.arguments << QStringLiteral("--context") << runtime->name;
    command.arguments << QStringLiteral("exec") << QStringLiteral("-it") << containerName << QStringLiteral("sh");
    return command;
}
