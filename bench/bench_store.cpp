// Measures the store against the commands it cannot avoid running, side by side in one run:
//   refresh      one refresh vs the same three listings from a shell, together and in turn
//   rules        parsing, grouping, registry merge and filtering of many containers
//   quiet-poll   the store's own CPU for a poll that finds nothing new (children excluded)
//   events       a `docker run -d` to the store's changed list, with engine events and with
//                polling alone; the events child's memory and its CPU over an idle minute
//   backup       a 200 MB volume's backup to a .tar file vs a bare `docker cp` of it
//   pull REF     a pull through the store vs a bare `docker pull`, and the progress latency
//   reclaim      the reclaim plan of a full engine, from asking to the plan, vs the bare reports
//   details NAME a container's details from asking on the UI thread to the record back on
//                it (one `docker inspect`, read on a worker), vs a bare `docker inspect`
// Run through bench/run.sh, which starts a private engine and fills it.

#include "appstore.h"
#include "cliengine.h"
#include "docker.h"
#include "filters.h"
#include "projectregistry.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFutureWatcher>
#include <QEventLoop>
#include <QMutex>
#include <QtConcurrent>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>

namespace {

QTextStream out(stdout);

double median(QList<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return samples.at(samples.size() / 2);
}

double shellMs(const QString &script)
{
    QElapsedTimer t;
    t.start();
    QProcess sh;
    sh.start("/bin/sh", {"-c", script});
    sh.waitForFinished(-1);
    return t.nsecsElapsed() / 1e6;
}

struct Cpu {
    double user = 0, system = 0;
};

Cpu cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6, usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6};
}

void benchRefresh(AppStore &store, int rounds)
{
    // Two shell baselines: output thrown away (the commands alone), and output read through
    // a pipe, which the store cannot avoid.
    const QString ps = "docker ps -a --format json", images = "docker images --format json", volumes = "docker volume ls --format json";
    const auto script = [&](const QString &sink, const QString &join) {
        return ps + sink + join + images + sink + join + volumes + sink + (join == " & " ? " & wait" : "");
    };
    const QStringList baselines{script(" >/dev/null", " & "), script(" >/dev/null", "; "), script(" | cat >/dev/null", " & "),
                                script(" | cat >/dev/null", "; ")};
    QList<double> storeMs;
    QList<QList<double>> shell(baselines.size());
    for (int i = 0; i < rounds; ++i) {
        // Interleaved, so drift in the machine's load touches every variant alike.
        QElapsedTimer t;
        t.start();
        QCoro::waitFor(store.refresh());
        storeMs << t.nsecsElapsed() / 1e6;
        for (qsizetype b = 0; b < baselines.size(); ++b)
            shell[b] << shellMs(baselines[b]);
    }
    const double s = median(storeMs);
    QList<double> m;
    for (const auto &samples : shell)
        m << median(samples);
    out << QString("refresh  containers %1  store %2 ms\n").arg(store.containers().size()).arg(s, 0, 'f', 1);
    out << QString("         shell to /dev/null: concurrent %1 ms (ratio %2), sequential %3 ms (ratio %4)\n")
               .arg(m[0], 0, 'f', 1).arg(s / m[0], 0, 'f', 2).arg(m[1], 0, 'f', 1).arg(s / m[1], 0, 'f', 2);
    out << QString("         shell through a pipe: concurrent %1 ms (ratio %2), sequential %3 ms (ratio %4)\n")
               .arg(m[2], 0, 'f', 1).arg(s / m[2], 0, 'f', 2).arg(m[3], 0, 'f', 1).arg(s / m[3], 0, 'f', 2);
}

QString syntheticPs(int count)
{
    QString text;
    for (int i = 0; i < count; ++i) {
        const QString project = QString("proj%1").arg(i % 40);
        text += QString(R"({"ID":"%1","Names":"%2-web-%3","Image":"nginx:1.27-alpine","State":"%4","Status":"Up 4 days",)"
                        R"("Ports":"0.0.0.0:%5->80/tcp, [::]:%5->80/tcp","Labels":"com.docker.compose.config-hash=5c4eee,)"
                        R"(com.docker.compose.container-number=1,com.docker.compose.project.config_files=/srv/%2/compose.yaml,)"
                        R"(com.docker.compose.project.working_dir=/srv/%2,com.docker.compose.project=%2,com.docker.compose.service=web%3"})")
                    .arg(QString::number(100000000 + i, 16))
                    .arg(project)
                    .arg(i)
                    .arg(i % 3 ? "running" : "exited")
                    .arg(8000 + i)
            + '\n';
    }
    return text;
}

