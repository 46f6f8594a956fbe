// What Korvat costs at rest on a real engine, counted whole: its own CPU, every docker child
// it ran (reaped children from /proc/self/stat, live ones from their own stat), and what it
// makes the engine do, beside the engine left alone over the same time. Then the time from
// a `docker stop` in a shell to the changed row.
//   bench_cost SECONDS         window shown, then hidden; then 20 stops of one running container
//   bench_cost SECONDS usage   a window tall enough to show every running container's use,
//                              then hidden, beside a bare `docker stats` of the same containers
//   bench_cost SECONDS ssh     the window on the ssh context KORVAT_BENCH_SSH_CONTEXT, counting
//                              the sshd side too (KORVAT_BENCH_SSHD_PID and its sessions), then
//                              a listing through Korvat beside the bare client's over the same
//                              kept connection, then stops as above
//   bench_cost SECONDS engines two local engines watched, the second's dockerd named by
//                              KORVAT_BENCH_ENGINE2_PID and counted with the first: the window
//                              shown with every row's use; then the stops as above on the first
//                              while the second hangs (SIGSTOP), and how soon it is fresh again
// Run through bench/run.sh, which starts a private engine, fills it, and exports
// KORVAT_BENCH_ENGINE_PID (dockerd's, checked; its own containerd listens under its
// --exec-root, or KORVAT_ENGINE_EXEC, unless it names the system's) and
// KORVAT_BENCH_CONTAINER (a running one to stop).

#include "appstore.h"
#include "containermodel.h"
#include "desktop.h"
#include "benchsupport.h"
#include "shell.h"
#include "sshlink.h"

#include <QCoroTask>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QQuickWindow>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <QSet>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

QTextStream out(stdout);



// An empty host is the one DOCKER_HOST names.
QStringList runningContainers(const QString &host = {}, bool whole = false);

QList<QByteArray> arguments(qint64 pid)
{
    return readProc(QStringLiteral("/proc/%1/cmdline").arg(pid)).split('\0');
}

// A daemon's flag, given as "--flag value" or "--flag=value".
QByteArray flagOf(const QList<QByteArray> &args, const QByteArray &flag)
{
    for (qsizetype i = 0; i < args.size(); ++i) {
        if (args[i].startsWith(flag + '='))
            return args[i].mid(flag.size() + 1);
        if (args[i] == flag && i + 1 < args.size())
            return args[i + 1];
    }
    return {};
}

// An engine whose work is counted: its dockerd, where its containerd listens (the system's
// when it names one, else its own under its exec root), and where it answers.
struct Daemon {
    qint64 pid;
    QByteArray containerd;
    QString host;
};

// Checked: a wrong id would read as an engine that costs nothing.
Daemon daemonNamedBy(const char *variable)
{
    const qint64 pid = qEnvironmentVariableIntValue(variable);
    const QList<QByteArray> args = arguments(pid);
    if (pid <= 0 || !args.value(0).endsWith("dockerd")) {
        out << "bench_cost: " << variable << " (" << qgetenv(variable) << ") is not a running dockerd\n";
        out.flush();
        std::exit(1);
    }
    QByteArray containerd = flagOf(args, "--containerd");
    if (containerd.isEmpty()) {
        const QByteArray root = flagOf(args, "--exec-root");
        containerd = (root.isEmpty() ? qgetenv("KORVAT_ENGINE_EXEC") : root) + "/containerd/containerd.sock";
    }
    return {pid, containerd, QString::fromUtf8(flagOf(args, "--host"))};
}

// The engine Korvat shows, and the second one when KORVAT_BENCH_ENGINE2_PID names it.
const QList<Daemon> &daemons()
{
    static const QList<Daemon> all = [] {
        QList<Daemon> found{daemonNamedBy("KORVAT_BENCH_ENGINE_PID")};
        if (qEnvironmentVariableIsSet("KORVAT_BENCH_ENGINE2_PID"))
            found << daemonNamedBy("KORVAT_BENCH_ENGINE2_PID");
        return found;
    }();
    return all;
}

