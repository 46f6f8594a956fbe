#include "appstore.h"
#include "cliengine.h"
#include "docker.h"
#include "storesupport.h"
#include "worktext.h"
#include "testsupport.h"
#include "tokenregistry.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QTimer>
#include <QTest>

using namespace TestSupport;
using Call = FakeEngine::Call;
using Kind = EngineAction::Kind;

namespace {
Container row(const QString &name, const QString &state = "running", const QString &project = {}, const QString &dir = {})
{
    Container c{name + "-id", name, "busybox", state, state == "running" ? "Up 1 hour" : "Exited (0)", {}, {}};
    if (!project.isEmpty()) {
        c.labels.insert(Labels::project, project);
        c.labels.insert(Labels::service, "web");
        if (!dir.isEmpty())
            c.labels.insert(Labels::workingDir, dir);
    }
    return c;
}

const Runtime local = Runtime::context("default");
const Runtime remote = Runtime::context("remote");

// One operation of several steps, from its plan to its end.
QCoro::Task<> operate(AppStore *st, QString operation, QString folder)
{
    if (operation == QLatin1String("reclaim")) {
        const ReclaimPlan plan = AppStore::reclaimPlan(co_await st->readDisk());
        // Named first: GCC 12 cannot keep an initializer list's array in a coroutine frame.
        QList<ReclaimPlan::Kind> chosen{ReclaimPlan::Kind::DanglingImages, ReclaimPlan::Kind::StoppedContainers, ReclaimPlan::Kind::AnonymousVolumes};
        co_await st->reclaim(plan, chosen);
    } else if (operation == QLatin1String("delete")) {
        const TeardownPlan plan = co_await st->teardownPlan(*projectNamed(*st, QStringLiteral("shop")));
        co_await st->deleteProject(plan, false, folder);
    } else {
        co_await st->backUpAndRemove(QStringLiteral("shop_data"), folder + QStringLiteral("/shop_data.tar"));
    }
}

// A coroutine of its own, not a lambda: a lambda's captures die with the temporary closure
// while its coroutine still runs.
QCoro::Task<> awaitRefresh(AppStore *st, bool *resumed, QList<Container> *seen)
{
    co_await st->refresh();
    *resumed = true;
    *seen = st->containers();
}
}

// AppStore's rules over a FakeEngine: what it lists, asks, shows and remembers.
class AppStoreTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    std::shared_ptr<FakeEngine> m_engine;
    std::unique_ptr<QSettings> m_settings;
    int m_count = 0;

    std::unique_ptr<AppStore> store(PollTiming timing = quietTiming())
    {
        auto st = std::make_unique<AppStore>(m_settings.get(), m_engine, timing);
        QCoro::waitFor(st->loadContexts());
        return st;
    }
    static std::optional<Container> find(const AppStore &st, const QString &name) { return containerNamed(st, name); }
    static std::optional<ComposeProject> project(const AppStore &st, const QString &name) { return projectNamed(st, name); }
    QString composeDir(const QString &name)
    {
        const QString dir = m_tmp.filePath(name);
        writeFile(dir + "/compose.yaml", "services: {}\n");
        return dir;
    }
    static bool settle(AppStore &st) { return QTest::qWaitFor([&] { return !st.busy(); }, 5000); }