void benchRules(int count)
{
    const QString text = syntheticPs(count);
    QList<KnownProject> known;
    for (int i = 0; i < 60; ++i)
        known.append({QString("proj%1").arg(i), QString("/nope/proj%1").arg(i), {"web", "db"}});
    QList<double> samples;
    for (int round = 0; round < 15; ++round) {
        QElapsedTimer t;
        t.start();
        const auto containers = Docker::parseContainers(text);
        const QString query = Filters::query("proj1");
        const auto matching = Filters::containers(containers, query);
        const auto merged = ProjectRegistry::merge(Docker::group(matching), known, {});
        const auto projects = Filters::projects(merged, query);
        const auto loose = Docker::ungrouped(containers);
        Q_UNUSED(projects);
        Q_UNUSED(loose);
        samples << t.nsecsElapsed() / 1e6;
    }
    out << QString("rules    containers %1  parse+group+merge+filter %2 ms\n").arg(count).arg(median(samples), 0, 'f', 2);
}

void benchQuietPoll(AppStore &store, int rounds)
{
    QCoro::waitFor(store.refresh());
    const Cpu before = cpuSeconds();
    for (int i = 0; i < rounds; ++i)
        QCoro::waitFor(store.refresh());
    const Cpu after = cpuSeconds();
    const double user = (after.user - before.user) / rounds * 1000, system = (after.system - before.system) / rounds * 1000;
    out << QString("quiet    containers %1  store cpu per poll %2 ms (user %3, kernel %4; children excluded)\n")
               .arg(store.containers().size())
               .arg(user + system, 0, 'f', 3)
               .arg(user, 0, 'f', 3)
               .arg(system, 0, 'f', 3);
}

// From the start of a `docker run -d` in a shell to the store listing the new container.
QList<double> runLatencies(AppStore &store, int rounds, const QString &tag, QList<double> *runTimes)
{
    QList<double> samples;
    const QString image = qEnvironmentVariable("KORVAT_TEST_IMAGE", "korvat-test/busybox:1");
    for (int i = 0; i < rounds; ++i) {
        const QString name = QStringLiteral("bench-%1-%2").arg(tag).arg(i);
        const auto listed = [&] {
            return std::any_of(store.containers().cbegin(), store.containers().cend(), [&](const Container &c) { return c.name == name; });
        };
        // Polls fall at a random point of the run, as they would for someone at a shell.
        QTest::qWait(QRandomGenerator::global()->bounded(2000));
        QElapsedTimer t;
        t.start();
        QProcess run;
        double ran = -1;
        // An event loop, not a spin on processEvents: a busy core would slow the engine measured.
        QEventLoop loop;
        QObject::connect(&run, &QProcess::finished, &loop, [&] {
            ran = t.nsecsElapsed() / 1e6;
        });
        QObject::connect(&store, &AppStore::containersChanged, &loop, [&] {
            if (listed())
                loop.quit();
        });
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        run.start("docker", {"run", "-d", "--name", name, image, "sleep", "600"});
        if (!listed())
            loop.exec();
        samples.append(t.nsecsElapsed() / 1e6);
        run.waitForFinished(-1);
        if (ran < 0)
            ran = t.nsecsElapsed() / 1e6;
        runTimes->append(ran);
        QProcess rm;
        rm.start("docker", {"rm", "-f", name});
        rm.waitForFinished(-1);
        QTest::qWait(300);
    }
    return samples;
}

QString spread(QList<double> samples)
{
    std::sort(samples.begin(), samples.end());
    return QStringLiteral("median %1 ms of %2, best %3, worst %4")
        .arg(median(samples), 0, 'f', 0).arg(samples.size()).arg(samples.first(), 0, 'f', 0).arg(samples.last(), 0, 'f', 0);
}

qint64 procField(qint64 pid, const char *file, const QByteArray &key)
{
    QFile f(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(file)));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : f.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

double childCpuSeconds(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    // The fields after the command name, which may itself hold spaces.
    const QByteArray stat = f.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toLongLong() + fields.value(12).toLongLong()) / double(sysconf(_SC_CLK_TCK));
}

