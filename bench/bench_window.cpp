// Measures the main window against its budgets, on the software renderer:
//   frame   process start to the first frame of the main window (one run per process)
//   idle    resident memory and the process's own CPU (children excluded) while the window
//           shows the engine's containers and polls every 2 s
//   apply   the UI thread's cost of applying a poll that changes one container among 200
//           in 20 projects, and whether any delegate was made anew
//   switch  switching to the Projects section with 200 containers in 20 projects, to its
//           first frame, and whether a poll that changes one container makes any card or
//           row anew
//   card    one project of 20 services, 12 with containers, 6 never created and 2 behind a
//           profile: from a poll that changes one of its containers to the frame it draws
//   logs    a container printing 100,000 coloured lines as fast as they come into the logs
//           sheet: the longest stall of the window's thread and between frames, resident
//           memory once the buffer is full and at the end, and find over the whole buffer
// Run through bench/run.sh, which starts a private engine and fills it.

#include "appstore.h"
#include "cliengine.h"
#include "desktop.h"
#include "fakeengine.h"
#include "actions.h"
#include "logfollower.h"
#include "shell.h"

#include <QApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

namespace {

QTextStream out(stdout);

// Milliseconds since this process started, from the kernel's own start time.
double sinceProcessStart()
{
    QFile stat(QStringLiteral("/proc/self/stat"));
    stat.open(QIODevice::ReadOnly);
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    const double startTicks = fields.at(19).toDouble();   // field 22 of the whole line
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return (now.tv_sec + now.tv_nsec / 1e9 - startTicks / sysconf(_SC_CLK_TCK)) * 1000.0;
}

double residentMb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
}

void wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

QQuickItem *list(QQuickWindow *window)
{
    return window->findChild<QQuickItem *>(QStringLiteral("containersList"));
}

QSet<QQuickItem *> delegates(QQuickWindow *window)
{
    const auto content = list(window)->property("contentItem").value<QQuickItem *>();
    const QList<QQuickItem *> items = content->childItems();
    return QSet<QQuickItem *>(items.cbegin(), items.cend());
}

// Polls a minute apart and no event stream: only the changes the benchmark makes.
PollTiming quiet()
{
    PollTiming timing;
    timing.visiblePoll = timing.hiddenPoll = std::chrono::minutes(1);
    timing.followEvents = false;
    return timing;
}

FakeEngine::Holdings fleet()
{
    FakeEngine::Holdings s;
    for (int i = 0; i < 200; ++i) {
        Container c{QStringLiteral("%1").arg(i, 12, 16, QLatin1Char('0')), QStringLiteral("bench-%1").arg(i),
                    QStringLiteral("busybox:1"), QStringLiteral("running"), QStringLiteral("Up 2 hours"),
                    QStringLiteral("0.0.0.0:%1->80/tcp").arg(8000 + i), {}};
        c.labels.insert(QString::fromLatin1(Labels::project), QStringLiteral("bench%1").arg(i % 20));
        c.labels.insert(QString::fromLatin1(Labels::workingDir), QStringLiteral("/srv/bench%1").arg(i % 20));
        s.containers.append(c);
    }
    return s;
}

int frame(QSettings &settings)
{
    Desktop::Session session(&settings, false);
    QQuickWindow *window = session.window();
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [] {
        out << QString::number(sinceProcessStart(), 'f', 1) << '\n';
        out.flush();
        QCoreApplication::exit(0);
    });
    window->show();
    return QCoreApplication::exec();
}

int idle(QSettings &settings, int seconds)
{
    Desktop::Session session(&settings, false);
    session.shell().setCategory(int(Category::Containers));
    session.window()->show();
    const int expected = qEnvironmentVariableIntValue("KORVAT_BENCH_CONTAINERS");
    QElapsedTimer shown;
    shown.start();
    while (session.shell().containers()->count() < expected && shown.elapsed() < 30000)
        wait(100);
    wait(5000);   // the first polls, the first frames and lazy allocations settle
    const double before = cpuSeconds();
    QElapsedTimer t;
    t.start();
    wait(seconds * 1000);
    const double cpu = cpuSeconds() - before;
    out << "rows shown: " << session.shell().containers()->count() << '\n';
    out << "resident memory: " << QString::number(residentMb(), 'f', 1) << " MB (budget 80)\n";
    out << "own CPU over " << seconds << " s idle: " << QString::number(100.0 * cpu / (t.elapsed() / 1000.0), 'f', 3)
        << " % of a core (budget 0.5)\n";
    return 0;
}

