#include "fakeengine.h"

#include "docker.h"

#include <QFile>
#include <QTimer>

#include <climits>

// ---- FakeStream ----------------------------------------------------------------------------

void FakeStream::start()
{
    if (m_running)
        return;
    m_running = true;
    emit runningChanged();
    // What was written before start is read once the reader is listening.
    if (!m_pending.isEmpty())
        QTimer::singleShot(0, this, [this] {
            if (m_running && !m_pending.isEmpty())
                emit readyRead();
        });
}

void FakeStream::stop()
{
    if (!m_running)
        return;
    m_running = false;
    emit runningChanged();
}

void FakeStream::write(const QByteArray &bytes)
{
    m_pending += bytes;
    if (m_running)
        emit readyRead();
}

void FakeStream::end()
{
    if (!m_running)
        return;
    m_running = false;
    emit runningChanged();
    emit finished();
}

// ---- FakeEngine ----------------------------------------------------------------------------

namespace {
QString readText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString nameOf(const std::optional<QString> &name) { return name.value_or(QStringLiteral("*")); }

bool matches(const Container &c, const QString &target) { return c.id == target || c.name == target; }
}

FakeEngine::FakeEngine()
{
    m_runtimes.list = {{Runtime::context(QStringLiteral("default")), QStringLiteral("unix:///var/run/docker.sock"), true}};
    m_runtimes.current = Runtime::context(QStringLiteral("default"));
}

FakeEngine::~FakeEngine()
{
    QMutexLocker lock(&m_mutex);
    m_held.clear();
    m_released.wakeAll();
}

std::shared_ptr<FakeEngine> FakeEngine::replaying(const QString &dir)
{
    auto engine = std::make_shared<FakeEngine>();
    const auto path = [&](const char *name) { return dir + u'/' + QLatin1String(name); };
    const RuntimeList runtimes = Docker::parseRuntimes(readText(path("contexts.jsonl")));
    if (!runtimes.list.isEmpty())
        engine->setRuntimes(runtimes);
    Holdings h;
    h.containers = Docker::parseContainers(readText(path("ps.jsonl")));
    h.images = Docker::parseImages(readText(path("images.jsonl")));
    h.volumes = Docker::parseVolumes(readText(path("volumes.jsonl")));
    h.networks = Docker::parseNetworks(readText(path("networks.json")).toUtf8());
    h.mounts = Docker::parseMounts(readText(path("mounts.txt")));
    h.labels = Docker::parseVolumeLabels(readText(path("volume-labels.jsonl")));
    engine->setHoldings(h);
    return engine;
}

void FakeEngine::setRuntimes(const RuntimeList &runtimes)
{
    QMutexLocker lock(&m_mutex);
    m_runtimes = runtimes;
}

void FakeEngine::setReachable(const QString &runtimeName, bool reachable)
{
    QMutexLocker lock(&m_mutex);
    m_reachable.insert(runtimeName, reachable);
    for (auto &entry : m_runtimes.list) {
        if (entry.runtime.name == runtimeName)
            entry.reachable = reachable;
    }
}

void FakeEngine::setHoldings(const Holdings &holdings, const QString &runtimeName)
{
    QMutexLocker lock(&m_mutex);
    m_holdings.insert(runtimeName, holdings);
}

FakeEngine::Holdings FakeEngine::holdings(const QString &runtimeName) const
{
    QMutexLocker lock(&m_mutex);
    return m_holdings.value(m_holdings.contains(runtimeName) ? runtimeName : QString());
}

void FakeEngine::setComposeProject(const QString &dir, const ResolvedProject &project)
{
    QMutexLocker lock(&m_mutex);
    m_projects.insert(dir, project);
}

void FakeEngine::setResolvedText(const QString &dir, const QString &text)
{
    QMutexLocker lock(&m_mutex);
    m_resolvedTexts.insert(dir, text);
}

void FakeEngine::setNewerImage(const QString &reference, const QString &id)
{
    QMutexLocker lock(&m_mutex);
    m_newerImages.insert(reference, id);
}

void FakeEngine::setComposeCheck(const QString &dir, const ComposeCheck &check)
{
    QMutexLocker lock(&m_mutex);
    m_checks.insert(dir, check);
}