void benchEvents(QSettings &settings, int rounds, int idleSeconds)
{
    PollTiming polling;
    polling.followEvents = false;
    for (const bool events : {true, false}) {
        AppStore store(&settings, std::make_shared<CliEngine>(), events ? PollTiming{} : polling);
        store.setWindowVisible(true);
        store.start();
        QTest::qWait(2500);
        QList<double> runTimes;
        const auto latencies = runLatencies(store, rounds, events ? "ev" : "poll", &runTimes);
        out << (events ? "docker run -d to the changed list, with events:   " : "docker run -d to the changed list, polling at 2 s: ") << spread(latencies)
            << " (the run itself " << spread(runTimes) << ")" << (events ? " (goal 250)" : "") << "\n";
        out.flush();
        if (!events)
            continue;
        const qint64 pid = store.events().childPid();
        const double before = childCpuSeconds(pid);
        QTest::qWait(idleSeconds * 1000);
        const double used = childCpuSeconds(pid) - before;
        out << "events child (docker events): resident " << QString::number(procField(pid, "status", "VmRSS:") / 1024.0, 'f', 1)
            << " MB, CPU over " << idleSeconds << " s idle " << QString::number(100.0 * used / idleSeconds, 'f', 3) << " % of a core\n";
        out.flush();
    }
}

// Each side three times, alternating, the best of each kept: the page cache favours neither.
void benchBackup(const QString &image)
{
    const QString volume = "bench-backup";
    shellMs("docker volume rm -f " + volume + " >/dev/null; docker run --rm -v " + volume + ":/d " + image
                 + " sh -c 'head -c 209715200 /dev/urandom > /d/big'");
    QTemporaryDir dir;
    double bare = 1e9, korvat = 1e9;
    const CliEngine engine;
    for (int i = 0; i < 3; ++i) {
        bare = std::min(bare, 1e-3 * shellMs("docker create --name bench-cp -v " + volume + ":/volume " + image + " true >/dev/null && docker cp bench-cp:/volume - > "
                                           + dir.filePath("bare.tar") + "; docker rm -f bench-cp >/dev/null"));
        QElapsedTimer t;
        t.start();
        engine.perform(EngineAction::volumeData(EngineAction::Kind::BackupVolume, volume, dir.filePath("korvat.tar")), {});
        korvat = std::min(korvat, t.elapsed() / 1000.0);
    }
    out << "backup of a 200 MB volume: " << QString::number(korvat, 'f', 2) << " s; bare docker create + cp + rm " << QString::number(bare, 'f', 2)
        << " s; ratio " << QString::number(korvat / bare, 'f', 2) << " (goal 1.5)\n";
    shellMs("docker volume rm -f " + volume + " >/dev/null");
}

// Runs the event loop until the future is done, as the window would; spinning on
// processEvents instead takes a core from the engine and the CLI being measured.
void benchDetails(AppStore &store, const QString &name, int rounds)
{
    QList<double> korvat, bare;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer t;
        t.start();
        auto future = QtConcurrent::run(AppStore::workers(), [engine = store.engine(), name, runtime = store.runtime()] {
            return engine->containerDetails(name, runtime);
        });
        QFutureWatcher<std::optional<ContainerDetails>> watcher;
        QEventLoop loop;
        QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
        watcher.setFuture(future);
        loop.exec();
        if (!future.result()) {
            out << "details: no container " << name << "\n";
            return;
        }
        korvat << t.nsecsElapsed() / 1e6;
        bare << shellMs("docker inspect --type container " + name + " >/dev/null");
    }
    out << QString("details  of %1 (%2 each): through Korvat median %3 ms, bare docker inspect %4 ms (goal 150 to a filled sheet)\n")
               .arg(name).arg(rounds).arg(median(korvat), 0, 'f', 1).arg(median(bare), 0, 'f', 1);
}

void waitFor(const QFuture<void> &future)
{
    QFutureWatcher<void> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(future);
    if (!future.isFinished())
        loop.exec();
}