// The shims containerd started for this engine's containers: they leave containerd's tree
// at once, and they do much of the work of reading a container's use. Found by the address
// they serve, they must account for every running container, or the figure is wrong.
QList<qint64> shims(const Daemon &daemon)
{
    const QByteArray &address = daemon.containerd;
    QList<qint64> found;
    QSet<QByteArray> ids;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        if (!number)
            continue;
        const QList<QByteArray> args = arguments(pid);
        if (!args.value(0).contains("containerd-shim") || !args.contains(address))
            continue;
        found << pid << descendants(pid);
        const qsizetype id = args.indexOf("-id");
        if (id >= 0)
            ids.insert(args.value(id + 1));
    }
    static QSet<qint64> checked;
    if (!checked.contains(daemon.pid)) {
        checked.insert(daemon.pid);
        for (const QString &running : runningContainers(daemon.host, true)) {
            if (!ids.contains(running.toUtf8())) {
                out << "bench_cost: no shim at " << address << " runs container " << running << "\n";
                out.flush();
                std::exit(1);
            }
        }
    }
    return found;
}

// Each dockerd and what runs under it: containerd, the shims, the containers.
qint64 engineTicks()
{
    qint64 sum = 0;
    for (const Daemon &daemon : daemons()) {
        sum += ticks(daemon.pid, true);
        for (const qint64 pid : descendants(daemon.pid) + shims(daemon))
            sum += ticks(pid, true);
    }
    return sum;
}

double residentMb()
{
    for (const QByteArray &line : readProc(QStringLiteral("/proc/self/status")).split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

QString percent(qint64 ticks, double seconds)
{
    return QString::number(100.0 * double(ticks) / double(sysconf(_SC_CLK_TCK)) / seconds, 'f', 2) + QStringLiteral(" %");
}

// The ssh server in front of the engine, with every session it runs, where one is measured.
qint64 sshdTicks()
{
    const qint64 sshd = qEnvironmentVariableIntValue("KORVAT_BENCH_SSHD_PID");
    if (sshd <= 0)
        return 0;
    return treeTicks(sshd);
}

// What Korvat and the engine spent over the span, in ticks; the whole of it, engine alone
// subtracted, is the added cost. The ssh server's share counts as Korvat's.
struct Spent {
    qint64 korvat;
    qint64 engine;
    double seconds;
};

Spent spend(int seconds)
{
    const qint64 korvat = treeTicks(getpid()) + sshdTicks(), engine = engineTicks();
    QElapsedTimer t;
    t.start();
    wait(seconds * 1000);
    return {treeTicks(getpid()) + sshdTicks() - korvat, engineTicks() - engine, double(t.elapsed()) / 1000.0};
}

// Budgets in % of a core, either of them unset: Korvat's own share, and the whole it adds.
struct Budgets {
    const char *own;
    const char *added;
};

Budgets atRest()
{
    return {qEnvironmentVariableIntValue("KORVAT_BENCH_SCALE") >= 1000 ? "0.5" : "0.3", "0.3"};
}

void measure(const char *label, int seconds, qint64 engineAloneTicks, Budgets budgets)
{
    const Spent s = spend(seconds);
    const auto budget = [](const char *b) { return b ? QStringLiteral(" (budget %1)").arg(QLatin1String(b)) : QString(); };
    out << label << ": Korvat + children " << percent(s.korvat, s.seconds) << " of a core" << budget(budgets.own) << ", engine "
        << percent(s.engine, s.seconds) << " (alone " << percent(engineAloneTicks, s.seconds) << "), whole added "
        << percent(s.korvat + s.engine - engineAloneTicks, s.seconds) << budget(budgets.added) << ", resident "
        << QString::number(residentMb(), 'f', 1) << " MB\n";
    out.flush();
}

QStringList runningContainers(const QString &host, bool whole)
{
    QStringList args{QStringLiteral("ps"), QStringLiteral("-q")};
    if (whole)
        args << QStringLiteral("--no-trunc");
    if (!host.isEmpty())
        args = QStringList{QStringLiteral("-H"), host} + args;
    QProcess p;
    p.start(QStringLiteral("docker"), args);
    p.waitForFinished(60000);
    return QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

// The floor under any reader of usage: the client's own stream of the same containers.
void bareStats(int seconds, qint64 engineAloneTicks)
{
    QProcess stats;
    stats.setStandardOutputFile(QProcess::nullDevice());
    stats.start(QStringLiteral("docker"), QStringList{QStringLiteral("stats"), QStringLiteral("--format"), QStringLiteral("json")} + runningContainers());
    wait(3000);
    const qint64 child = ticks(stats.processId(), false);
    const qint64 engine = engineTicks();
    QElapsedTimer t;
    t.start();
    wait(seconds * 1000);
    const double elapsed = double(t.elapsed()) / 1000.0;
    const qint64 client = ticks(stats.processId(), false) - child, engineSpent = engineTicks() - engine;
    stats.kill();
    stats.waitForFinished();
    out << "bare docker stats of the same containers: client " << percent(client, elapsed) << ", engine " << percent(engineSpent, elapsed)
        << ", whole added " << percent(client + engineSpent - engineAloneTicks, elapsed) << "\n";
    out.flush();
}

bool docker(const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral("docker"), args);
    return p.waitForFinished(60000) && p.exitCode() == 0;
}

std::optional<QString> stateOf(ContainerModel &model, const QString &name)
{
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex i = model.index(row);
        if (i.data(ContainerModel::NameRole).toString() == name)
            return i.data(ContainerModel::ContainerStateRole).toString();
    }
    return std::nullopt;
}

// From `docker stop` returning in a shell to the row saying so, and from its start.
void latency(Desktop::Session &session, const QString &name, const QString &beside = {})
{
    ContainerModel &model = *session.shell().containers();
    QList<double> fromReturn, fromStart;
    for (int i = 0; i < 20; ++i) {
        docker({QStringLiteral("start"), name});
        QElapsedTimer settle;
        settle.start();
        while (stateOf(model, name) != QStringLiteral("running") && settle.elapsed() < 10000)
            wait(5);
        wait(300);
        QProcess stop;
        QElapsedTimer t;
        double returned = -1, shown = -1;
        QObject::connect(&stop, &QProcess::finished, [&] { returned = double(t.nsecsElapsed()) / 1e6; });
        const auto connection = QObject::connect(&model, &QAbstractItemModel::dataChanged, [&] {
            if (shown < 0 && stateOf(model, name) == QStringLiteral("exited"))
                shown = double(t.nsecsElapsed()) / 1e6;
        });
        t.start();
        stop.start(QStringLiteral("docker"), {QStringLiteral("stop"), QStringLiteral("-t"), QStringLiteral("0"), name});
        while ((returned < 0 || shown < 0) && t.elapsed() < 20000)
            wait(1);
        QObject::disconnect(connection);
        fromStart << shown;
        fromReturn << std::max(0.0, shown - returned);
    }
    const auto median = [](QList<double> v) {
        std::sort(v.begin(), v.end());
        return QString::number(v[v.size() / 2], 'f', 0);
    };
    out << "docker stop to the changed row" << beside << ": median " << median(fromReturn) << " ms after the command returned, " << median(fromStart)
        << " ms after it started (20 stops; budget 100)\n";
}

}