void FakeEngine::failWith(Call call, const std::optional<QString> &message, const std::optional<QString> &runtimeName)
{
    QMutexLocker lock(&m_mutex);
    if (message)
        m_failures.insert({call, nameOf(runtimeName)}, *message);
    else
        m_failures.remove({call, nameOf(runtimeName)});
}

void FakeEngine::hold(Call call)
{
    QMutexLocker lock(&m_mutex);
    m_held.insert(int(call));
}

void FakeEngine::release(Call call)
{
    QMutexLocker lock(&m_mutex);
    m_held.remove(int(call));
    m_released.wakeAll();
}

void FakeEngine::hold(EngineAction::Kind action)
{
    QMutexLocker lock(&m_mutex);
    m_heldActions.insert(int(action));
}

void FakeEngine::release(EngineAction::Kind action)
{
    QMutexLocker lock(&m_mutex);
    m_heldActions.remove(int(action));
    m_released.wakeAll();
}

void FakeEngine::releaseAll()
{
    QMutexLocker lock(&m_mutex);
    m_held.clear();
    m_heldActions.clear();
    m_released.wakeAll();
}

void FakeEngine::setExec(std::function<ExecResult(const QString &, const QString &)> answer)
{
    QMutexLocker lock(&m_mutex);
    m_exec = std::move(answer);
}

void FakeEngine::setLogOutput(const QByteArray &output)
{
    QMutexLocker lock(&m_mutex);
    m_logOutput = output;
}

int FakeEngine::calls(Call call) const
{
    QMutexLocker lock(&m_mutex);
    return m_calls.value(call);
}

QList<EngineAction> FakeEngine::performed() const
{
    QMutexLocker lock(&m_mutex);
    return m_performed;
}

QList<Runtime> FakeEngine::kept() const
{
    QMutexLocker lock(&m_mutex);
    return m_kept;
}

void FakeEngine::keep(const QList<RuntimeEntry> &inUse)
{
    QMutexLocker lock(&m_mutex);
    m_kept.clear();
    for (const RuntimeEntry &e : inUse)
        m_kept.append(e.runtime);
}

namespace {
QList<FakeStream *> alive(QList<QPointer<FakeStream>> &streams)
{
    streams.removeIf([](const QPointer<FakeStream> &s) { return s.isNull(); });
    QList<FakeStream *> list;
    for (const auto &s : streams)
        list.append(s.data());
    return list;
}
}

QList<FakeStream *> FakeEngine::eventStreams() const { return alive(m_eventStreams); }
QList<FakeStream *> FakeEngine::logStreams() const { return alive(m_logStreams); }

QList<FakeEngine::UsageAsked> FakeEngine::usageStreams() const
{
    QMutexLocker lock(&m_mutex);
    m_usageStreams.removeIf([](const auto &s) { return std::get<0>(s).isNull(); });
    QList<UsageAsked> list;
    for (const auto &[stream, ids, read] : m_usageStreams)
        list.append({stream.data(), ids, read});
    return list;
}

void FakeEngine::emitEvent(const QByteArray &line)
{
    for (FakeStream *stream : eventStreams()) {
        if (stream->running())
            stream->write(line.endsWith('\n') ? line : line + '\n');
    }
}

QString FakeEngine::keyOf(const OptRuntime &runtime) const
{
    const QString name = runtime ? runtime->name : QString();
    return m_holdings.contains(name) ? name : QString();
}

void FakeEngine::waitWhile(const std::function<bool()> &held, const Cancel &cancel) const
{
    while (held()) {
        if (cancel && *cancel)
            throw DockerError(QStringLiteral("cancelled"));
        m_released.wait(&m_mutex, cancel ? 10 : ULONG_MAX);
    }
}

void FakeEngine::enter(Call call, const OptRuntime &runtime, const Cancel &cancel) const
{
    ++m_calls[call];
    waitWhile([&] { return m_held.contains(int(call)); }, cancel);
    const auto failure = m_failures.constFind({call, runtime ? runtime->name : QStringLiteral("*")});
    if (failure != m_failures.cend())
        throw DockerError(*failure);
    const auto any = m_failures.constFind({call, QStringLiteral("*")});
    if (any != m_failures.cend())
        throw DockerError(*any);
}

RuntimeList FakeEngine::runtimes() const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Contexts, std::nullopt);
    return m_runtimes;
}

