// A log that floods, its sheet open, on the real engine DOCKER_HOST names:
//   bench_flood [SECONDS]
// A container prints as fast as a shell loop can. First a bare `docker logs -f` of it, its
// output thrown away, and its CPU over SECONDS (10); then the window with the logs sheet
// following it, and the CPU of Korvat (every thread) with its children over as long, the
// ratio of the two against its budget; how soon the window answers a screen reader
// meanwhile, timed from outside over AT-SPI; what the sheet holds; and then, the flood gone,
// how much later than a bare client each line of a quiet log shows in the sheet.
// Run under xvfb-run and dbus-run-session, with QT_QPA_PLATFORM=xcb and
// QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1, as bench/run.sh does, with the private engine's
// DOCKER_HOST and KORVAT_TEST_IMAGE.

#include "actions.h"
#include "appstore.h"
#include "desktop.h"
#include "logfollower.h"
#include "benchsupport.h"
#include "shell.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QQuickWindow>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <unistd.h>

namespace {

QTextStream out(stdout);



QString percent(double ticksPerSecond)
{
    return QString::number(100.0 * ticksPerSecond / double(sysconf(_SC_CLK_TCK)), 'f', 1) + QStringLiteral(" %");
}

QString share(qint64 ticks, double seconds)
{
    return percent(double(ticks) / seconds);
}

QString dockerOutput(const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral("docker"), args);
    p.waitForFinished(60000);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

// A container of this name, started anew, removed with this.
struct Started {
    Started(const QString &name, const QStringList &command) : name(name)
    {
        dockerOutput({QStringLiteral("rm"), QStringLiteral("-f"), name});
        const QString image = qEnvironmentVariable("KORVAT_TEST_IMAGE", QStringLiteral("korvat-test/busybox:1"));
        id = dockerOutput(QStringList{QStringLiteral("run"), QStringLiteral("-d"), QStringLiteral("--name"), name, image} + command);
    }
    Started(const Started &) = delete;
    Started &operator=(const Started &) = delete;
    ~Started() { dockerOutput({QStringLiteral("rm"), QStringLiteral("-f"), name}); }

    QString name;
    QString id;
};

// The logs sheet on the container of this name, once the store lists it.
LogFollower *openLogs(Desktop::Session &session, const QString &name)
{
    QString listed;
    QElapsedTimer shown;
    shown.start();
    while (listed.isEmpty() && shown.elapsed() < 30000) {
        for (const Container &c : session.store().containers()) {
            if (c.name == name)
                listed = c.id;
        }
        if (listed.isEmpty())
            wait(100);
    }
    LogFollower *follower = nullptr;
    const auto caught = QObject::connect(&session.actions(), &Actions::logsRequested, [&](LogFollower *f, const QString &) { follower = f; });
    session.actions().perform(Verb::ContainerLogs, listed);
    QObject::disconnect(caught);
    return follower;
}

// The floor: the client alone, its output thrown away. In ticks a second.
double bareClient(const QString &id, int seconds)
{
    QProcess bare;
    bare.setStandardOutputFile(QProcess::nullDevice());
    bare.setStandardErrorFile(QProcess::nullDevice());
    bare.start(QStringLiteral("docker"), {QStringLiteral("logs"), QStringLiteral("-f"), QStringLiteral("--tail"), QStringLiteral("300"), id});
    wait(2000);
    const qint64 before = ticks(bare.processId());
    QElapsedTimer t;
    t.start();
    wait(seconds * 1000);
    const double perSecond = double(ticks(bare.processId()) - before) / (double(t.elapsed()) / 1000.0);
    bare.kill();
    bare.waitForFinished();
    out << "bare docker logs -f over " << seconds << " s: " << percent(perSecond) << " of a core\n";
    return perSecond;
}

// Korvat following the flood: its threads, its docker logs child, and every other child.
void following(const QString &id, int seconds, double bare)
{
    qint64 child = 0;
    for (const qint64 pid : descendants(getpid())) {
        const QByteArray cmdline = readProc(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (cmdline.contains("logs") && cmdline.contains(id.left(12).toUtf8()))
            child = pid;
    }
    if (child == 0) {
        out << "bench_flood: the sheet's docker logs child is not running\n";
        return;
    }
    const qint64 ownBefore = ticks(getpid()), childBefore = ticks(child), wholeBefore = treeTicks(getpid());
    QElapsedTimer t;
    t.start();
    wait(seconds * 1000);
    const double elapsed = double(t.elapsed()) / 1000.0;
    const qint64 own = ticks(getpid()) - ownBefore, logs = ticks(child) - childBefore, whole = treeTicks(getpid()) - wholeBefore;
    const double ratio = (double(whole) / elapsed) / std::max(1e-9, bare);
    out << "Korvat following it over " << QString::number(elapsed, 'f', 1) << " s: " << share(whole, elapsed) << " of a core (its threads "
        << share(own, elapsed) << ", its docker logs child " << share(logs, elapsed) << ", other children "
        << share(whole - own - logs, elapsed) << "); ratio " << QString::number(ratio, 'f', 2) << " (budget 1.5)\n";
    out.flush();
}

// A screen reader's questions, from outside, while this thread goes on following.
void screenReader()
{
    QProcess reader;
    reader.setProcessChannelMode(QProcess::MergedChannels);
    // The system's own interpreter: pyatspi comes with the distribution.
    reader.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral(KORVAT_ATSPI_LATENCY), QString::number(QCoreApplication::applicationPid())});
    QElapsedTimer asked;
    asked.start();
    while (reader.state() != QProcess::NotRunning && asked.elapsed() < 180000)
        wait(20);
    if (reader.state() != QProcess::NotRunning) {
        reader.kill();
        reader.waitForFinished();
    }
    out << "accessibility query while following, ms: " << QString::fromUtf8(reader.readAll()).trimmed() << " (budget 50 median)\n";
}