// The engine holds the fleet now, and the store has listed it.
void show(Desktop::Session &session, FakeEngine &engine, const FakeEngine::Holdings &state)
{
    engine.setHoldings(state);
    QCoro::waitFor(session.store().refresh());
}

// The window over the fleet, on the Containers section, drawn and settled.
void showFleet(Desktop::Session &session, FakeEngine &engine, const FakeEngine::Holdings &state)
{
    QCoro::waitFor(session.store().loadContexts());
    show(session, engine, state);
    session.shell().setCategory(int(Category::Containers));
    session.window()->show();
    wait(500);
}

int apply(QSettings &settings)
{
    auto engine = std::make_shared<FakeEngine>();
    Desktop::Session session(&settings, false, {engine, quiet()});
    FakeEngine::Holdings state = fleet();
    showFleet(session, *engine, state);
    const QSet<QQuickItem *> before = delegates(session.window());

    QList<double> samples;
    for (int round = 0; round < 60; ++round) {
        Container &c = state.containers[100 + round % 7];
        const bool running = c.state == QLatin1String("running");
        c.state = running ? QStringLiteral("exited") : QStringLiteral("running");
        c.status = running ? QStringLiteral("Exited (0) 1 second ago") : QStringLiteral("Up 1 second");
        QElapsedTimer t;
        t.start();
        show(session, *engine, state);
        samples.append(t.nsecsElapsed() / 1e6);
        wait(20);
    }
    std::sort(samples.begin(), samples.end());
    const QSet<QQuickItem *> after = delegates(session.window());
    out << "apply one changed container among 200: median " << QString::number(samples.at(samples.size() / 2), 'f', 3)
        << " ms, worst " << QString::number(samples.last(), 'f', 3) << " ms (budget 2)\n";
    out << "delegates made anew: " << (after - before).size() << " of " << before.size() << '\n';
    return 0;
}

// Every card and container row the projects list has made.
QSet<QObject *> cardsAndRows(QQuickWindow *window)
{
    QSet<QObject *> items;
    auto *projects = window->findChild<QQuickItem *>(QStringLiteral("projectsList"));
    if (!projects)
        return items;
    // Delegates belong to the list's content item by parent item, not by QObject parent.
    std::function<void(QQuickItem *)> visit = [&](QQuickItem *item) {
        if (item->property("containerId").isValid() || item->property("loose").isValid())
            items.insert(item);
        for (QQuickItem *child : item->childItems())
            visit(child);
    };
    visit(projects);
    return items;
}

int switchToProjects(QSettings &settings)
{
    auto engine = std::make_shared<FakeEngine>();
    Desktop::Session session(&settings, false, {engine, quiet()});
    FakeEngine::Holdings state = fleet();
    showFleet(session, *engine, state);

    QList<double> samples;
    for (int round = 0; round < 15; ++round) {
        session.shell().setCategory(int(Category::Containers));
        wait(100);
        QElapsedTimer t;
        QEventLoop frame;
        QObject::connect(session.window(), &QQuickWindow::frameSwapped, &frame, &QEventLoop::quit);
        t.start();
        session.shell().setCategory(int(Category::Projects));
        frame.exec();
        samples.append(t.nsecsElapsed() / 1e6);
    }
    std::sort(samples.begin(), samples.end());
    out << "switch to Projects (200 containers, 20 projects) to its first frame: median "
        << QString::number(samples.at(samples.size() / 2), 'f', 1) << " ms, worst " << QString::number(samples.last(), 'f', 1)
        << " ms (budget 100)\n";

    wait(200);
    const QSet<QObject *> before = cardsAndRows(session.window());
    for (int round = 0; round < 10; ++round) {
        Container &c = state.containers[round % 5];
        c.state = c.state == QLatin1String("running") ? QStringLiteral("exited") : QStringLiteral("running");
        show(session, *engine, state);
        wait(20);
    }
    const QSet<QObject *> after = cardsAndRows(session.window());
    out << "cards and rows made anew by 10 polls that each change one container: " << (after - before).size() << " of "
        << before.size() << '\n';
    return 0;
}

}