bool FakeEngine::reachable(const RuntimeEntry &entry) const
{
    QMutexLocker lock(&m_mutex);
    return m_reachable.value(entry.runtime.name, entry.reachable);
}

QList<Container> FakeEngine::containers(const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Listing, runtime);
    return m_holdings.value(keyOf(runtime)).containers;
}

QList<DockerImage> FakeEngine::images(const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Images, runtime);
    return m_holdings.value(keyOf(runtime)).images;
}

QList<DockerVolume> FakeEngine::volumes(const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Volumes, runtime);
    return m_holdings.value(keyOf(runtime)).volumes;
}

bool FakeEngine::answers(const Runtime &runtime) const
{
    try {
        QMutexLocker lock(&m_mutex);
        if (m_held.contains(int(Call::Listing)))
            return false;
        enter(Call::Probe, runtime);
        return !m_failures.contains({Call::Listing, runtime.name}) && !m_failures.contains({Call::Listing, QStringLiteral("*")});
    } catch (const DockerError &) {
        return false;
    }
}

void FakeEngine::setDiskUsage(const std::optional<DiskUsage> &usage)
{
    QMutexLocker lock(&m_mutex);
    m_diskUsage = usage;
}

DiskUsage FakeEngine::diskUsage(const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    if (m_diskUsage)
        return *m_diskUsage;
    const Holdings &h = m_holdings[keyOf(runtime)];
    DiskUsage d;
    for (const DockerImage &i : h.images) {
        const QString name = i.repository + u':' + i.tag;
        const int users = int(std::count_if(h.containers.cbegin(), h.containers.cend(), [&](const Container &c) { return c.image == name; }));
        const qint64 bytes = h.sizes.value(i.id, -1);
        d.images.append({i.id, i.repository, i.tag, bytes, 0, bytes, users});
    }
    for (const Container &c : h.containers)
        d.containers.append({c.id, c.name, c.image, c.state, h.sizes.value(c.id, -1), c.labels, h.mounts.value(c.name)});
    for (const DockerVolume &v : h.volumes) {
        const int links = int(std::count_if(h.mounts.cbegin(), h.mounts.cend(), [&](const QStringList &m) { return m.contains(v.name); }));
        d.volumes.append({v.name, h.sizes.value(v.name, -1), links, h.labels.value(v.name)});
    }
    d.buildCache = h.buildCache;
    // Counted as the engine does: what no container uses, or nothing mounts, can go.
    const auto total = [](const auto &list, auto size, auto idle) {
        DiskUsage::Total t{int(list.size()), 0, 0, 0};
        for (const auto &item : list) {
            t.bytes += std::max<qint64>(size(item), 0);
            if (idle(item))
                t.reclaimable += std::max<qint64>(size(item), 0);
            else
                ++t.active;
        }
        return t;
    };
    d.imagesTotal = total(d.images, [](const DiskUsage::Image &i) { return i.bytes; }, [](const DiskUsage::Image &i) { return i.containers == 0; });
    d.containersTotal = total(d.containers, [](const DiskUsage::Container &c) { return c.bytes; },
                              [](const DiskUsage::Container &c) { return c.state != QLatin1String("running") && c.state != QLatin1String("paused"); });
    d.volumesTotal = total(d.volumes, [](const DiskUsage::Volume &v) { return v.bytes; }, [](const DiskUsage::Volume &v) { return v.links == 0; });
    d.cacheTotal = total(d.buildCache, [](const DiskUsage::Cache &c) { return c.bytes; }, [](const DiskUsage::Cache &c) { return !c.inUse; });
    return d;
}

QList<DockerNetwork> FakeEngine::networks(const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Networks, runtime);
    return m_holdings.value(keyOf(runtime)).networks;
}

MountMap FakeEngine::volumeMounts(const QStringList &containerNames, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    ++m_calls[Call::Inspection];
    MountMap mounts;
    const Holdings &h = m_holdings[keyOf(runtime)];
    for (const auto &name : containerNames) {
        if (h.mounts.contains(name))
            mounts.insert(name, h.mounts.value(name));
        else if (std::any_of(h.containers.cbegin(), h.containers.cend(), [&](const Container &c) { return c.name == name; }))
            mounts.insert(name, {});
    }
    return mounts;
}