// The median of eleven container listings: through the store (its child, its parsing, the
// rows applied), and the bare client's over the same kept connection.
void listingOverSsh(AppStore &store, const QString &context)
{
    const auto median = [](auto run) {
        QList<double> v;
        for (int i = 0; i < 11; ++i) {
            QElapsedTimer t;
            t.start();
            run();
            v << double(t.nsecsElapsed()) / 1e6;
        }
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    const double korvat = median([&] { QCoro::waitFor(store.refresh(Listing::Containers)); });
    // The same way Korvat's own children go: the forwarded socket, else the multiplexed ssh.
    QProcess bare;
    auto env = QProcessEnvironment::systemEnvironment();
    const QString forward = SshLink::forwardFor(context);
    QStringList args{QStringLiteral("ps"), QStringLiteral("-a"), QStringLiteral("--format"), QStringLiteral("json")};
    if (forward.isEmpty()) {
        env.insert(QStringLiteral("PATH"), SshLink::shimFor(context) + u':' + env.value(QStringLiteral("PATH")));
        args = QStringList{QStringLiteral("--context"), context} + args;
    } else {
        env.insert(QStringLiteral("DOCKER_HOST"), forward);
    }
    bare.setProcessEnvironment(env);
    const double client = median([&] {
        bare.start(QStringLiteral("docker"), args);
        bare.waitForFinished(60000);
    });
    out << "listing over ssh: through Korvat median " << QString::number(korvat, 'f', 1) << " ms, bare client over the kept connection "
        << QString::number(client, 'f', 1) << " ms, ratio " << QString::number(korvat / client, 'f', 2) << " (budget 1.2)\n";
    out.flush();
}

// The engines the store watches, each with what it lists and whose use it reads; false
// unless both answer, or the figures would pass one engine's cost as two's.
bool twoWatched(AppStore &store)
{
    int answering = 0;
    for (EngineStore *engine : store.engines()) {
        out << engine->name() << ": " << engine->containers().size() << " containers, usage read for " << engine->usage().wanted().size()
            << "\n";
        answering += engine->answered() && !engine->error();
    }
    out.flush();
    return answering == 2;
}

// The second engine hangs, as a stopped daemon does: its listings and stream get no answer
// until their deadlines. Its stream merely falls silent, so the window is shown again, which
// lists every engine at once: one listing of the second is left waiting. Meanwhile the
// first's changes must keep their pace, and once let go the second must come back by itself.
void secondHung(Desktop::Session &session, const QString &running)
{
    QPointer<EngineStore> second;
    for (EngineStore *engine : session.store().engines()) {
        if (engine != &session.store().selected())
            second = engine;
    }
    const qint64 pid = daemons().value(1).pid;
    ::kill(pid, SIGSTOP);
    auto resumed = qScopeGuard([pid] { ::kill(pid, SIGCONT); });
    session.window()->hide();
    wait(500);
    session.window()->show();
    wait(15000);   // past the time a listing may take before its rows show as stale
    out << "second engine hung for 15 s: shown as stale " << (second && second->stale() ? "yes" : "no") << "\n";
    latency(session, running, QStringLiteral(" on the first, the second hung"));
    resumed.dismiss();
    ::kill(pid, SIGCONT);
    QElapsedTimer back;
    back.start();
    while (second && (second->stale() || second->error()) && back.elapsed() < 60000)
        wait(20);
    const QString outcome = !second                              ? QStringLiteral("no longer watched")
                            : second->stale() || second->error() ? QStringLiteral("still stale after 60 s")
                                                                 : QStringLiteral("fresh again after %1 ms").arg(back.elapsed());
    out << "second engine let go: " << outcome << "\n";
    out.flush();
}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    Desktop::prepareApplication();
    const int seconds = app.arguments().value(1, QStringLiteral("30")).toInt();
    const bool usage = app.arguments().value(2) == QLatin1String("usage");
    const bool ssh = app.arguments().value(2) == QLatin1String("ssh");
    const bool engines = app.arguments().value(2) == QLatin1String("engines");
    const QString sshContext = qEnvironmentVariable("KORVAT_BENCH_SSH_CONTEXT");
    if (engines && daemons().size() != 2) {
        out << "bench_cost: KORVAT_BENCH_ENGINE2_PID must name the second engine's dockerd\n";
        return 1;
    }
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("bench.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    settings.setValue(QStringLiteral("category"), QStringLiteral("containers"));

    // The engine on its own first, over the same span.
    qint64 alone = engineTicks();
    wait(seconds * 1000);
    alone = engineTicks() - alone;

    {
        Desktop::Session session(&settings, false);
        // Its first reading of the images' origins falls in the settling time, so what is
        // measured is the rest between checks.
        session.store().newer().setOptions({std::chrono::seconds(2)});
        session.store().start();
        if (ssh)
            session.store().select(Runtime::context(sshContext));
        if (usage || engines)
            session.window()->resize(1080, 1900);   // every row on screen
        session.window()->show();
        wait(10000);   // lists, first frames and the event stream settle
        const QString running = qEnvironmentVariable("KORVAT_BENCH_CONTAINER");
        if (engines) {
            if (!twoWatched(session.store())) {
                out << "bench_cost: two engines must answer, KORVAT_BENCH_ENGINE2_PID naming the second\n";
                return 1;
            }
            measure("two engines, window shown with usage", seconds, alone, {"0.35", "0.6"});
            if (!running.isEmpty())
                secondHung(session, running);
            return 0;
        }
        if (usage) {
            out << "usage read for " << session.store().usage().wanted().size() << " containers\n";
            measure("window shown with usage", seconds, alone, {nullptr, "2"});
        } else if (ssh) {
            measure("window shown, over ssh, sshd counted", seconds, alone, {nullptr, "0.6"});
        } else {
            measure("window shown", seconds, alone, atRest());
        }
        session.window()->hide();
        wait(2000);
        measure("window hidden", seconds, alone, atRest());
        if (usage) {
            bareStats(seconds, alone);
            return 0;
        }
        if (ssh)
            listingOverSsh(session.store(), sshContext);
        if (!running.isEmpty()) {
            session.window()->show();
            wait(2000);
            latency(session, running);
        }
    }
    return 0;
}
