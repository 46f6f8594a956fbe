#include "appstore.h"
#include "testsupport.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QTimer>
#include <QElapsedTimer>

using namespace TestSupport;

// AppStore against the private engine with a real event loop, on objects each case makes.
class AppStoreLive : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    QStringList m_containers, m_images, m_volumes, m_projectDirs;
    int m_settingsCount = 0;

    std::unique_ptr<QSettings> settings()
    {
        return std::make_unique<QSettings>(m_tmp.filePath(QString("store%1.conf").arg(++m_settingsCount)), QSettings::NativeFormat);
    }
    // A store on the test engine's context, lists loaded.
    std::unique_ptr<AppStore> store(QSettings *s, PollTiming timing = {})
    {
        auto st = std::make_unique<AppStore>(s, timing);
        QCoro::waitFor(st->loadContexts());
        return st;
    }
    QString run(const QStringList &extra = {}, const QStringList &command = sleeper())
    {
        const QString name = uniqueName("kt-st-");
        m_containers << name;
        const auto r = docker(QStringList{"run", "-d", "--name", name} + extra + QStringList{engineImage()} + command);
        if (r.status != 0)
            qWarning("docker run: %s", qPrintable(r.err));
        return name;
    }
    static std::optional<Container> find(const AppStore &st, const QString &name)
    {
        for (const auto &c : st.containers())
            if (c.name == name)
                return c;
        return std::nullopt;
    }
    static std::optional<ComposeProject> project(const AppStore &st, const QString &name)
    {
        for (const auto &p : st.projects())
            if (p.name == name)
                return p;
        return std::nullopt;
    }
    // A compose project directory whose project name is its own (unique) directory name.
    QString composeDir(const QByteArray &compose, const QByteArray &env = {})
    {
        const QString dir = m_tmp.filePath(uniqueName("ktp"));
        writeFile(dir + "/compose.yaml", compose);
        if (!env.isEmpty())
            writeFile(dir + "/.env", env);
        m_projectDirs << dir;
        return dir;
    }
    // Polls a minute apart: whatever the store learns sooner, events told it.
    static PollTiming eventsOnly()
    {
        PollTiming timing;
        timing.visiblePoll = timing.hiddenPoll = std::chrono::minutes(1);
        return timing;
    }
    static QString childLine(qint64 pid, const char *file)
    {
        QFile f(QString("/proc/%1/%2").arg(pid).arg(file));
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).replace(QChar(0), ' ') : QString();
    }
    static bool shell(const QString &script, const QStringList &env = {})
    {
        QProcess sh;
        sh.setProcessChannelMode(QProcess::ForwardedChannels);
        auto environment = QProcessEnvironment::systemEnvironment();
        for (const auto &pair : env)
            environment.insert(pair.section('=', 0, 0), pair.section('=', 1));
        sh.setProcessEnvironment(environment);
        sh.start("sh", {"-c", script});
        return sh.waitForFinished(120000) && sh.exitCode() == 0;
    }
    // A coroutine of its own, not a lambda: a lambda's captures die with the temporary
    // closure while its coroutine still runs.
    static QCoro::Task<> awaitRefresh(AppStore *st, bool *resumed, QList<Container> *seen)
    {
        co_await st->refresh();
        *resumed = true;
        *seen = st->containers();
    }
    static bool settle(AppStore &st, const std::function<bool()> &done)
    {
        return QTest::qWaitFor([&] { return !st.busy() && done(); }, 30000);
    }