private slots:
    void init()
    {
        m_engine = std::make_shared<FakeEngine>();
        m_engine->setRuntimes({{{local, "unix:///l.sock", true}, {remote, "ssh://remote", true}}, local});
        FakeEngine::Holdings h;
        h.containers = {row("web", "running", "shop", m_tmp.path()), row("loose", "exited")};
        h.images = {{"i1", "busybox", "1", "4MB"}};
        h.volumes = {{"shop_data", "local", "/v"}};
        m_engine->setHoldings(h);
        m_settings = std::make_unique<QSettings>(m_tmp.filePath(QString("s%1.conf").arg(++m_count)), QSettings::IniFormat);
    }
    void cleanup()
    {
        m_engine->release(Call::Listing);
        m_engine->release(Call::Action);
        AppStore::workers()->waitForDone(5000);
    }

    void loadsTheCurrentRuntimeAndRemembersItsProjects()
    {
        auto st = store();
        QCOMPARE(st->runtime(), local);
        QCOMPARE(st->runtimes().size(), 2);
        QCOMPARE(st->containers().size(), 2);
        QCOMPARE(st->images().size(), 1);
        QCOMPARE(st->notice(), std::nullopt);
        QCOMPARE(st->error(), std::nullopt);
        QCOMPARE(st->runningCount(), 1);
        QVERIFY(ProjectRegistry::load(*m_settings).knows("shop", "default"));

        // Another runtime's lists never show under this one's name: shown alone, nothing of
        // default's; shown with every engine, default's rows and projects say whose they are.
        m_engine->setHoldings({}, "remote");
        st->setShowAll(false);
        st->select(remote);
        QVERIFY(st->containers().isEmpty());
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->runtime(), remote);
        QVERIFY(st->containers().isEmpty() && st->matchingContainers().isEmpty());
        QVERIFY(!project(*st, "shop"));   // remembered for default only
        st->setShowAll(true);
        QCOMPARE(st->matchingContainers().size(), 2);
        QCOMPARE(project(*st, "shop")->engine, "default");
        QCOMPARE(st->runningCount(), 1);
        // A row's action goes to its own engine, whichever is selected; a namesake on the
        // selected one is left alone.
        m_engine->setHoldings(m_engine->holdings(), "remote");
        QCoro::waitFor(st->refresh());
        const QList<Container> shown = st->matchingContainers();
        const auto web = std::find_if(shown.cbegin(), shown.cend(), [](const Container &c) { return c.name == "web" && c.engine == "default"; });
        QVERIFY(web != shown.cend());
        st->remove(*web);
        QTRY_COMPARE(m_engine->holdings().containers.size(), 1);
        QCOMPARE(m_engine->holdings("remote").containers.size(), 2);
        m_engine->hold(Call::Action);
        st->pull("busybox:1", "default");
        QTRY_COMPARE(st->work().list().size(), 1);
        QCOMPARE(st->work().list().first().engine, "default");
        m_engine->releaseAll();
    }

    // Never asked on a metered connection unless the user asks; each newer digest is told
    // once, and a muted project's containers are left out of it.
    void newerImagesAreToldOnce()
    {
        TokenRegistry registry;
        const QString tag = registry.host() + "/app", dA = "sha256:" + QString(64, u'a');
        registry.setDigest("app", "1", "sha256:" + QString(64, u'b'));
        FakeEngine::Holdings h = m_engine->holdings();
        h.images.append({"i2", tag, "1", "5MB"});
        h.repoDigests.insert("i2", {tag + "@" + dA});
        for (Container &c : h.containers)
            c.image = tag + ":1";
        m_engine->setHoldings(h);
        auto st = store();
        bool metered = true;
        st->newer().setOptions({std::chrono::milliseconds(0), {}, [&metered]() -> QCoro::Task<bool> { co_return metered; }});
        st->failures().setMuted("shop", true);
        QSignalSpy told(&st->newer(), &NewerImageWatch::newerFound);
        st->start();
        QTRY_VERIFY(st->newer().meteredSkip() && !st->newer().checking());
        QVERIFY(registry.requests().isEmpty());
        const Container loose = *find(*st, "loose");
        QCOMPARE(st->newer().ofContainer("default", loose)->reason, "Not checked yet");

        QCoro::waitFor(st->newer().checkNow());
        const auto f = st->newer().ofContainer("default", loose);
        QCOMPARE(f->state, ImageFreshness::State::Newer);
        QCOMPARE(st->newer().ofImage("default", h.images.last()), f);
        QCOMPARE(told.size(), 1);
        QCOMPARE(told.first().first().value<QList<NewerNotice>>(), QList<NewerNotice>({{"default", *f, {"loose"}}}));
        QCoro::waitFor(st->newer().checkNow());
        registry.setDigest("app", "1", "sha256:" + QString(64, u'c'));
        metered = false;
        QCoro::waitFor(st->newer().checkNow());
        QCOMPARE(told.size(), 2);
        // Turned away once; later checks know where its tokens come from.
        QCOMPARE(registry.requests().filter("HEAD").size(), 4);
    }

    void actions_data()
    {
        QTest::addColumn<std::function<void(AppStore &, const Container &)>>("act");
        QTest::addColumn<EngineAction>("expected");
        using F = std::function<void(AppStore &, const Container &)>;
        QTest::newRow("start") << F([](AppStore &s, const Container &c) { s.start(c); }) << EngineAction::on(Kind::Start, {"web-id"});
        QTest::newRow("stop") << F([](AppStore &s, const Container &c) { s.stop(c); }) << EngineAction::on(Kind::Stop, {"web-id"});
        QTest::newRow("restart") << F([](AppStore &s, const Container &c) { s.restart(c); }) << EngineAction::on(Kind::Restart, {"web-id"});
        QTest::newRow("pause") << F([](AppStore &s, const Container &c) { s.pause(c); }) << EngineAction::on(Kind::Pause, {"web-id"});
        QTest::newRow("unpause") << F([](AppStore &s, const Container &c) { s.unpause(c); }) << EngineAction::on(Kind::Unpause, {"web-id"});
        QTest::newRow("remove") << F([](AppStore &s, const Container &c) { s.remove(c); }) << EngineAction::on(Kind::Remove, {"web-id"});
        QTest::newRow("commit, name trimmed") << F([](AppStore &s, const Container &c) { s.commit(c, " \tme/snap:1 "); })
                                              << EngineAction::commit("web-id", "me/snap:1");
        QTest::newRow("pull") << F([](AppStore &s, const Container &) { s.pull("nginx:1"); }) << EngineAction::pull("nginx:1");
        QTest::newRow("remove image") << F([](AppStore &s, const Container &) { s.remove(s.images().first()); })
                                      << EngineAction::on(Kind::RemoveImage, {"i1"});
        QTest::newRow("prune images") << F([](AppStore &s, const Container &) { s.pruneImages(); }) << EngineAction::prune(Kind::PruneImages);
        QTest::newRow("remove volume") << F([](AppStore &s, const Container &) { s.remove(s.volumes().first()); })
                                       << EngineAction::on(Kind::RemoveVolume, {"shop_data"});
        QTest::newRow("prune volumes") << F([](AppStore &s, const Container &) { s.pruneVolumes(); }) << EngineAction::prune(Kind::PruneVolumes);
        QTest::newRow("start all") << F([](AppStore &s, const Container &) { s.startAll(*project(s, "shop")); })
                                   << EngineAction::on(Kind::Start, {"web-id"});
        QTest::newRow("stop all") << F([](AppStore &s, const Container &) { s.stopAll(*project(s, "shop")); })
                                  << EngineAction::on(Kind::Stop, {"web-id"});
    }
    void actions()
    {
        QFETCH(std::function<void(AppStore &, const Container &)>, act);
        QFETCH(EngineAction, expected);
        auto st = store();
        QSignalSpy busy(st.get(), &AppStore::busyChanged);
        const int listings = m_engine->calls(Call::Listing);
        act(*st, *find(*st, "web"));
        QVERIFY(settle(*st));
        QCOMPARE(m_engine->performed(), QList<EngineAction>{expected});
        QCOMPARE(busy.size(), 2);
        QTRY_COMPARE(m_engine->calls(Call::Listing), listings + 1);   // what is there now is shown
        QCOMPARE(st->error(), std::nullopt);
    }

    void actionResultsShow()
    {
        auto st = store();
        st->stop(*find(*st, "web"));
        QTRY_COMPARE(find(*st, "web")->state, "exited");
        st->commit(*find(*st, "web"), "  \t ");   // no name, nothing to ask
        QVERIFY(!st->busy());
        QCOMPARE(m_engine->performed().size(), 1);
    }

    void aFailedActionKeepsTheEnginesWords()
    {
        auto st = store();
        const QString message = "Error response from daemon: No such container: web-id";
        m_engine->failWith(Call::Action, message);
        st->start(*find(*st, "web"));
        QVERIFY(settle(*st));
        QTRY_COMPARE(st->errorText(), message);
        QCoro::waitFor(st->refresh());   // a good poll leaves an action's failure up
        QCOMPARE(st->errorText(), message);
        m_engine->failWith(Call::Action, std::nullopt);
        st->stop(*find(*st, "web"));
        QVERIFY(settle(*st));
        QTRY_COMPARE(st->error(), std::nullopt);
        // A failed poll's error goes with the next good poll.
        m_engine->setRuntimes({{{local, "unix:///l.sock", true}}, local});
        QCoro::waitFor(st->loadContexts());
        m_engine->failWith(Call::Listing, "Cannot connect to the Docker daemon");
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->errorText(), "Cannot connect to the Docker daemon");
        m_engine->failWith(Call::Listing, std::nullopt);
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->error(), std::nullopt);
    }

    void upChecksComposeFirst()
    {
        auto st = store();
        const QString dir = composeDir("shop");
        const ComposeProject shop{"shop", dir, {}, 0};
        m_engine->setComposeCheck(dir, ComposeCheck::makeInvalid("services.web additional property imagex is not allowed"));
        QCoro::waitFor(st->up(shop));
        QCOMPARE(st->errorText(), "services.web additional property imagex is not allowed");
        QVERIFY(!st->busy());
        QVERIFY(m_engine->performed().isEmpty());

        m_engine->setComposeCheck(dir, ComposeCheck::makeValid("DB has no value"));
        QCoro::waitFor(st->up(shop));
        QCOMPARE(st->noticeText(), "DB has no value");
        QCOMPARE(st->error(), std::nullopt);
        // Named as the project, so a namesake made from the directory is never the one acted on.
        QCOMPARE(m_engine->performed(), QList<EngineAction>{EngineAction::compose(Kind::ComposeUp, shop)});
        QCOMPARE(m_engine->performed().constLast().project, "shop");
        QCoro::waitFor(st->down(shop));
        QVERIFY(settle(*st));
        QCOMPARE(m_engine->performed().last(), EngineAction::compose(Kind::ComposeDown, shop));

        // A vanished directory: up and down ask nothing.
        QVERIFY(QDir(dir).removeRecursively());
        QSignalSpy busy(st.get(), &AppStore::busyChanged);
        QCoro::waitFor(st->up(shop));
        QCoro::waitFor(st->down(shop));
        QCOMPARE(busy.size(), 0);
        QCOMPARE(m_engine->performed().size(), 2);
    }

    // A long action's progress reaches the work list as the CLI prints it; stopped, the
    // child ends and the banner says how far it got, not that it failed.
    void longWorkReportsAndStops_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("said");
        QTest::newRow("pull") << int(Kind::Pull)
                              << QStringList{"1: Pulling from layers", "36ddaf6ec3db: Already exists", "d6dbecfd0472: Pulling fs layer",
                                             "12ce55c3dd3c: Downloading [=>   ]  1.5MB/3MB", "d6dbecfd0472: Pull complete"}
                              << "1 of 2 layers · 1.5 MB of 3.0 MB" << "Stopped after 1 of 2 layers";
        QTest::newRow("compose up") << int(Kind::ComposeUp)
                                    << QStringList{" worker Pulling", " Container shop-web-1  Started", " Container shop-db-1  Created"}
                                    << "1 of 3 started" << "Up stopped: web started, db created, worker not created";
    }
    void longWorkReportsAndStops()
    {
        QFETCH(int, kind);
        QFETCH(QStringList, lines);
        auto st = store();
        const QString dir = composeDir("shop");
        m_engine->setComposeCheck(dir, ComposeCheck::makeValid({}));
        m_engine->setProgress(Kind(kind), lines);
        m_engine->hold(Call::Action);
        if (Kind(kind) == Kind::Pull)
            st->pull("127.0.0.1:5055/layers:1");
        else
            st->up({"shop", dir, {}, 0});
        QTRY_COMPARE(st->work().list().size(), 1);
        QFETCH(QString, detail);
        QTRY_COMPARE(WorkText::detail(st->work().list().first()), detail);
        st->work().stop(st->work().list().first().id);
        QTRY_VERIFY(st->work().list().isEmpty());
        QTEST(st->noticeText(), "said");
        QCOMPARE(st->error(), std::nullopt);
        m_engine->release(Call::Action);
        QVERIFY(settle(*st));
        if (Kind(kind) == Kind::Pull) {
            // Left to run, a pull ends in the client's own words.
            m_engine->setProgress(Kind::Pull, lines << "Status: Downloaded newer image for 127.0.0.1:5055/layers:1");
            st->pull("127.0.0.1:5055/layers:1");
            QTRY_COMPARE(st->noticeText(), "Downloaded newer image for 127.0.0.1:5055/layers:1");
        }
    }

    // The disk is read on a thread of its own; the store keeps what it said and reads again
    // when the projects change or the window is shown.
    void directoriesAreLookedAtAgain()
    {
        auto st = store();
        const QString dir = m_tmp.path();
        QTRY_COMPARE(st->directories().value(dir), (DirectoryFacts{true, false}));
        writeFile(dir + "/compose.yaml", "services: {}\n");
        st->setWindowVisible(true);
        QTRY_COMPARE(st->directories().value(dir), (DirectoryFacts{true, true}));
        QFile::remove(dir + "/compose.yaml");
    }

    void addRelocateForget()
    {
        AppStore bare(m_settings.get(), m_engine, quietTiming());
        const QString dir = composeDir("billing");
        QCOMPARE(QCoro::waitFor(bare.addProject(dir)), "Choose a runtime first.");

        auto st = store();
        m_engine->setComposeProject(dir, {"billing", {"api", "db"}, {}, {}});
        QCOMPARE(QCoro::waitFor(st->addProject(dir)), std::nullopt);
        QVERIFY(st->registry().projects("default").contains(KnownProject{"billing", dir, {"api", "db"}}));
        QVERIFY(project(*st, "billing"));
        QCOMPARE(QCoro::waitFor(st->addProject(m_tmp.filePath("empty"))), Docker::missingComposeFileMessage(m_tmp.filePath("empty")));

        const QString other = composeDir("other");
        m_engine->setComposeProject(other, {"other", {}, {}, {}});
        QCOMPARE(QCoro::waitFor(st->relocate(*project(*st, "billing"), other)),
                 "That directory is compose project “other”, not “billing”. Up there would create a different project — add it as its own project instead.");
        const QString moved = composeDir("moved");
        m_engine->setComposeProject(moved, {"billing", {"api"}, {}, {}});
        QCOMPARE(QCoro::waitFor(st->relocate(*project(*st, "billing"), moved)), std::nullopt);
        QCOMPARE(project(*st, "billing")->workingDir, moved);

        st->forget(*project(*st, "billing"));
        QVERIFY(!project(*st, "billing"));
        QVERIFY(!ProjectRegistry::load(*m_settings).knows("billing", "default"));
    }

    // The chosen engine goes; the store turns only to a runtime that answers a probe, in list
    // order, and comes back as soon as the chosen one answers again.
    void detour_data()
    {
        QTest::addColumn<bool>("devAnswers");
        QTest::addColumn<bool>("remoteAnswers");
        QTest::addColumn<QString>("detour");
        QTest::newRow("nothing else answers: the error, the old lists") << false << false << "";
        QTest::newRow("the first that answers") << false << true << "remote";
        QTest::newRow("the first in list order") << true << true << "dev";
    }
    void detour()
    {
        QFETCH(bool, devAnswers);
        QFETCH(bool, remoteAnswers);
        QFETCH(QString, detour);
        const Runtime dev = Runtime::context("dev");
        m_engine->setRuntimes({{{local, "unix:///l.sock", true}, {dev, "tcp://10.9.9.9:2375", true}, {remote, "ssh://remote", true}}, local});
        for (const auto &[name, answers] : {std::pair(QString("dev"), devAnswers), std::pair(QString("remote"), remoteAnswers)}) {
            if (!answers)
                m_engine->failWith(Call::Listing, "Cannot connect to the Docker daemon at " + name, name);
        }
        PollTiming timing = quietTiming();
        timing.visiblePoll = timing.hiddenPoll = std::chrono::milliseconds(20);
        auto st = store(timing);
        QCoro::waitFor(st->refresh());
        QCOMPARE(st->containers().size(), 2);

        // The engine restarts: its socket is gone a while.
        m_engine->setReachable("default", false);
        m_engine->failWith(Call::Listing, "Cannot connect to the Docker daemon at unix:///l.sock", "default");
        QCoro::waitFor(st->refresh());
        if (detour.isEmpty()) {
            QCOMPARE(st->runtime(), local);
            QCOMPARE(st->errorText(), "Cannot connect to the Docker daemon at unix:///l.sock");
            QCOMPARE(st->containers().size(), 2);
        } else {
            QCOMPARE(st->runtime()->name, detour);
            QCOMPARE(st->noticeText(), "default is not answering — switched to " + detour + ".");
            QCOMPARE(st->error(), std::nullopt);
        }
        QTest::qWait(100);   // probes of the chosen one meanwhile change nothing
        QCOMPARE(st->runtime()->name, detour.isEmpty() ? "default" : detour);

        m_engine->setReachable("default", true);
        m_engine->failWith(Call::Listing, std::nullopt, "default");
        if (detour.isEmpty()) {
            QCoro::waitFor(st->refresh());
            QCOMPARE(st->error(), std::nullopt);
        } else {
            QTRY_COMPARE(st->runtime(), local);
            QCOMPARE(st->noticeText(), "default answers again — back from " + detour + ".");
        }
        QTRY_COMPARE(st->containers().size(), 2);
        QCOMPARE(st->runtime(), local);
    }

    void quietPollsChangeNothing()
    {
        PollTiming fast = quietTiming();
        fast.visiblePoll = fast.hiddenPoll = std::chrono::milliseconds(10);
        auto st = std::make_unique<AppStore>(m_settings.get(), m_engine, fast);
        st->start();
        QTRY_VERIFY(project(*st, "shop"));
        // What start-up reads beside the listings (directories, compose files) lands on its
        // own time; on a loaded machine, after the first listing.
        QSignalSpy startingUp(st.get(), &AppStore::projectsChanged);
        for (qsizetype seen = -1, looks = 0; seen != startingUp.size() && looks < 10; ++looks) {
            seen = startingUp.size();
            QTest::qWait(300);
        }
        m_settings->sync();
        const QDateTime written = QFileInfo(m_settings->fileName()).lastModified();
        std::vector<std::unique_ptr<QSignalSpy>> spies;
        for (const auto signal : {&AppStore::runtimesChanged, &AppStore::runtimeChanged, &AppStore::containersChanged, &AppStore::imagesChanged,
                                  &AppStore::volumesChanged, &AppStore::errorChanged, &AppStore::noticeChanged, &AppStore::busyChanged,
                                  &AppStore::registryChanged, &AppStore::projectsChanged, &AppStore::staleChanged})
            spies.push_back(std::make_unique<QSignalSpy>(st.get(), signal));
        // The same rows in another order, as the engine gives them, are no change either.
        auto h = m_engine->holdings();
        std::reverse(h.containers.begin(), h.containers.end());
        m_engine->setHoldings(h);
        const int listings = m_engine->calls(Call::Listing);
        QTRY_VERIFY(m_engine->calls(Call::Listing) >= listings + 10);
        for (const auto &spy : spies)
            QVERIFY2(spy->isEmpty(), spy->signal().constData());
        m_settings->sync();
        QCOMPARE(QFileInfo(m_settings->fileName()).lastModified(), written);
        st.reset();   // mid-poll, harmless
    }

    void pollIntervalFollowsTheWindow()
    {
        using std::chrono::milliseconds;
        PollTiming timing = quietTiming();
        timing.visiblePoll = milliseconds(10);
        auto st = std::make_unique<AppStore>(m_settings.get(), m_engine, timing);
        st->start();
        st->start();   // still one loop
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.hiddenPoll);
        QCOMPARE(m_engine->calls(Call::Listing), 1);
        st->setWindowVisible(true);   // lists at once, and the short interval follows
        QTRY_VERIFY(m_engine->calls(Call::Listing) >= 4);
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.visiblePoll);
        st->setWindowVisible(false);
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.hiddenPoll);
        st->setPanelVisible(true);   // the tray panel counts as shown
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.visiblePoll);
    }

    void eventsDriveTheRefresh()
    {
        using std::chrono::milliseconds;
        PollTiming timing = quietTiming();
        timing.hiddenPoll = milliseconds(30);
        timing.safetyHidden = std::chrono::hours(1);
        timing.followEvents = true;
        timing.events.quiet = milliseconds(20);
        timing.events.longest = milliseconds(100);
        timing.events.firstRetry = milliseconds(20);
        // Apart from the visible poll (a minute here), so a shown window's safety wait is told apart.
        timing.safetyVisible = std::chrono::hours(2);
        auto st = std::make_unique<AppStore>(m_settings.get(), m_engine, timing);
        st->start();
        QTRY_VERIFY(st->scheduler().eventsHealthy());
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.safetyHidden);   // a healthy stream: the poll steps back
        const auto counts = [&] { return std::pair(m_engine->calls(Call::Listing), m_engine->calls(Call::Images)); };
        QTRY_COMPARE(st->fetchCount(), 2);   // the first listing, and the poll's that proved the stream
        const auto [containers, images] = counts();

        // An image event lists the images only; commands inside containers list nothing.
        m_engine->emitEvent(R"({"Type":"container","Action":"exec_start: sh -c true"})");
        m_engine->emitEvent(R"({"Type":"image","Action":"pull"})");
        QTRY_COMPARE(counts(), std::pair(containers, images + 1));
        // Twenty creations, once that burst has fallen quiet, cost the first one's listing and
        // one for the rest.
        QTest::qWait(int(timing.events.quiet.count()) * 3);
        for (int i = 0; i < 20; ++i)
            m_engine->emitEvent(R"({"Type":"container","Action":"create"})");
        QTRY_COMPARE(counts(), std::pair(containers + 2, images + 1));

        // A container's stop shows before any listing, and a listing begun before the event
        // cannot undo it: the row never flickers back.
        m_engine->hold(Call::Images);
        m_engine->emitEvent(R"({"Type":"image","Action":"tag"})");
        QTRY_COMPARE(m_engine->calls(Call::Images), images + 2);
        QStringList shown;
        const auto watching = connect(st.get(), &AppStore::containersChanged, this, [&] { shown << find(*st, "web")->status; });
        m_engine->emitEvent(R"({"Type":"container","Action":"die","Actor":{"ID":"web-id0123","Attributes":{"exitCode":"137"}}})");
        QCOMPARE(shown, QStringList{"Exited (137) Less than a second ago"});
        FakeEngine::Holdings h = m_engine->holdings();
        h.containers[0].state = "exited";
        h.containers[0].status = shown.first();
        m_engine->setHoldings(h);
        m_engine->release(Call::Images);
        QTRY_COMPARE(counts(), std::pair(containers + 3, images + 2));
        QCOMPARE(shown, QStringList{"Exited (137) Less than a second ago"});
        disconnect(watching);

        // A stream that ends hands over to the poll at once, which lists everything...
        // Watched, not compared by address: a new one may be made where an old one was.
        QPointer<FakeStream> stream = m_engine->eventStreams().first();
        stream->end();
        QVERIFY(!st->scheduler().eventsHealthy());
        QTRY_VERIFY(counts().second >= images + 2);
        // ...until the stream is back and healthy, and then it steps back again.
        QTRY_VERIFY(st->scheduler().eventsHealthy());
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.safetyHidden);

        // A stream stuck connecting (a hung engine) is not healthy however long its child
        // lives; the poll keeps its pace.
        m_engine->hold(Call::Listing);
        stream = m_engine->eventStreams().constLast();
        stream->end();
        QTRY_VERIFY(!m_engine->eventStreams().isEmpty() && (!stream || m_engine->eventStreams().constLast() != stream)
                    && m_engine->eventStreams().constLast()->running());
        QVERIFY(!QTest::qWaitFor([&] { return st->scheduler().eventsHealthy(); }, 200));
        m_engine->release(Call::Listing);
        // A listing begun after it started proves it; so would an event.
        QTRY_VERIFY(st->scheduler().eventsHealthy());

        // Another runtime selected has a stream of its own; this machine's engine is still
        // watched, and its stream goes on.
        QPointer<FakeStream> before = m_engine->eventStreams().constLast();
        st->select(remote);
        QTRY_COMPARE(m_engine->eventStreams().size(), 2);
        QVERIFY(before && before->running() && m_engine->eventStreams().constLast()->running());

        // Hidden, the safety listing a shown window waits for steps back at once.
        QTRY_VERIFY(st->scheduler().eventsHealthy());
        st->setWindowVisible(true);
        QTRY_COMPARE(st->scheduler().nextPollIn(), timing.safetyVisible);
        st->setWindowVisible(false);
        QCOMPARE(st->scheduler().nextPollIn(), timing.safetyHidden);
    }

    void aHungEngineNeitherBlocksNorPilesUp()
    {
        PollTiming timing = quietTiming();
        timing.staleAfter = std::chrono::milliseconds(30);
        timing.clock = [] { return QDateTime(QDate(2026, 11, 22), QTime(14, 5)); };
        auto st = store(timing);
        const int listings = m_engine->calls(Call::Listing);
        m_engine->hold(Call::Listing);
        bool resumed = false;
        QList<Container> seenByWaiter;
        auto waiter = awaitRefresh(st.get(), &resumed, &seenByWaiter);
        for (int i = 0; i < 5; ++i)
            st->refresh();
        QTRY_VERIFY(st->stale());
        QCOMPARE(st->waitingSince(), timing.clock());
        QCOMPARE(m_engine->calls(Call::Listing), listings + 1);
        QVERIFY(!resumed);

        auto h = m_engine->holdings();
        h.containers.append(row("late"));
        m_engine->setHoldings(h);
        m_engine->release(Call::Listing);
        QTRY_VERIFY(resumed);
        QVERIFY(!st->stale());
        QCOMPARE(st->listedAt(), timing.clock());
        QCOMPARE(m_engine->calls(Call::Listing), listings + 2);   // the one that hung, and one after it
        QCOMPARE(seenByWaiter.size(), 3);

        // Refused, it is as stale as hung: the error shows, and how long it has been.
        m_engine->failWith(Call::Listing, "ssh: connect to host remote port 22: Connection refused");
        QCoro::waitFor(st->refresh());
        QTRY_VERIFY(st->stale());
        QVERIFY(!st->errorText().isEmpty());
    }

    // The real client, hung: the window keeps running, and the listing ends at its deadline
    // with a message instead of holding its workers for good.
    void aHungClientEndsAtTheDeadline()
    {
        Docker::Launch hung;
        hung.launcher = writeExecutable(m_tmp.filePath("hung-docker"), "#!/bin/sh\nexec sleep 3\n");
        hung.queryDeadline = std::chrono::milliseconds(1500);
        Docker::setLaunch(hung);
        AppStore st(m_settings.get(), std::make_shared<CliEngine>(), quietTiming());
        int ticks = 0;
        QTimer tick;
        tick.callOnTimeout([&] { ++ticks; });
        tick.start(20);
        // An action has no deadline; it waits on a thread that no listing needs.
        st.stop(row("web"));
        st.refresh();
        QVERIFY(QTest::qWaitFor([&] { return ticks >= 10; }, 1000));
        QVERIFY(!st.error());
        QTRY_COMPARE_WITH_TIMEOUT(st.errorText(), "docker ps did not answer within 1.5 s", 10000);
        QTRY_COMPARE(AppStore::workers()->activeThreadCount(), 0);
        QCOMPARE(AppStore::actionWorkers()->activeThreadCount(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!st.busy(), 10000);
        Docker::setLaunch({});
    }

    void deletionPlansAndTakesOnlyWhatIsTheProjects()
    {
        const QString dir = composeDir("shop");
        auto h = m_engine->holdings();
        h.containers = {row("shop-web-1", "running", "shop", dir), row("backup")};
        h.volumes = {{"shop_data", "local", {}}, {"shop_shared", "local", {}}, {"certs", "local", {}}};
        h.mounts = {{"shop-web-1", {"shop_data", "shop_shared", "certs"}}, {"backup", {"shop_shared"}}};
        h.labels = {{"shop_data", {{Labels::project, "shop"}}}};
        h.sizes = {{"shop_data", 113'000'000}};
        m_engine->setHoldings(h);
        m_engine->setComposeProject(dir, {"shop", {"web"}, {"certs", "shop_data", "shop_shared"}, {"certs"}});
        auto st = store();
        const TeardownPlan plan = QCoro::waitFor(st->teardownPlan(*project(*st, "shop")));
        QCOMPARE(plan.containers, QStringList{"shop-web-1"});
        QCOMPARE(plan.removable(), (QList<VolumeUse>{{"shop_data", {}, "113 MB", {}}}));
        QCOMPARE(plan.kept(), (QList<VolumeUse>{{"certs", {}, std::nullopt, "external"}, {"shop_shared", {"backup"}, std::nullopt, {}}}));
        QCOMPARE(plan.workingDir, dir);

        QTemporaryDir data;
        qputenv("XDG_DATA_HOME", data.path().toUtf8());
        QCoro::waitFor(st->deleteProject(plan, true));
        qunsetenv("XDG_DATA_HOME");
        QCOMPARE(st->error(), std::nullopt);
        QCOMPARE(m_engine->performed(), (QList<EngineAction>{EngineAction::compose(Kind::ComposeDown, ComposeTarget(dir, "shop", {})),
                                                              EngineAction::on(Kind::RemoveVolume, {"shop_data"})}));
        QVERIFY(!QFileInfo::exists(dir));
        QVERIFY(!ProjectRegistry::load(*m_settings).knows("shop", "default"));
        QVERIFY(!project(*st, "shop"));
    }

    void deletionOfAnotherProjectsDirectoryGoesByName()
    {
        // Started with -p staging in a directory whose file names shop: compose down there
        // would take shop down instead.
        const QString dir = composeDir("shop");
        auto h = m_engine->holdings();
        h.containers = {row("staging-web-1", "running", "staging", dir)};
        m_engine->setHoldings(h);
        m_engine->setComposeProject(dir, {"shop", {"web"}, {}, {}});
        auto st = store();
        const TeardownPlan plan = QCoro::waitFor(st->teardownPlan(*project(*st, "staging")));
        QCoro::waitFor(st->deleteProject(plan, false));
        QCOMPARE(m_engine->performed(), QList<EngineAction>{EngineAction::on(Kind::Remove, {"staging-web-1"})});
        QVERIFY(QFileInfo::exists(dir));   // not trashed when not asked
    }

    void deletionFailuresInStepOrder()
    {
        auto st = store();
        m_engine->failWith(Call::Action, "Error response from daemon: boom");
        const TeardownPlan plan{"gone", {"gone-web-1"}, {{"gone_data", {}, std::nullopt, {}}, {"kept", {"x"}, std::nullopt, {}}},
                                m_tmp.filePath("vanished")};
        QCoro::waitFor(st->deleteProject(plan, true));
        QCOMPARE(st->errorText(), "Error response from daemon: boom\nError response from daemon: boom\nCould not move "
                                      + m_tmp.filePath("vanished") + " to the trash: it no longer exists.");
        QCOMPARE(m_engine->performed(), (QList<EngineAction>{EngineAction::on(Kind::Remove, {"gone-web-1"}),
                                                              EngineAction::on(Kind::RemoveVolume, {"gone_data"})}));
    }

    // Stopped while the containers go, the deletion ends after them: the volumes stay, the
    // directory stays, and the project is still known.
    void aDeletionStopsBetweenSteps()
    {
        const QString dir = composeDir("shop");
        auto st = store();
        QCoro::waitFor(st->addProject(dir));
        m_engine->hold(Call::Action);
        const TeardownPlan plan{"shop", {"shop-web-1"}, {{"shop_data", {}, std::nullopt, {}}, {"shop_cache", {}, std::nullopt, {}}}, std::nullopt};
        const int id = st->work().begin(Work::Kind::Deletion, "shop");
        auto deletion = st->deleteProject(plan, false, {}, id);
        QTRY_COMPARE(m_engine->performed().size(), 1);
        st->work().stop(id);
        m_engine->release(Call::Action);
        QCOMPARE(QCoro::waitFor(deletion), std::nullopt);
        QCOMPARE(m_engine->performed(), QList<EngineAction>{EngineAction::on(Kind::Remove, {"shop-web-1"})});
        QCOMPARE(st->noticeText(), "Deletion stopped after 1 of 3 steps");
        QCOMPARE(st->error(), std::nullopt);
        QVERIFY(st->registry().knows("shop", "default"));
        QVERIFY(st->work().list().isEmpty());
    }

    // A reclaim goes item by item, containers first, each by its id; a refusal stays in its
    // step and the rest goes on; what was freed is the engine's count before and after.
    void aReclaimRemovesExactlyItsItems()
    {
        auto h = m_engine->holdings();
        h.containers = {row("web", "running", "shop", m_tmp.path()), row("old", "exited"), row("late", "running")};
        h.containers[1].image = "base:1";
        h.images = {{"sha256:aaa", "base", "1", "4MB"}, {"sha256:bbb", "<none>", "<none>", "9MB"}, {"sha256:ccc", "tool", "2", "7MB"}};
        h.volumes = {{QString(64, u'a'), "local", "/v"}};
        h.sizes = {{"sha256:aaa", 4'000'000}, {"sha256:bbb", 9'000'000}, {"sha256:ccc", 7'000'000}, {QString(64, u'a'), 1'000}, {"old-id", 500}};
        h.buildCache = {{"cache1", "regular", "RUN make", 2'000'000, false, false}};
        m_engine->setHoldings(h);
        auto st = store();
        const DiskReading read = QCoro::waitFor(st->readDisk());
        QVERIFY(read.usage);
        const ReclaimPlan plan = AppStore::reclaimPlan(read);
        using RK = ReclaimPlan::Kind;
        const QList<RK> all{RK::DanglingImages, RK::BuildCache, RK::UnusedImages, RK::StoppedContainers, RK::AnonymousVolumes};

        // Made from tool:2 after the plan was read: its removal is refused, nothing else is.
        h.containers[2].image = "tool:2";
        m_engine->setHoldings(h);
        const std::optional<qint64> freed = QCoro::waitFor(st->reclaim(plan, all));
        // base:1 was in use when the plan was read, so it stays though its container goes.
        QCOMPARE(m_engine->performed(), (QList<EngineAction>{EngineAction::on(Kind::ReclaimContainer, {"old-id"}),
                                                              EngineAction::reclaimImage("sha256:bbb", {}),
                                                              EngineAction::reclaimImage("sha256:ccc", {"tool:2"}),
                                                              EngineAction::on(Kind::RemoveVolume, {QString(64, u'a')}),
                                                              EngineAction::on(Kind::ReclaimCache, {"cache1"})}));
        QCOMPARE(freed, std::optional<qint64>(500 + 9'000'000 + 1'000 + 2'000'000));
        QCOMPARE(st->images().size(), 2);
        QVERIFY(st->work().list().isEmpty());
    }

    // An operation of several steps holds the engine it began on: the runtime changed after
    // its first step (a pick, or a detour) sends none of the rest elsewhere, though the
    // other engine holds namesakes of everything it removes.
    void anOperationStaysOnTheEngineItBeganOn_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("leftOnItsEngine");
        QTest::newRow("reclaim") << "reclaim" << QStringList{"web"};
        QTest::newRow("project deletion") << "delete" << QStringList{"loose"};
        QTest::newRow("backup, then removal") << "backup" << QStringList{"web", "loose"};
    }
    void anOperationStaysOnTheEngineItBeganOn()
    {
        QFETCH(QString, operation);
        QFETCH(QStringList, leftOnItsEngine);
        const QString dir = composeDir("shop");
        FakeEngine::Holdings h;
        h.containers = {row("web", "running", "shop", dir), row("loose", "exited")};
        h.images = {{"sha256:aaa", "<none>", "<none>", "9MB"}, {"sha256:bbb", "<none>", "<none>", "9MB"}};
        h.volumes = {{"shop_data", "local", "/v"}, {QString(64, u'a'), "local", "/a"}};
        h.labels = {{"shop_data", {{Labels::project, "shop"}}}};
        m_engine->setHoldings(h);
        m_engine->setHoldings(h, remote.name);
        auto st = store();
        QCOMPARE(st->runtime(), std::optional(local));
        QTemporaryDir backups;

        m_engine->hold(Call::Action);
        QCoro::Task<> done = operate(st.get(), operation, backups.path());
        QTRY_VERIFY(!m_engine->performed().isEmpty());
        st->select(remote);
        // The work keeps its engine in use, so a remote one's connection is not cut under it.
        QCOMPARE(m_engine->kept(), (QList<Runtime>{local, remote}));
        m_engine->release(Call::Action);
        QCoro::waitFor(done);

        QCOMPARE(m_engine->holdings(remote.name), h);
        QStringList left;
        for (const Container &c : m_engine->holdings().containers)
            left << c.name;
        QCOMPARE(left, leftOnItsEngine);
        // Each removed its volume, or its images, on the engine it began on.
        QVERIFY(m_engine->holdings() != h);
        // Nothing holds the engine once the work is over: it is kept only as this machine's
        // engine, watched beside the selected one.
        QVERIFY(st->holds().held().isEmpty());
        QCOMPARE(m_engine->kept(), (QList<Runtime>{local, remote}));
    }

    void aReclaimStopsBetweenItems()
    {
        auto h = m_engine->holdings();
        h.images = {{"sha256:a", "<none>", "<none>", "1MB"}, {"sha256:b", "<none>", "<none>", "1MB"}, {"sha256:c", "<none>", "<none>", "1MB"}};
        m_engine->setHoldings(h);
        auto st = store();
        const ReclaimPlan plan = AppStore::reclaimPlan(QCoro::waitFor(st->readDisk()));
        m_engine->hold(Call::Action);
        const int id = st->work().begin(Work::Kind::Reclaim, "default");
        auto reclaim = st->reclaim(plan, {ReclaimPlan::Kind::DanglingImages}, id);
        QTRY_COMPARE(m_engine->performed().size(), 1);
        st->work().stop(id);
        m_engine->release(Call::Action);
        QCoro::waitFor(reclaim);
        QCOMPARE(m_engine->performed().size(), 1);
        QCOMPARE(st->images().size(), 2);
        QCOMPARE(st->noticeText(), "Reclaim stopped after removing 1 of 3");
    }
};

QTEST_GUILESS_MAIN(AppStoreTest)
#include "tst_appstore.moc"