std::optional<ContainerDetails> FakeEngine::containerDetails(const QString &id, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    const auto row = std::find_if(h.containers.cbegin(), h.containers.cend(),
                                  [&](const Container &c) { return matches(c, id) || (!c.id.isEmpty() && id.startsWith(c.id)); });
    if (row == h.containers.cend())
        return std::nullopt;
    for (const ContainerDetails &d : m_details) {
        if (d.id.startsWith(row->id) || d.name == row->name)
            return d;
    }
    ContainerDetails made;
    made.id = row->id;
    made.name = row->name;
    made.image = row->image;
    made.state = row->state;
    made.labels = row->labels;
    made.created = row->created;
    return made;
}

std::optional<ImageDetails> FakeEngine::imageDetails(const QString &id, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    const auto image = std::find_if(h.images.cbegin(), h.images.cend(), [&](const DockerImage &i) { return i.id == id || id.contains(i.id); });
    if (image == h.images.cend())
        return std::nullopt;
    for (const ImageDetails &d : m_imageDetails) {
        if (d.id.contains(image->id))
            return d;
    }
    ImageDetails made;
    made.id = image->id;
    made.tags = {image->repository + u':' + image->tag};
    made.created = image->created;
    return made;
}

std::optional<VolumeDetails> FakeEngine::volumeDetails(const QString &name, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    const auto volume = std::find_if(h.volumes.cbegin(), h.volumes.cend(), [&](const DockerVolume &v) { return v.name == name; });
    if (volume == h.volumes.cend())
        return std::nullopt;
    VolumeDetails d;
    d.name = volume->name;
    d.driver = volume->driver;
    d.mountpoint = volume->mountpoint;
    d.scope = QStringLiteral("local");
    d.labels = h.labels.value(name);
    if (h.sizes.contains(name))
        d.bytes = h.sizes.value(name);
    for (const Container &c : h.containers) {
        if (h.mounts.value(c.name).contains(name))
            d.users.append(c);
    }
    return d;
}

RestartReading FakeEngine::restartFacts(const QStringList &containerIds, const OptRuntime &runtime, bool) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    RestartReading reading;
    for (const QString &id : containerIds) {
        for (const Container &c : h.containers) {
            if (!matches(c, id))
                continue;
            RestartFacts f{c.id, c.name, h.restartPolicies.value(c.name, QStringLiteral("no"))};
            f.state = c.state;
            // "Exited (137) 2 minutes ago"
            const qsizetype open = c.status.indexOf(u'(');
            f.exitCode = open < 0 ? 0 : c.status.mid(open + 1, c.status.indexOf(u')') - open - 1).toInt();
            f.startedBefore = c.state != QLatin1String("created");
            reading.containers.append(f);
        }
    }
    return reading;
}

ImageOrigins FakeEngine::imageOrigins(const QStringList &imageIds, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    ImageOrigins origins{{}, h.insecure};
    for (const QString &id : imageIds) {
        ImageOrigin origin{id, {}, h.repoDigests.value(id)};
        for (const DockerImage &i : h.images)
            if (i.id == id && i.tag != QLatin1String("<none>"))
                origin.tags.append(i.repository + u':' + i.tag);
        if (!origin.tags.isEmpty() || !origin.repoDigests.isEmpty())
            origins.images.append(origin);
    }
    return origins;
}

std::optional<NetworkDetails> FakeEngine::networkDetails(const QString &name, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    enter(Call::Inspection, runtime);
    const Holdings &h = m_holdings[keyOf(runtime)];
    const auto network = std::find_if(h.networks.cbegin(), h.networks.cend(), [&](const DockerNetwork &n) { return n.name == name; });
    if (network == h.networks.cend())
        return std::nullopt;
    return NetworkDetails{*network, QStringLiteral("{\n    \"Name\": \"%1\",\n    \"Id\": \"%2\"\n}").arg(network->name, network->id)};
}

void FakeEngine::setImageDetails(const QList<ImageDetails> &details)
{
    QMutexLocker lock(&m_mutex);
    m_imageDetails = details;
}

void FakeEngine::setDetails(const QList<ContainerDetails> &details)
{
    QMutexLocker lock(&m_mutex);
    m_details = details;
}

VolumeLabels FakeEngine::volumeLabels(const QStringList &volumeNames, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    ++m_calls[Call::Inspection];
    VolumeLabels labels;
    const Holdings &h = m_holdings[keyOf(runtime)];
    for (const auto &name : volumeNames) {
        if (h.labels.contains(name))
            labels.insert(name, h.labels.value(name));
    }
    return labels;
}