private slots:
    void initTestCase() { REQUIRE_ENGINE(); }
    // Each case leaves the engine as quiet as it found it: running containers' status text
    // ticks every second and would disturb the quiet-poll case.
    void cleanup()
    {
        if (!m_containers.isEmpty())
            docker(QStringList{"rm", "-f"} + m_containers);
        m_containers.clear();
    }
    void cleanupTestCase()
    {
        // Workers still listing at exit deadlock LeakSanitizer's exit check.
        AppStore::workers()->waitForDone(60000);
        for (const auto &dir : m_projectDirs)
            docker({"compose", "-p", QFileInfo(dir).fileName(), "down", "-v", "-t", "0"});
        if (!m_containers.isEmpty())
            docker(QStringList{"rm", "-f"} + m_containers);
        if (!m_images.isEmpty())
            docker(QStringList{"rmi", "-f"} + m_images);
        if (!m_volumes.isEmpty())
            docker(QStringList{"volume", "rm", "-f"} + m_volumes);
    }

    void loadsTheDefaultRuntimeWithoutNotice()
    {
        auto s = settings();
        auto st = store(s.get());
        QCOMPARE(st->runtime(), Runtime::context(engineContext()));
        QCOMPARE(st->notice(), std::nullopt);
        QCOMPARE(st->error(), std::nullopt);
        QVERIFY(!st->images().isEmpty());
    }

    void containerActions()
    {
        auto s = settings();
        auto st = store(s.get());
        const QString name = run();
        QCoro::waitFor(st->refresh());
        auto c = find(*st, name);
        QVERIFY(c && c->state == "running");

        QSignalSpy busy(st.get(), &AppStore::busyChanged);
        st->pause(*c);
        QVERIFY(st->busy());
        QVERIFY(settle(*st, [&] { return find(*st, name)->state == "paused"; }));
        QCOMPARE(busy.size(), 2);
        QCOMPARE(find(*st, name)->actionLabel(), "Resume");
        st->unpause(*c);
        QVERIFY(settle(*st, [&] { return find(*st, name)->state == "running"; }));

        const QString image = uniqueName("kt-commit-") + ":snap";
        m_images << image;
        st->commit(*c, "  \t ");   // nothing to run
        QVERIFY(!st->busy());
        st->commit(*c, " \t" + image + " ");
        QVERIFY(settle(*st, [&] {
            return std::any_of(st->images().cbegin(), st->images().cend(), [&](const DockerImage &i) { return i.repository + ":" + i.tag == image; });
        }));

        st->remove(*c);   // running, yet removed: the force flag is always given
        QVERIFY(settle(*st, [&] { return !find(*st, name); }));
        QCOMPARE(st->error(), std::nullopt);
    }

    void failingActionsShowTheCliText()
    {
        auto s = settings();
        auto st = store(s.get());
        const QString name = run();
        QCoro::waitFor(st->refresh());
        const Container c = *find(*st, name);
        QCOMPARE(docker({"rm", "-f", name}).status, 0);

        st->start(c);   // the container is gone
        QVERIFY(settle(*st, [&] { return st->error().has_value() && !find(*st, name); }));
        const QString expected = docker({"start", c.id}).err.trimmed();
        QCOMPARE(*st->error(), expected);   // and the refresh after it did not clear it
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->error(), expected);

        st->pull("korvat-test/nothing-here:1");
        QVERIFY(settle(*st, [&] { return st->error() != expected; }));
        QVERIFY2(st->error() && !st->error()->isEmpty(), "a pull without a registry must fail");

        const QString other = run();
        QCoro::waitFor(st->refresh());
        st->stop(*find(*st, other));
        QVERIFY(settle(*st, [&] { return !st->error() && find(*st, other)->state == "exited"; }));
    }

    void upChecksComposeFirst()
    {
        auto s = settings();
        auto st = store(s.get());
        const QString warned = composeDir(sleeperCompose("web", "    environment:\n      X: ${KT_UNSET_VAR}\n"));
        const QString name = QFileInfo(warned).fileName();
        ComposeProject p{name, warned, {}, 0};
        QCoro::waitFor(st->up(p));
        QCOMPARE(st->notice(), "KT_UNSET_VAR has no value; compose substituted an empty string. Check the .env beside the compose file.");
        QCOMPARE(st->error(), std::nullopt);
        QVERIFY(project(*st, name) && project(*st, name)->runningCount() == 1);

        const QString broken = composeDir(sleeperCompose("web", "    imagex: nope\n"));
        QCoro::waitFor(st->up({QFileInfo(broken).fileName(), broken, {}, 0}));
        QCOMPARE(st->error(), docker({"compose", "config", "-q"}, broken).err.trimmed());
        QVERIFY(!st->busy());
        QCOMPARE(docker({"compose", "ps", "-aq"}, broken).out.trimmed(), QString());   // nothing ran

        // The project stays listed after down, through the registry.
        st->down(*project(*st, name));
        QVERIFY(settle(*st, [&] { return project(*st, name) && project(*st, name)->containers.isEmpty(); }));
        QCOMPARE(project(*st, name)->workingDir, warned);
        QCOMPARE(project(*st, name)->serviceCount, 1);
        QVERIFY(ProjectRegistry::load(*s).knows(name, engineContext()));

        // A vanished directory: up and down do nothing.
        QVERIFY(QDir(warned).removeRecursively());
        QSignalSpy busy(st.get(), &AppStore::busyChanged);
        QCoro::waitFor(st->up(*project(*st, name)));
        st->down(*project(*st, name));
        QCOMPARE(busy.size(), 0);

        st->forget(*project(*st, name));
        QVERIFY(!project(*st, name));
    }

    void addAndRelocate()
    {
        auto s = settings();
        AppStore bare(s.get());
        const QString dir = composeDir(sleeperCompose("web") + "  db:\n    image: " + engineImage().toUtf8() + "\n");
        QCOMPARE(QCoro::waitFor(bare.addProject(dir)), "Choose a runtime first.");
        QCOMPARE(bare.registry(), ProjectRegistry{});

        auto st = store(s.get());
        const QString name = QFileInfo(dir).fileName();
        QCOMPARE(QCoro::waitFor(st->addProject(dir)), std::nullopt);
        QCOMPARE(st->registry().projects(engineContext()), (QList<KnownProject>{{name, dir, {"db", "web"}}}));
        QVERIFY(project(*st, name));

        QTemporaryDir empty;
        QCOMPARE(QCoro::waitFor(st->addProject(empty.path())), Docker::missingComposeFileMessage(empty.path()));

        const QString other = composeDir(sleeperCompose());
        QCOMPARE(QCoro::waitFor(st->relocate(*project(*st, name), other)),
                 "That directory is compose project “" + QFileInfo(other).fileName() + "”, not “" + name
                     + "”. Up there would create a different project — add it as its own project instead.");
        QCOMPARE(project(*st, name)->workingDir, dir);

        // The same project in a new place is accepted.
        const QString moved = m_tmp.filePath("moved/" + name);
        QVERIFY(QDir().mkpath(moved));
        QVERIFY(QFile::copy(dir + "/compose.yaml", moved + "/compose.yaml"));
        QCOMPARE(QCoro::waitFor(st->relocate(*project(*st, name), moved)), std::nullopt);
        QCOMPARE(project(*st, name)->workingDir, moved);
    }

    void handsOverWhenTheSocketGoesAway()
    {
        // A second way into the engine: a socket path that can vanish.
        const QString link = m_tmp.filePath("apple.sock");
        QVERIFY(QFile::link(engineSocket(), link));
        Docker::Launch launch;
        launch.appleSocketPath = link;
        Docker::setLaunch(launch);

        auto s = settings();
        auto st = store(s.get());
        QCOMPARE(st->runtimes().last().runtime, Docker::appleRuntime());
        st->select(Docker::appleRuntime());
        QVERIFY(st->containers().isEmpty());   // emptied at once
        QVERIFY(QTest::qWaitFor([&] { return !st->images().isEmpty(); }, 20000));

        QVERIFY(QFile::remove(link));
        QCoro::waitFor(st->refresh());
        const auto firstReachable = std::find_if(st->runtimes().cbegin(), st->runtimes().cend(), [](const RuntimeEntry &e) { return e.reachable; });
        QVERIFY(firstReachable != st->runtimes().cend());
        QCOMPARE(st->runtime(), firstReachable->runtime);
        QCOMPARE(st->notice(), "apple-container is not answering — switched to " + firstReachable->runtime.name + ".");
        QCOMPARE(st->error(), std::nullopt);
        QVERIFY(!st->images().isEmpty());   // refreshed once more, from the new runtime
        Docker::setLaunch({});
    }

    void withoutAnAlternativeTheErrorShowsAndListsStay()
    {
        const QString link = m_tmp.filePath("only.sock");
        QVERIFY(QFile::link(engineSocket(), link));
        Docker::Launch launch;
        launch.appleSocketPath = link;
        Docker::setLaunch(launch);
        // Every context unreachable: a private configuration whose default points nowhere.
        QTemporaryDir config;
        const QByteArray savedConfig = qgetenv("DOCKER_CONFIG");
        qputenv("DOCKER_CONFIG", config.path().toUtf8());
        qputenv("DOCKER_HOST", "unix:///nope/kt-default.sock");

        auto s = settings();
        auto st = store(s.get());
        QCOMPARE(st->runtime(), Docker::appleRuntime());
        QVERIFY(!st->images().isEmpty());
        const auto images = st->images();
        QVERIFY(QFile::remove(link));
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->runtime(), Docker::appleRuntime());
        QCOMPARE(st->notice(), std::nullopt);
        QVERIFY2(st->error() && st->error()->contains(link), qPrintable(st->errorText()));
        QCOMPARE(st->images(), images);
        QVERIFY(!st->runtimes().last().reachable);

        qputenv("DOCKER_CONFIG", savedConfig);
        qunsetenv("DOCKER_HOST");
        Docker::setLaunch({});
    }

    void quietPollsChangeNothing()
    {
        // Created containers keep a status text that does not tick like "Up 3 seconds".
        const QString dir = composeDir(sleeperCompose());
        QCOMPARE(docker({"compose", "create"}, dir).status, 0);
        auto s = settings();
        auto st = std::make_unique<AppStore>(s.get(), PollTiming{std::chrono::milliseconds(40), std::chrono::milliseconds(40)});
        st->start();
        QVERIFY(QTest::qWaitFor([&] { return project(*st, QFileInfo(dir).fileName()).has_value(); }, 20000));
        QTest::qWait(200);
        s->sync();
        const QFileInfo file(s->fileName());
        const QDateTime written = file.lastModified();
        QVERIFY(ProjectRegistry::load(*s).knows(QFileInfo(dir).fileName(), engineContext()));

        std::vector<std::unique_ptr<QSignalSpy>> spies;
        for (const auto signal : {&AppStore::runtimesChanged, &AppStore::runtimeChanged, &AppStore::containersChanged, &AppStore::imagesChanged,
                                  &AppStore::volumesChanged, &AppStore::errorChanged, &AppStore::noticeChanged, &AppStore::busyChanged,
                                  &AppStore::registryChanged, &AppStore::projectsChanged, &AppStore::staleChanged})
            spies.push_back(std::make_unique<QSignalSpy>(st.get(), signal));
        QTest::qWait(600);   // about fifteen polls
        for (const auto &spy : spies)
            QVERIFY2(spy->isEmpty(), spy->signal().constData());
        s->sync();
        QCOMPARE(QFileInfo(s->fileName()).lastModified(), written);

        // Destroying the store mid-poll is harmless.
        st.reset();
        QTest::qWait(300);
    }

    void pollIntervalFollowsTheWindow()
    {
        // Count the listings the store asks for through a launcher that notes each call.
        const QString log = m_tmp.filePath("calls.log");
        Docker::Launch launch;
        launch.launcher = writeExecutable(m_tmp.filePath("counting-env"), "#!/bin/sh\necho \"$*\" >> " + log.toUtf8() + "\nexec /usr/bin/env \"$@\"\n");
        Docker::setLaunch(launch);
        const auto polls = [&] {
            QFile f(log);
            return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).count("ps -a --format json") : 0;
        };
        auto s = settings();
        AppStore st(s.get(), PollTiming{std::chrono::milliseconds(50), std::chrono::milliseconds(60000)});
        st.start();
        st.start();   // still one loop
        QVERIFY(QTest::qWaitFor([&] { return polls() >= 1 && !st.images().isEmpty(); }, 20000));
        QTest::qWait(500);
        const int hidden = polls();
        QVERIFY2(hidden <= 2, qPrintable(QString::number(hidden)));   // the first, perhaps one in flight
        // Showing the window cuts the long wait short, and the short interval follows.
        st.setWindowVisible(true);
        QVERIFY(QTest::qWaitFor([&] { return polls() >= hidden + 5; }, 20000));
        st.setWindowVisible(false);
        QTest::qWait(300);
        const int hiddenAgain = polls();
        QTest::qWait(500);
        QVERIFY(polls() <= hiddenAgain + 1);
        Docker::setLaunch({});
    }

    void eventsDriveTheLists()
    {
        auto s = settings();
        AppStore st(s.get(), eventsOnly());
        st.start();
        QVERIFY(QTest::qWaitFor([&] { return st.events().childPid() > 0 && !st.images().isEmpty(); }, 20000));
        const qint64 contextChild = st.events().childPid();
        QTRY_VERIFY(childLine(contextChild, "cmdline").contains("--context " + engineContext() + " events --format json"));
        QTest::qWait(500);   // the child has reached the engine

        const QString one = uniqueName("kt-ev-");
        m_containers << one;
        QCOMPARE(docker(QStringList{"create", "--name", one, engineImage()} + sleeper()).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one), 2000);

        // Twenty creations at once cost a few listings, not twenty.
        QTest::qWait(300);
        const int before = st.fetchCount();
        QStringList burst;
        for (int i = 0; i < 20; ++i)
            burst << uniqueName("kt-burst-");
        m_containers << burst;
        QVERIFY(shell("for n in " + burst.join(' ') + "; do docker create --name $n " + engineImage() + " true >/dev/null & done; wait"));
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(burst.cbegin(), burst.cend(), [&](const QString &n) { return find(st, n).has_value(); }), 5000);
        QTest::qWait(500);
        QVERIFY2(st.fetchCount() - before <= 3, qPrintable(QString::number(st.fetchCount() - before)));

        // Another runtime, another child, pointed at it.
        const Runtime socket = Runtime::socket("kt-socket", engineSocket());
        st.select(socket);
        QTRY_VERIFY(st.events().childPid() > 0 && st.events().childPid() != contextChild);
        QTRY_VERIFY(childLine(st.events().childPid(), "cmdline").contains("events --format json"));
        QVERIFY(!childLine(st.events().childPid(), "cmdline").contains("--context"));
        QVERIFY(childLine(st.events().childPid(), "environ").contains("DOCKER_HOST=unix://" + engineSocket()));
        QVERIFY(childLine(contextChild, "cmdline").isEmpty());   // and the old one is gone
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one), 20000);

        // The engine restarts under the store: the stream comes back and the store catches up
        // with what changed meanwhile (the running container stopped with the engine).
        const QString running = run();
        QTRY_VERIFY_WITH_TIMEOUT(find(st, running) && find(st, running)->isRunning(), 5000);
        const qint64 before_restart = st.events().childPid();
        QVERIFY(shell("bash \"$KORVAT_ENGINE_SCRIPT\" restart"));
        QTRY_VERIFY_WITH_TIMEOUT(find(st, running) && !find(st, running)->isRunning(), 30000);
        QVERIFY(st.events().childPid() != before_restart);
        const QString late = uniqueName("kt-late-");
        m_containers << late;
        QTRY_VERIFY_WITH_TIMEOUT(st.events().childPid() > 0 && st.events().nextRetry() == st.timing().events.firstRetry, 30000);
        QCOMPARE(docker(QStringList{"create", "--name", late, engineImage()} + sleeper()).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(find(st, late), 2000);
    }

    void aHungEngineNeitherBlocksNorPilesUp()
    {
        // A client whose "ps" hangs until the test lets it answer.
        const QString log = m_tmp.filePath("hung.log"), hang = m_tmp.filePath("hang");
        writeFile(hang, "");
        Docker::Launch launch;
        launch.launcher = writeExecutable(m_tmp.filePath("hung-env"),
            "#!/bin/sh\necho \"$*\" >> " + log.toUtf8() + "\ncase \"$*\" in\n"
            "  *' ps '*) while [ -e " + hang.toUtf8() + " ]; do sleep 0.05; done\n"
            "    echo '{\"ID\":\"c1\",\"Names\":\"answered\",\"State\":\"running\",\"Status\":\"Up\"}' ;;\n"
            "esac\nexit 0\n");
        Docker::setLaunch(launch);
        const auto listings = [&] {
            QFile f(log);
            return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).count(" ps -a ") : 0;
        };
        PollTiming timing = eventsOnly();
        timing.staleAfter = std::chrono::milliseconds(300);
        timing.clock = [] { return QDateTime(QDate(2026, 11, 22), QTime(14, 5)); };
        auto s = settings();
        AppStore st(s.get(), timing);

        QElapsedTimer sinceTick;
        qint64 longestGap = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&] {
            longestGap = std::max(longestGap, sinceTick.restart());
        });
        sinceTick.start();
        ticker.start(20);

        st.select(Runtime::context("hung"));
        bool resumed = false;
        QList<Container> seenByWaiter;
        auto waiter = awaitRefresh(&st, &resumed, &seenByWaiter);
        for (int i = 0; i < 5; ++i)
            st.refresh();
        QTRY_VERIFY(st.stale());
        QCOMPARE(st.waitingSince(), timing.clock());
        QVERIFY(!st.listedAt().isValid());
        QTest::qWait(200);
        QCOMPARE(listings(), 1);
        QVERIFY(!resumed);

        QFile::remove(hang);
        QTRY_VERIFY(resumed);
        QVERIFY(!st.stale());
        QCOMPARE(st.listedAt(), timing.clock());
        QCOMPARE(listings(), 2);   // the one that hung, and exactly one after it
        QCOMPARE(seenByWaiter.size(), 1);
        QTest::qWait(200);
        QCOMPARE(listings(), 2);
        QVERIFY2(longestGap < 1000, qPrintable(QString::number(longestGap)));
        Docker::setLaunch({});
    }

    void deletingAProject()
    {
        const QString dir = composeDir(sleeperCompose("web", "    volumes: [own:/own, shared:/shared]\nvolumes:\n  own:\n  shared:\n"));
        const QString name = QFileInfo(dir).fileName();
        QCOMPARE(docker({"compose", "up", "-d"}, dir).status, 0);
        run({"-v", name + "_shared:/s"});
        QTemporaryDir data;
        qputenv("XDG_DATA_HOME", data.path().toUtf8());

        auto s = settings();
        auto st = store(s.get());
        QVERIFY(st->registry().knows(name, engineContext()));
        const auto plan = QCoro::waitFor(st->teardownPlan(*project(*st, name)));
        QCOMPARE(plan.containers, QStringList({name + "-web-1"}));
        QCOMPARE(plan.removable().size(), 1);
        QCOMPARE(plan.removable().first().name, name + "_own");
        QCOMPARE(plan.kept().size(), 1);
        QCOMPARE(plan.kept().first().name, name + "_shared");
        QCOMPARE(plan.workingDir, dir);

        QCoro::waitFor(st->deleteProject(plan, true));
        QCOMPARE(st->error(), std::nullopt);
        QVERIFY(!project(*st, name));
        QVERIFY(!ProjectRegistry::load(*s).knows(name, engineContext()));
        QCOMPARE(docker({"volume", "inspect", name + "_own"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", name + "_shared"}).status, 0);
        m_volumes << name + "_shared";
        QVERIFY(!QFileInfo::exists(dir));
        QVERIFY(QFileInfo(data.filePath("Trash/files/" + name + "/compose.yaml")).isFile());
        QVERIFY(QFileInfo(data.filePath("Trash/info/" + name + ".trashinfo")).isFile());
        qunsetenv("XDG_DATA_HOME");
    }

    // A project started with -p in a directory whose file names another project, beside that
    // project's own volume and a volume shared by intent: only what is the project's goes.
    void deletingTakesOnlyWhatIsTheProjects()
    {
        const QString app = uniqueName("ktapp"), staging = uniqueName("ktstaging"), shared = uniqueName("ktshared");
        const QString dir = composeDir("name: " + app.toUtf8() + "\n" + sleeperCompose("web",
            "    volumes: [data:/data, shared:/shared]\nvolumes:\n  data:\n  shared:\n    external: true\n    name: " + shared.toUtf8() + "\n"));
        m_volumes << app + "_data" << shared << staging + "_data";
        m_containers << staging + "-web-1" << app + "-web-1";
        QCOMPARE(docker({"volume", "create", shared}).status, 0);
        QCOMPARE(docker({"compose", "up", "-d"}, dir).status, 0);
        QCOMPARE(docker({"compose", "down"}, dir).status, 0);   // app's volume stays behind
        QCOMPARE(docker({"compose", "-p", staging, "up", "-d"}, dir).status, 0);

        auto s = settings();
        auto st = store(s.get());
        const auto plan = QCoro::waitFor(st->teardownPlan(*project(*st, staging)));
        QCOMPARE(plan.containers, QStringList({staging + "-web-1"}));
        QCOMPARE(plan.removable().size(), 1);
        QCOMPARE(plan.removable().first().name, staging + "_data");
        QCOMPARE(plan.kept().size(), 1);
        QCOMPARE(plan.kept().first().name, shared);
        QCOMPARE(plan.kept().first().keptBecause(), "not this project’s");   // app's file says external, but it is not staging's

        QCoro::waitFor(st->deleteProject(plan, false));
        QCOMPARE(st->error(), std::nullopt);
        QCOMPARE(docker({"container", "inspect", staging + "-web-1"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", staging + "_data"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", app + "_data"}).status, 0);
        QCOMPARE(docker({"volume", "inspect", shared}).status, 0);

        // The directory's own project keeps the volume it declares external, though only it mounts it.
        QCOMPARE(docker({"compose", "up", "-d"}, dir).status, 0);
        QCoro::waitFor(st->refresh());
        const auto own = QCoro::waitFor(st->teardownPlan(*project(*st, app)));
        QCOMPARE(own.removable().size(), 1);
        QCOMPARE(own.removable().first().name, app + "_data");
        QCOMPARE(own.kept().size(), 1);
        QCOMPARE(own.kept().first().keptBecause(), "external");
        QCoro::waitFor(st->deleteProject(own, false));
        QCOMPARE(st->error(), std::nullopt);
        QCOMPARE(docker({"volume", "inspect", app + "_data"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", shared}).status, 0);
    }

    void deletionFailuresInStepOrder()
    {
        auto s = settings();
        auto st = store(s.get());
        const QString dir = composeDir(sleeperCompose("web", "    imagex: broken\n"));
        const TeardownPlan plan{"kt-gone", {}, {{"kt-no-such-volume", {}, std::nullopt}, {"kept-one", {"x"}, std::nullopt}}, dir};
        QCoro::waitFor(st->deleteProject(plan, false));
        const QString composeError = docker({"compose", "down"}, dir).err.trimmed();
        const QString volumeError = docker({"volume", "rm", "kt-no-such-volume"}).err.trimmed();
        QVERIFY(!composeError.isEmpty() && !volumeError.isEmpty());
        QCOMPARE(st->error(), composeError + "\n" + volumeError);
        QVERIFY(QFileInfo::exists(dir));   // not trashed when not asked

        // A directory that vanished after planning: containers go by name, the trash step reports.
        const QString name = run();
        const TeardownPlan vanished{"kt-vanished", {name}, {}, m_tmp.filePath("vanished")};
        QCoro::waitFor(st->deleteProject(vanished, true));
        QCOMPARE(st->error(), "Could not move " + m_tmp.filePath("vanished") + " to the trash: it no longer exists.");
        QCOMPARE(docker({"container", "inspect", name}).status, 1);
    }
};

QTEST_GUILESS_MAIN(AppStoreLive)
#include "tst_appstore_live.moc"