int serviceCard(QSettings &settings)
{
    QTemporaryDir dir;
    QFile compose(dir.filePath(QStringLiteral("compose.yaml")));
    compose.open(QIODevice::WriteOnly);
    compose.write("services: {}\n");
    compose.close();
    ResolvedProject defined{QStringLiteral("big"), {}, {}, {}, {}, {}};
    FakeEngine::Holdings state;
    for (int i = 0; i < 20; ++i) {
        const QString service = QStringLiteral("service%1").arg(i, 2, 10, QLatin1Char('0'));
        defined.definitions.append({service, QStringLiteral("busybox:1"), false, i >= 18 ? QStringList{QStringLiteral("debug")} : QStringList{}});
        if (i >= 12)
            continue;
        Container c{QStringLiteral("%1").arg(i, 12, 16, QLatin1Char('0')), QStringLiteral("big-") + service + QStringLiteral("-1"),
                    QStringLiteral("busybox:1"), QStringLiteral("running"), QStringLiteral("Up 2 hours"), {}, {}};
        c.labels.insert(QString::fromLatin1(Labels::project), QStringLiteral("big"));
        c.labels.insert(QString::fromLatin1(Labels::service), service);
        c.labels.insert(QString::fromLatin1(Labels::workingDir), dir.path());
        state.containers.append(c);
    }
    auto engine = std::make_shared<FakeEngine>();
    engine->setComposeProject(dir.path(), defined);
    Desktop::Session session(&settings, false, {engine, quiet()});
    QCoro::waitFor(session.store().loadContexts());
    show(session, *engine, state);
    session.shell().setCategory(int(Category::Projects));
    session.window()->show();
    while (!session.store().definitions().read().contains(dir.path()))
        wait(50);
    wait(500);

    QList<double> samples;
    for (int round = 0; round < 40; ++round) {
        Container &c = state.containers[round % 12];
        const bool running = c.state == QLatin1String("running");
        c.state = running ? QStringLiteral("exited") : QStringLiteral("running");
        c.status = running ? QStringLiteral("Exited (0) 1 second ago") : QStringLiteral("Up 1 second");
        QElapsedTimer t;
        QEventLoop frame;
        QObject::connect(session.window(), &QQuickWindow::frameSwapped, &frame, &QEventLoop::quit);
        t.start();
        show(session, *engine, state);
        frame.exec();
        samples.append(t.nsecsElapsed() / 1e6);
        wait(20);
    }
    std::sort(samples.begin(), samples.end());
    out << "a 20-service card (12 containers, 6 not created, 2 behind a profile), one container changed to its frame: median "
        << QString::number(samples.at(samples.size() / 2), 'f', 1) << " ms, worst " << QString::number(samples.last(), 'f', 1)
        << " ms (frame budget 16.7); compose config reads: " << session.store().definitions().reads() << '\n';
    return 0;
}

int logs(QSettings &settings)
{
    auto engine = std::make_shared<FakeEngine>();
    Desktop::Session session(&settings, false, {engine, quiet()});
    FakeEngine::Holdings state = fleet();
    showFleet(session, *engine, state);
    LogFollower *follower = nullptr;
    QObject::connect(&session.actions(), &Actions::logsRequested, [&](LogFollower *f, const QString &) { follower = f; });
    session.actions().perform(Verb::ContainerLogs, state.containers.first().id);
    wait(500);
    FakeStream *stream = engine->logStreams().constLast();
    if (!follower || !stream) {
        out << "logs: the sheet did not open\n";
        return 1;
    }

    QElapsedTimer clock;
    clock.start();
    qint64 lastFrame = -1, worstFrameGap = 0;
    const auto swapped = QObject::connect(session.window(), &QQuickWindow::frameSwapped, [&] {
        const qint64 now = clock.elapsed();
        if (lastFrame >= 0)
            worstFrameGap = std::max(worstFrameGap, now - lastFrame);
        lastFrame = now;
    });
    // A chunk of 1,000 lines whenever the loop comes back to the writer, as a pipe delivers
    // them to a reader that keeps up; the writer's own gaps are the thread's stalls.
    int written = 0;
    qint64 lastTick = -1, worstStall = 0;
    double fullMb = 0;
    QEventLoop done;
    QTimer writer;
    writer.setInterval(0);
    QObject::connect(&writer, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        if (lastTick >= 0)
            worstStall = std::max(worstStall, now - lastTick);
        lastTick = now;
        QByteArray text;
        for (int i = 0; i < 1000; ++i, ++written)
            text += "\x1b[32mINFO\x1b[0m request " + QByteArray::number(written) + " handled in \x1b[1m12 ms\x1b[0m for /api/items?page=3\n";
        stream->write(text);
        if (written == 50000)
            fullMb = residentMb();
        if (written >= 100000) {
            writer.stop();
            done.quit();
        }
    });
    writer.start();
    done.exec();
    const double seconds = clock.elapsed() / 1000.0;
    wait(500);
    QObject::disconnect(swapped);
    const double endMb = residentMb();

    Transcript &lines = *follower->transcript();
    const auto timed = [&](const QString &text, bool regex) {
        lines.setFindText(QString());
        lines.setRegex(regex);
        QElapsedTimer t;
        t.start();
        lines.setFindText(text);
        return t.nsecsElapsed() / 1e6;
    };
    const double plain = timed(QStringLiteral("request 9999"), false);
    const double regex = timed(QStringLiteral("request 9\\d{4} "), true);
    out << "100,000 lines in " << QString::number(seconds, 'f', 1) << " s: longest stall of the window's thread "
        << worstStall << " ms, between frames " << worstFrameGap << " ms (budget 50)\n";
    out << "buffer holds " << lines.total() << " lines; resident " << QString::number(fullMb, 'f', 1) << " MB at 50,000 lines, "
        << QString::number(endMb, 'f', 1) << " MB at 100,000\n";
    out << "find over the buffer: " << QString::number(plain, 'f', 2) << " ms plain, " << QString::number(regex, 'f', 2)
        << " ms regular expression (budget 10); " << lines.findStatus() << '\n';
    return 0;
}