std::optional<qint64> FakeEngine::volumeSize(const DockerVolume &volume, const OptRuntime &runtime) const
{
    QMutexLocker lock(&m_mutex);
    // A runtime listed with an endpoint that is no socket is another machine's, whose disk is
    // not read; whether a socket is here is not asked, so recorded contexts answer anywhere.
    for (const RuntimeEntry &entry : std::as_const(m_runtimes.list)) {
        if (runtime && entry.runtime == *runtime && !entry.endpoint.startsWith(QLatin1String("unix://")))
            return std::nullopt;
    }
    for (const Holdings &h : std::as_const(m_holdings)) {
        if (h.sizes.contains(volume.name))
            return h.sizes.value(volume.name);
    }
    return std::nullopt;
}

ComposeCheck FakeEngine::checkCompose(const ComposeTarget &target) const
{
    if (target.existingFiles().isEmpty() && !Docker::composeFile(target.dir))
        return ComposeCheck::makeInvalid(Docker::missingComposeFileMessage(target.dir));
    QMutexLocker lock(&m_mutex);
    try {
        enter(Call::Compose, std::nullopt);
    } catch (const DockerError &e) {
        return ComposeCheck::makeInvalid(e.message());
    }
    return m_checks.value(target.dir, ComposeCheck::makeValid());
}

ResolvedProject FakeEngine::composeProject(const ComposeTarget &target) const
{
    if (target.existingFiles().isEmpty() && !Docker::composeFile(target.dir))
        throw DockerError(Docker::missingComposeFileMessage(target.dir));
    QMutexLocker lock(&m_mutex);
    enter(Call::Compose, std::nullopt);
    const auto it = m_projects.constFind(target.dir);
    if (it == m_projects.cend())
        throw DockerError(QStringLiteral("Could not read a compose project from ") + target.dir);
    // As "-p" does: the project takes the name it was given.
    ResolvedProject project = *it;
    if (!target.name.isEmpty())
        project.name = target.name;
    return project;
}

ResolvedProject FakeEngine::composeServices(const ComposeTarget &target) const
{
    return composeProject(target);
}

ResolvedFile FakeEngine::resolvedFile(const ComposeTarget &target) const
{
    const ComposeCheck check = checkCompose(target);
    QString written;
    const QStringList recorded = target.existingFiles();
    for (const QString &path : recorded.isEmpty() ? Docker::composeFiles(target.dir) : recorded) {
        QFile f(path);
        if (f.open(QIODevice::ReadOnly))
            written += QString::fromUtf8(f.readAll());
    }
    const auto dotEnvValues = Docker::dotEnvIn(target.dir);
    QMutexLocker lock(&m_mutex);
    return {check.valid ? m_resolvedTexts.value(target.dir, written) : check.message, check.valid, Docker::composeVariables(written, {}, dotEnvValues),
            written};
}

void FakeEngine::setProgress(EngineAction::Kind kind, const QStringList &lines)
{
    QMutexLocker lock(&m_mutex);
    m_progress.insert(kind, lines);
}

void FakeEngine::perform(const EngineAction &action, const OptRuntime &runtime, const Watch &watch) const
{
    QMutexLocker lock(&m_mutex);
    m_performed.append(action);
    // Told before a held action waits, as a real child prints before it is stopped.
    const QStringList lines = m_progress.value(action.kind);
    const qint64 size = m_holdings[keyOf(runtime)].sizes.value(action.targets.value(0));
    lock.unlock();
    if (watch.line) {
        for (const QString &line : lines)
            watch.line(line);
    }
    if (watch.moved && (action.kind == EngineAction::Kind::BackupVolume || action.kind == EngineAction::Kind::RestoreVolume))
        watch.moved({size / 2, size});
    lock.relock();
    enter(Call::Action, runtime, watch.cancel);
    waitWhile([&] { return m_heldActions.contains(int(action.kind)); }, watch.cancel);
    apply(action, m_holdings[keyOf(runtime)]);
}

namespace {
// Compose told the project's name finds its containers by their label; told a directory
// alone, by the project the directory names, which here is the directory's containers.
bool ofProject(const EngineAction &action, const Container &c)
{
    if (!action.project.isEmpty())
        return c.project() == action.project;
    return action.dir && c.workingDir() == action.dir;
}
}

