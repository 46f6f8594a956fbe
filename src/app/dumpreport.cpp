#include "dumpreport.h"
#include "secrets.h"
#include "runtimeselection.h"

#include "docker.h"
#include "projectservices.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QThreadPool>
#include <QtConcurrent>

QString runtimeLine(const RuntimeEntry &entry, const std::optional<Runtime> &current)
{
    return QStringLiteral("runtime: ") + RuntimeSelection::label(entry) + QStringLiteral("  ") + entry.endpoint
        + (current && entry.runtime == *current ? QStringLiteral("  [opens here]") : QString());
}

namespace {
template<typename T>
std::optional<int> counted(const Engine &engine, QList<T> (Engine::*listing)(const OptRuntime &) const, const OptRuntime &runtime)
{
    try {
        return int((engine.*listing)(runtime).size());
    } catch (const DockerError &) {
        return std::nullopt;
    }
}

DumpReport::WatchedEngine readWatched(const Engine &engine, const RuntimeEntry &entry)
{
    DumpReport::WatchedEngine read{entry, engine.answers(entry.runtime)};
    if (!read.answers)
        return read;
    const OptRuntime runtime = entry.runtime;
    try {
        const QList<Container> containers = engine.containers(runtime);
        read.containers = int(containers.size());
        read.running = int(std::count_if(containers.cbegin(), containers.cend(), [](const Container &c) { return c.isRunning(); }));
    } catch (const DockerError &) {
        // Both counts stay null; the other listings may still answer.
    }
    read.images = counted(engine, &Engine::images, runtime);
    read.volumes = counted(engine, &Engine::volumes, runtime);
    read.networks = counted(engine, &Engine::networks, runtime);
    return read;
}

// What the runtime asked for holds: its containers by project, and its totals.
void readSelected(const Engine &engine, const std::optional<Runtime> &target, DumpReport &report)
{
    QList<Container> containers;
    try {
        containers = engine.containers(target);
    } catch (const DockerError &e) {
        report.failure = e.message();
        return;
    }
    report.containerCount = int(containers.size());
    using Compose = DumpReport::Project::Compose;
    for (const auto &project : Docker::group(containers)) {
        DumpReport::Project row{project};
        if (!project.workingDir || !QFileInfo::exists(*project.workingDir))
            row.compose = Compose::WorkdirMissing;
        else if (!Docker::composeFile(*project.workingDir))
            row.compose = Compose::NoComposeFile;
        else
            row.check = engine.checkCompose(ComposeTarget::of(project));
        if (row.compose == Compose::Checked && row.check.valid) {
            try {
                row.defined = engine.composeServices(ComposeTarget::of(project));
            } catch (const DockerError &) {
                // The check above already says what compose thinks of the files.
            }
        }
        report.projects.append(row);
    }
    report.ungrouped = Docker::ungrouped(containers);

    try {
        const auto images = engine.images(target);
        const auto volumes = engine.volumes(target);
        report.images = int(images.size());
        report.volumes = int(volumes.size());
    } catch (const DockerError &e) {
        report.totalsFailure = e.message();
    }
}
}

DumpReport gatherDump(const Engine &engine, const std::optional<QString> &context, const QStringList &watchedRemotes)
{
    DumpReport report;
    report.context = context;
    const std::optional<Runtime> target = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    try {
        report.runtimes = engine.runtimes();
    } catch (const DockerError &) {
        // Without a runtime list the rest of the report still says what is wrong.
    }

    // A thread for each engine, all while the selected one is read: a hung engine costs
    // its own deadline once, not one more for each engine behind it.
    const QList<RuntimeEntry> watched = RuntimeSelection::watched(report.runtimes.list, watchedRemotes, target ? target : report.runtimes.current);
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, int(watched.size())));
    QList<QFuture<DumpReport::WatchedEngine>> reading;
    for (const RuntimeEntry &entry : watched)
        reading.append(QtConcurrent::run(&pool, [&engine, entry] { return readWatched(engine, entry); }));

    readSelected(engine, target, report);
    for (QFuture<DumpReport::WatchedEngine> &read : reading)
        report.engines.append(read.result());
    return report;
}

void writeDump(const DumpReport &report, QTextStream &out)
{
    for (const auto &entry : report.runtimes.list)
        out << runtimeLine(entry, report.runtimes.current) << '\n';
    if (report.failure) {
        out << "dump failed: " << *report.failure << '\n';
        return;
    }
    out << "runtime: " << report.context.value_or(QStringLiteral("(current)")) << "  containers: " << report.containerCount << '\n';

    using Compose = DumpReport::Project::Compose;
    for (const auto &[project, compose, check, defined] : report.projects) {
        static const QMap<Compose, QString> suffixes{{Compose::Checked, {}},
                                                     {Compose::WorkdirMissing, QStringLiteral("  [workdir missing - compose disabled]")},
                                                     {Compose::NoComposeFile, QStringLiteral("  [no compose file - compose disabled]")}};
        out << "  project " << project.name << "  " << project.runningCount() << '/' << project.containers.size() << suffixes.value(compose) << '\n';
        if (compose == Compose::Checked) {
            if (!check.valid)
                out << "    compose config: INVALID - " << check.message << '\n';
            else if (check.warning)
                out << "    compose config: ok - WARNING\n      " << *check.warning << '\n';
            else
                out << "    compose config: ok\n";
        }
        for (const auto &c : project.containers)
            out << "    - " << c.name << "  [" << c.state << "]  " << c.image << '\n';
        for (const ProjectService &s : defined ? ProjectServices::missing(*defined, project.containers) : QList<ProjectService>{}) {
            const QString state = s.state == ProjectService::State::NotCreated ? QStringLiteral("not created")
                                                                               : QStringLiteral("profile ") + s.profiles.join(u',');
            out << "    ~ " << s.name << "  [" << state << "]  " << s.image << '\n';
        }
    }
    for (const auto &c : report.ungrouped)
        out << "  (no project) " << c.name << "  [" << c.state << "]\n";

    if (report.totalsFailure)
        out << "dump failed: " << *report.totalsFailure << '\n';
    else
        out << "images: " << report.images.value_or(0) << "  volumes: " << report.volumes.value_or(0) << '\n';
}