// A pull through the store (its progress read and handed to the UI thread) against a bare
// `docker pull` of the same image from the same registry, alternating, seven of each; and
// how long a progress line takes from the CLI to the UI thread.
void benchPull(AppStore &store, const QString &reference)
{
    QList<double> bare, korvat;
    for (int i = 0; i < 7; ++i) {
        shellMs("docker rmi -f " + reference + " >/dev/null 2>&1");
        bare << 1e-3 * shellMs("docker pull " + reference + " >/dev/null");
        shellMs("docker rmi -f " + reference + " >/dev/null 2>&1");
        // Until the pull's work ends: its result is shown; the listing after it is not counted.
        QEventLoop loop;
        QObject::connect(&store.work(), &LongWork::removed, &loop, &QEventLoop::quit);
        QElapsedTimer t;
        t.start();
        store.pull(reference);
        loop.exec();
        korvat << t.elapsed() / 1000.0;
    }
    // The hand-over alone: each line stamped on the worker, each change timed on arrival.
    shellMs("docker rmi -f " + reference + " >/dev/null 2>&1");
    LongWork work;
    const int id = work.begin(Work::Kind::Pull, reference);
    Watch watch = work.watch(id);
    auto pending = std::make_shared<QList<qint64>>();
    auto mutex = std::make_shared<QMutex>();
    QElapsedTimer clock;
    clock.start();
    const auto line = watch.line;
    watch.line = [=, &clock](const QString &text) {
        {
            QMutexLocker lock(mutex.get());
            pending->append(clock.elapsed());
        }
        line(text);
    };
    QList<qint64> delays;
    QObject::connect(&work, &LongWork::changed, [&] {
        QMutexLocker lock(mutex.get());
        if (!pending->isEmpty())
            delays << clock.elapsed() - pending->first();
        pending->clear();
    });
    waitFor(QtConcurrent::run([&] { CliEngine().perform(EngineAction::pull(reference), {}, watch); }));
    QCoreApplication::processEvents();
    std::sort(delays.begin(), delays.end());
    const auto seconds = [](QList<double> samples) {
        std::sort(samples.begin(), samples.end());
        return std::pair(samples.first(), samples.at(samples.size() / 2));
    };
    const auto [bareBest, bareMedian] = seconds(bare);
    const auto [korvatBest, korvatMedian] = seconds(korvat);
    out << "pull of " << reference << " (7 each, alternating): through Korvat best " << QString::number(korvatBest, 'f', 2) << " s, median "
        << QString::number(korvatMedian, 'f', 2) << " s; bare docker pull best " << QString::number(bareBest, 'f', 2) << " s, median "
        << QString::number(bareMedian, 'f', 2) << " s; ratio of medians " << QString::number(korvatMedian / bareMedian, 'f', 3) << " (goal 1.05)\n";
    if (!delays.isEmpty())
        out << "progress from the CLI to the UI thread: median " << delays[delays.size() / 2] << " ms, worst " << delays.last()
            << " ms of " << delays.size() << " changes (goal 200, drawing adds a frame)\n";
    shellMs("docker rmi -f " + reference + " >/dev/null 2>&1");
}

// From asking to a plan on the UI thread: the disk report read on a worker (the engine's
// two `system df`), then the plan worked out of it; beside the same two commands from a shell.
void benchReclaim(AppStore &store, int rounds)
{
    QList<double> plans, rules, shell;
    ReclaimPlan plan;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer t;
        t.start();
        const DiskReading read = QCoro::waitFor(store.readDisk());
        QElapsedTimer r;
        r.start();
        plan = AppStore::reclaimPlan(read);
        rules << r.nsecsElapsed() / 1e6;
        plans << t.nsecsElapsed() / 1e6;
        shell << shellMs("docker system df -v --format json >/dev/null; docker system df --format json >/dev/null");
    }
    qsizetype items = 0;
    for (const auto &c : plan.categories)
        items += c.items.size();
    out << QString("reclaim plan  containers %1  volumes %2  images %3  listed %4: %5 ms (budget 2000), of which the rules %6 ms; "
                   "bare system df -v and df %7 ms (ratio %8)\n")
               .arg(store.containers().size()).arg(store.volumes().size()).arg(store.images().size()).arg(items)
               .arg(median(plans), 0, 'f', 0).arg(median(rules), 0, 'f', 1).arg(median(shell), 0, 'f', 0).arg(median(plans) / median(shell), 0, 'f', 2);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString mode = args.value(1, "all");
    QTemporaryDir dir;
    QSettings settings(dir.filePath("bench.conf"), QSettings::NativeFormat);
    AppStore store(&settings, std::make_shared<CliEngine>());
    QCoro::waitFor(store.loadContexts());
    if (mode == "refresh" || mode == "all")
        benchRefresh(store, 15);
    if (mode == "quiet" || mode == "all")
        benchQuietPoll(store, 100);
    if (mode == "backup") {
        benchBackup(qEnvironmentVariable("KORVAT_TEST_IMAGE"));
        out.flush();
        return 0;
    }
    if (mode == "pull") {
        benchPull(store, args.value(2));
        out.flush();
        return 0;
    }
    if (mode == "details") {
        benchDetails(store, args.value(2), 15);
        out.flush();
        return 0;
    }
    if (mode == "reclaim") {
        benchReclaim(store, 5);
        out.flush();
        return 0;
    }
    if (mode == "events") {
        benchEvents(settings, 20, args.value(2, "60").toInt());
        return 0;
    }
    if (mode == "rules" || mode == "all") {
        benchRules(1000);
        benchRules(5000);
    }
    out.flush();
    return 0;
}