void held(Transcript &lines, const QString &id)
{
    const QString newest = lines.plainText().section(u'\n', -2, -2);
    out << "the sheet holds " << lines.total() << " lines, the newest \"" << newest << "\"; the engine's newest then \""
        << dockerOutput({QStringLiteral("logs"), QStringLiteral("--tail"), QStringLiteral("1"), id}) << "\"; note: " << lines.note() << '\n';
    out.flush();
}

// Each line of a quiet log, written into the container's own output as its program would:
// how much later it shows in the sheet than a bare client on this same thread reads it.
void quietLog(Desktop::Session &session)
{
    const auto quiet = std::make_unique<Started>(QStringLiteral("korvat-bench-quiet"), QStringList{QStringLiteral("sleep"), QStringLiteral("3600")});
    LogFollower *follower = openLogs(session, quiet->name);
    QProcess bare;
    bare.start(QStringLiteral("docker"), {QStringLiteral("logs"), QStringLiteral("-f"), QStringLiteral("--tail"), QStringLiteral("0"), quiet->id});
    wait(2000);
    if (!follower) {
        out << "bench_flood: the quiet log's sheet did not open\n";
        return;
    }
    Transcript &lines = *follower->transcript();
    QList<double> later;
    for (int i = 0; i < 10; ++i) {
        const QString ping = QStringLiteral("ping %1").arg(i);
        QElapsedTimer sent;
        double bareAt = -1, sheetAt = -1;
        const auto bareRead = QObject::connect(&bare, &QProcess::readyReadStandardOutput, [&] {
            if (bare.readAllStandardOutput().contains(ping.toUtf8()))
                bareAt = double(sent.nsecsElapsed()) / 1e6;
        });
        const auto shown = QObject::connect(&lines, &Transcript::countChanged, [&] {
            if (lines.count() > 0 && lines.index(lines.count() - 1).data(Transcript::TextRole).toString() == ping)
                sheetAt = double(sent.nsecsElapsed()) / 1e6;
        });
        QProcess exec;
        sent.start();
        exec.start(QStringLiteral("docker"), {QStringLiteral("exec"), quiet->id, QStringLiteral("sh"), QStringLiteral("-c"),
                                              QStringLiteral("echo %1 > /proc/1/fd/1").arg(ping)});
        while ((bareAt < 0 || sheetAt < 0) && sent.elapsed() < 5000)
            wait(1);
        exec.waitForFinished();
        QObject::disconnect(bareRead);
        QObject::disconnect(shown);
        if (bareAt >= 0 && sheetAt >= 0)
            later << sheetAt - bareAt;
        wait(300);
    }
    bare.kill();
    bare.waitForFinished();
    std::sort(later.begin(), later.end());
    if (later.isEmpty()) {
        out << "a quiet log: no line reached both the sheet and the bare client\n";
        return;
    }
    out << "a quiet log, each line in the sheet after a bare client read it: median " << QString::number(later.at(later.size() / 2), 'f', 1)
        << " ms, worst " << QString::number(later.last(), 'f', 1) << " ms (" << later.size() << " lines)\n";
}

}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    Desktop::prepareApplication();
    const int seconds = app.arguments().value(1, QStringLiteral("10")).toInt();
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("bench.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);

    auto flood = std::make_unique<Started>(
        QStringLiteral("korvat-bench-flood"),
        QStringList{QStringLiteral("sh"), QStringLiteral("-c"), QStringLiteral("i=0; while :; do echo \"line $i\"; i=$((i+1)); done")});
    if (flood->id.isEmpty()) {
        out << "bench_flood: the container did not start (is DOCKER_HOST the bench engine's?)\n";
        return 1;
    }
    wait(2000);
    const double bare = bareClient(flood->id, seconds);

    Desktop::Session session(&settings, false);
    session.store().start();
    session.shell().setCategory(int(Category::Containers));
    session.window()->show();
    LogFollower *follower = openLogs(session, flood->name);
    wait(3000);   // the sheet opens; the last 300 lines and the first of the flood settle
    if (!follower) {
        out << "bench_flood: the logs sheet did not open\n";
        return 1;
    }
    following(flood->id, seconds, bare);
    screenReader();
    held(*follower->transcript(), flood->id);
    flood.reset();
    quietLog(session);
    return 0;
}