// Up makes a container for each service of the project that has none, as compose would.
void FakeEngine::createServices(const EngineAction &action, Holdings &h) const
{
    const auto project = m_projects.constFind(*action.dir);
    if (project == m_projects.cend())
        return;
    for (const ServiceDefinition &service : project->definitions) {
        if (!action.targets.isEmpty() ? !action.targets.contains(service.name) : !service.activeWith(project->activeProfiles))
            continue;
        const bool exists = std::any_of(h.containers.cbegin(), h.containers.cend(), [&](const Container &c) {
            return ofProject(action, c) && c.labels.value(QLatin1String(Labels::service)) == service.name;
        });
        if (exists)
            continue;
        const QString projectName = action.project.isEmpty() ? project->name : action.project;
        const QString name = projectName + u'-' + service.name + QStringLiteral("-1");
        Container made{QStringLiteral("f%1").arg(qHash(name), 12, 16, QLatin1Char('0')), name,
                       service.image.isEmpty() ? projectName + u'-' + service.name : service.image,
                       QStringLiteral("running"), QStringLiteral("Up Less than a second"), {}, {}};
        made.labels.insert(QLatin1String(Labels::project), projectName);
        made.labels.insert(QLatin1String(Labels::service), service.name);
        made.labels.insert(QLatin1String(Labels::workingDir), *action.dir);
        if (!action.files.isEmpty())
            made.labels.insert(QLatin1String(Labels::configFiles), action.files.join(u','));
        h.containers.append(made);
    }
}

void FakeEngine::apply(const EngineAction &action, Holdings &h) const
{
    using Kind = EngineAction::Kind;
    const auto setState = [&](const QString &state, const QString &status) {
        for (auto &c : h.containers) {
            if (std::any_of(action.targets.cbegin(), action.targets.cend(), [&](const QString &t) { return matches(c, t); }))
                c.state = state, c.status = status;
        }
    };
    const auto inDir = [&](const Container &c) {
        return ofProject(action, c) && (action.targets.isEmpty() || action.targets.contains(c.labels.value(QLatin1String(Labels::service))));
    };
    switch (action.kind) {
    case Kind::Start:
    case Kind::Restart:
    case Kind::Unpause:
        setState(QStringLiteral("running"), QStringLiteral("Up Less than a second"));
        break;
    case Kind::Stop:
        setState(QStringLiteral("exited"), QStringLiteral("Exited (0) Less than a second ago"));
        break;
    case Kind::Pause:
        setState(QStringLiteral("paused"), QStringLiteral("Up Less than a second (Paused)"));
        break;
    case Kind::Remove:
        h.containers.removeIf([&](const Container &c) {
            return std::any_of(action.targets.cbegin(), action.targets.cend(), [&](const QString &t) { return matches(c, t); });
        });
        break;
    case Kind::RemoveImage:
        h.images.removeIf([&](const DockerImage &i) { return action.targets.contains(i.id); });
        break;
    case Kind::RemoveVolume:
        h.volumes.removeIf([&](const DockerVolume &v) { return action.targets.contains(v.name); });
        break;
    case Kind::RemoveNetwork:
        for (const QString &name : action.targets) {
            const auto n = std::find_if(h.networks.cbegin(), h.networks.cend(), [&](const DockerNetwork &n) { return n.name == name; });
            // The engine's own refusals, word for word.
            if (n != h.networks.cend() && n->isBuiltIn())
                throw DockerError(QStringLiteral("Error response from daemon: %1 is a pre-defined network and cannot be removed").arg(name));
            if (n != h.networks.cend() && !n->members.isEmpty())
                throw DockerError(QStringLiteral("Error response from daemon: error while removing network: network %1 id %2 has active endpoints").arg(name, n->id));
        }
        h.networks.removeIf([&](const DockerNetwork &n) { return action.targets.contains(n.name); });
        break;
    case Kind::ComposeDown:
        h.containers.removeIf(inDir);
        break;
    case Kind::ComposeUp:
    case Kind::ComposeRecreate:
    case Kind::ComposeStart:
    case Kind::ComposeRestart:
        for (auto &c : h.containers) {
            if (inDir(c))
                c.state = QStringLiteral("running"), c.status = QStringLiteral("Up Less than a second");
        }
        if (action.kind == Kind::ComposeUp || action.kind == Kind::ComposeRecreate)
            createServices(action, h);
        break;
    case Kind::ComposeStop:
        for (auto &c : h.containers) {
            if (inDir(c))
                c.state = QStringLiteral("exited"), c.status = QStringLiteral("Exited (0) Less than a second ago");
        }
        break;
    case Kind::ComposePull:
        for (DockerImage &image : h.images) {
            if (const auto newer = m_newerImages.constFind(image.repository + u':' + image.tag); newer != m_newerImages.cend())
                image.id = *newer;
        }
        break;
    // The engine's own refusals, word for word: nothing is forced.
    case Kind::ReclaimContainer:
        for (const Container &c : h.containers) {
            if (c.id == action.targets.value(0) && c.state == QLatin1String("running"))
                throw DockerError(QStringLiteral("Error response from daemon: cannot remove container \"/%1\": container is running: stop the "
                                                 "container before removing or force remove").arg(c.name));
        }
        h.containers.removeIf([&](const Container &c) { return c.id == action.targets.value(0); });
        break;
    case Kind::ReclaimImage: {
        const auto image = std::find_if(h.images.cbegin(), h.images.cend(), [&](const DockerImage &i) { return i.id == action.targets.value(0); });
        if (image == h.images.cend())
            throw DockerError(QStringLiteral("Error response from daemon: No such image: %1").arg(action.targets.value(0)));
        const QString name = image->repository + u':' + image->tag;
        for (const Container &c : h.containers) {
            if (c.image == name || c.image == image->id)
                throw DockerError(QStringLiteral("Error response from daemon: conflict: unable to remove repository reference \"%1\" (must "
                                                 "force) - container %2 is using its referenced image %3").arg(name, c.id.left(12), image->id.left(12)));
        }
        h.images.erase(image);
        break;
    }
    case Kind::ReclaimCache:
        h.buildCache.removeIf([&](const DiskUsage::Cache &c) { return c.id == action.targets.value(0); });
        break;
    case Kind::RestartPolicy:
        for (const Container &c : h.containers)
            if (std::any_of(action.targets.cbegin(), action.targets.cend(), [&](const QString &t) { return matches(c, t); }))
                h.restartPolicies.insert(c.name, action.argument);
        break;
    case Kind::Commit:
    case Kind::Pull:
    case Kind::PruneImages:
    case Kind::PruneVolumes:
    case Kind::BackupVolume:
    case Kind::RestoreVolume:
        break;
    }
}

