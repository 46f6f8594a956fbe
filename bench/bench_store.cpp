// Measures the store against the commands it cannot avoid running, side by side in one run:
//   refresh      one refresh vs the same three listings from a shell, together and in turn
//   rules        parsing, grouping, registry merge and filtering of many containers
//   quiet-poll   the store's own CPU for a poll that finds nothing new (children excluded)
// Run through bench/run.sh, which starts a private engine and fills it.

#include "appstore.h"
#include "docker.h"
#include "filters.h"
#include "projectregistry.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <sys/resource.h>

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
        const auto merged = ProjectRegistry::merge(Docker::group(matching), known);
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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString mode = args.value(1, "all");
    QTemporaryDir dir;
    QSettings settings(dir.filePath("bench.conf"), QSettings::NativeFormat);
    AppStore store(&settings);
    QCoro::waitFor(store.loadContexts());
    if (mode == "refresh" || mode == "all")
        benchRefresh(store, 15);
    if (mode == "quiet" || mode == "all")
        benchQuietPoll(store, 100);
    if (mode == "rules" || mode == "all") {
        benchRules(1000);
        benchRules(5000);
    }
    out.flush();
    return 0;
}