// Five engines of this machine, 200 containers each, all shown: one engine's refresh
// after one of its containers changed, timed to the frame, and the listings it cost.
int engines(QSettings &settings)
{
    auto engine = std::make_shared<FakeEngine>();
    RuntimeList runtimes;
    QList<FakeEngine::Holdings> fleets;
    for (int e = 0; e < 5; ++e) {
        const QString name = QStringLiteral("engine%1").arg(e);
        runtimes.list.append({Runtime::context(name), QStringLiteral("unix:///run/bench/%1.sock").arg(name), true});
        FakeEngine::Holdings fleet = ::fleet();
        for (Container &c : fleet.containers)
            c.id = QString::number(e) + c.id.mid(1);
        engine->setHoldings(fleet, name);
        fleets.append(fleet);
    }
    runtimes.current = runtimes.list.first().runtime;
    engine->setRuntimes(runtimes);
    Desktop::Session session(&settings, false, {engine, quiet()});
    QCoro::waitFor(session.store().loadContexts());
    session.shell().setCategory(int(Category::Containers));
    session.window()->show();
    wait(1000);
    const int shown = session.shell().containers()->count();

    QList<double> samples;
    const int listingsBefore = engine->calls(FakeEngine::Call::Listing);
    for (int round = 0; round < 40; ++round) {
        FakeEngine::Holdings &state = fleets[3];
        Container &c = state.containers[round % 12];
        const bool running = c.state == QLatin1String("running");
        c.state = running ? QStringLiteral("exited") : QStringLiteral("running");
        c.status = running ? QStringLiteral("Exited (0) 1 second ago") : QStringLiteral("Up 1 second");
        engine->setHoldings(state, QStringLiteral("engine3"));
        QElapsedTimer t;
        QEventLoop frame;
        QObject::connect(session.window(), &QQuickWindow::frameSwapped, &frame, &QEventLoop::quit);
        t.start();
        QCoro::waitFor(session.store().engineNamed(QStringLiteral("engine3"))->refresh());
        frame.exec();
        samples.append(t.nsecsElapsed() / 1e6);
        wait(20);
    }
    std::sort(samples.begin(), samples.end());
    out << "5 engines, " << shown << " rows shown; one engine's refresh, one container changed, to its frame: median "
        << QString::number(samples.at(samples.size() / 2), 'f', 1) << " ms, worst " << QString::number(samples.last(), 'f', 1)
        << " ms (frame budget 16.7); container listings for 40 refreshes of one engine: "
        << engine->calls(FakeEngine::Call::Listing) - listingsBefore << " (the others' none)\n";
    return 0;
}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    Desktop::prepareApplication();
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("bench.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    const QString mode = app.arguments().value(1);
    if (mode == QLatin1String("frame"))
        return frame(settings);
    if (mode == QLatin1String("idle"))
        return idle(settings, app.arguments().value(2, QStringLiteral("60")).toInt());
    if (mode == QLatin1String("apply"))
        return apply(settings);
    if (mode == QLatin1String("switch"))
        return switchToProjects(settings);
    if (mode == QLatin1String("logs"))
        return logs(settings);
    if (mode == QLatin1String("card"))
        return serviceCard(settings);
    if (mode == QLatin1String("engines"))
        return engines(settings);
    out << "usage: bench_window frame|idle [seconds]|apply|switch|card|logs|engines\n";
    return 2;
}