ExecResult FakeEngine::exec(const QString &containerId, const QString &command, const OptRuntime &runtime, Cancel) const
{
    std::function<ExecResult(const QString &, const QString &)> answer;
    {
        QMutexLocker lock(&m_mutex);
        enter(Call::Exec, runtime);
        answer = m_exec;
    }
    return answer ? answer(containerId, command) : ExecResult{true, {}, 0, {}};
}

ToolVersion FakeEngine::clientVersion() const { return {QStringLiteral("28.2.2"), {}}; }
ToolVersion FakeEngine::composeVersion() const { return {QStringLiteral("2.26.1"), {}}; }

std::unique_ptr<EngineStream> FakeEngine::events(const OptRuntime &) const
{
    auto stream = std::make_unique<FakeStream>();
    QMutexLocker lock(&m_mutex);
    m_eventStreams.append(stream.get());
    return stream;
}

std::unique_ptr<EngineStream> FakeEngine::logs(const LogSource &, const OptRuntime &) const
{
    QMutexLocker lock(&m_mutex);
    auto stream = std::make_unique<FakeStream>(m_logOutput);
    m_logStreams.append(stream.get());
    return stream;
}

std::unique_ptr<EngineStream> FakeEngine::usage(const QStringList &containerIds, const OptRuntime &, UsageRead read) const
{
    QMutexLocker lock(&m_mutex);
    auto stream = std::make_unique<FakeStream>();
    m_usageStreams.append({stream.get(), containerIds, read});
    return stream;
}

ShellCommand FakeEngine::shell(const QString &containerName, const OptRuntime &) const
{
    return {{QStringLiteral("sh"), QStringLiteral("-c"), QStringLiteral("exit"), containerName}, {}};
}