namespace {
QJsonValue orNull(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QJsonValue orNull(const std::optional<int> &number)
{
    return number ? QJsonValue(*number) : QJsonValue();
}

QJsonObject containerJson(const Container &c)
{
    QJsonArray ports;
    for (const auto &p : Docker::parsePorts(c.ports)) {
        QJsonObject port{{"port", p.port}, {"protocol", p.protocol}};
        if (p.isPublished()) {
            port.insert("hostIp", p.hostIp);
            port.insert("hostPort", p.hostPort);
        }
        ports.append(port);
    }
    return {{"id", c.id}, {"name", c.name}, {"image", c.image}, {"state", c.state}, {"status", c.status}, {"ports", ports}};
}

QJsonArray containersJson(const QList<Container> &containers)
{
    QJsonArray out;
    for (const auto &c : containers)
        out.append(containerJson(c));
    return out;
}

// Each service the files define or a container names, with the state of its containers:
// "running" when any runs, else the first one's; "not created", or "inactive" when its
// profile is off.
QJsonArray servicesJson(const DumpReport::Project &row)
{
    QMap<QString, QJsonObject> services;
    for (const ServiceDefinition &s : row.defined ? row.defined->definitions : QList<ServiceDefinition>{}) {
        services.insert(s.name, {{"name", s.name}, {"image", s.image.isEmpty() ? QJsonValue() : QJsonValue(s.image)},
                                 {"profiles", QJsonArray::fromStringList(s.profiles)}, {"containers", 0},
                                 {"state", s.activeWith(row.defined->activeProfiles) ? "not created" : "inactive"}});
    }
    for (const Container &c : row.project.containers) {
        const QString name = c.labels.value(QLatin1String(Labels::service));
        if (name.isEmpty())
            continue;
        QJsonObject &s = services[name];
        if (!s.contains("name"))
            s = {{"name", name}, {"image", c.image}, {"profiles", QJsonArray()}, {"containers", 0}, {"state", c.state}};
        const int before = s.value("containers").toInt();
        if (before == 0 || c.isRunning())
            s.insert("state", c.state);
        s.insert("containers", before + 1);
    }
    QJsonArray out;
    for (const QJsonObject &s : std::as_const(services))
        out.append(s);
    return out;
}

QJsonObject composeJson(const DumpReport::Project &row)
{
    using Compose = DumpReport::Project::Compose;
    switch (row.compose) {
    case Compose::WorkdirMissing:
        return {{"state", "disabled"}, {"reason", "workdir missing"}};
    case Compose::NoComposeFile:
        return {{"state", "disabled"}, {"reason", "no compose file"}};
    case Compose::Checked:
        break;
    }
    if (!row.check.valid)
        return {{"state", "invalid"}, {"message", row.check.message}};
    if (row.check.warning)
        return {{"state", "warning"}, {"message", *row.check.warning}};
    return {{"state", "ok"}};
}
}

QJsonObject dumpJson(const DumpReport &report)
{
    QJsonArray runtimes;
    for (const auto &entry : report.runtimes.list)
        runtimes.append(QJsonObject{{"name", entry.runtime.name},
                                    {"kind", entry.runtime.isSocket() ? "socket" : "context"},
                                    {"endpoint", entry.endpoint},
                                    {"reachable", entry.reachable},
                                    {"opensHere", report.runtimes.current == entry.runtime}});
    QJsonArray engines;
    for (const auto &e : report.engines) {
        const QJsonValue counts = e.answers ? QJsonObject{{"containers", orNull(e.containers)}, {"running", orNull(e.running)},
                                                          {"images", orNull(e.images)}, {"volumes", orNull(e.volumes)},
                                                          {"networks", orNull(e.networks)}}
                                            : QJsonValue();
        engines.append(QJsonObject{{"name", e.entry.runtime.name}, {"endpoint", Secrets::text(e.entry.endpoint)}, {"answers", e.answers}, {"counts", counts}});
    }
    QJsonObject json{{"schema", 1}, {"runtimes", runtimes}, {"engines", engines}, {"runtime", orNull(report.context)}};
    if (report.failure) {
        json.insert("error", *report.failure);
        return json;
    }
    QJsonArray projects;
    int running = 0;
    for (const auto &row : report.projects) {
        projects.append(QJsonObject{{"name", row.project.name},
                                    {"workingDir", orNull(row.project.workingDir)},
                                    {"running", row.project.runningCount()},
                                    {"compose", composeJson(row)},
                                    {"containers", containersJson(row.project.containers)},
                                    {"services", servicesJson(row)}});
        running += row.project.runningCount();
    }
    for (const auto &c : report.ungrouped)
        running += c.isRunning() ? 1 : 0;
    json.insert("projects", projects);
    json.insert("ungrouped", containersJson(report.ungrouped));
    json.insert("totals", QJsonObject{{"containers", report.containerCount}, {"running", running},
                                      {"images", orNull(report.images)}, {"volumes", orNull(report.volumes)}});
    json.insert("error", orNull(report.totalsFailure));
    return json;
}
