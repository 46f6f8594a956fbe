#include "appstore.h"
#include "cliengine.h"
#include "storesupport.h"
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
#include <QRandomGenerator>
#include <QScopeGuard>

using namespace TestSupport;

// AppStore on the private engine, for what only a real one shows: its event stream, and
// the plan and deletion of real compose projects.
class AppStoreLive : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    Leftovers m_made;
    int m_settingsCount = 0;

    std::unique_ptr<QSettings> settings()
    {
        return std::make_unique<QSettings>(m_tmp.filePath(QString("store%1.conf").arg(++m_settingsCount)), QSettings::NativeFormat);
    }
    static std::optional<Container> find(const AppStore &st, const QString &name) { return containerNamed(st, name); }
    static std::optional<ComposeProject> project(const AppStore &st, const QString &name) { return projectNamed(st, name); }
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
    // On a loaded machine a child's exec can trail its fork by seconds. An event's change
    // awaited this long still proves the stream: the polls are a minute apart.
    static constexpr int patience = 20000;
    // The ssh links live their 30 s spacing, their backoff and keep-alives three times faster.
    static constexpr double sshPace = 0.3;
    static constexpr int spacing = int(30000 * sshPace);
    // A docker context for the test's sshd, removed when the test case ends; empty if the
    // client would not make it.
    QString contextOn(const SshServer &sshd, const QString &prefix)
    {
        const QString context = uniqueName(prefix);
        m_made.contexts << context;
        return docker({"context", "create", context, "--docker", "host=" + sshd.endpoint()}).status == 0 ? context : QString();
    }
    // Started with the window shown, once it has listed its runtimes.
    static bool shown(AppStore &st)
    {
        st.setWindowVisible(true);
        st.start();
        return QTest::qWaitFor([&] { return !st.runtimes().isEmpty(); }, 20000);
    }
    static bool shell(const QString &script)
    {
        QProcess sh;
        sh.setProcessChannelMode(QProcess::ForwardedChannels);
        sh.start("sh", {"-c", script});
        return sh.waitForFinished(120000) && sh.exitCode() == 0;
    }
private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        SshLink::setTimeScale(sshPace);
    }
    void cleanupTestCase()
    {
        // Workers still listing at exit deadlock LeakSanitizer's exit check.
        AppStore::workers()->waitForDone(60000);
        m_made.clear();
    }

    void eventsDriveTheLists()
    {
        // A context nothing answers on, beside the engine: no restart may hand over to it.
        const QString dead = uniqueName("kt-dead-");
        m_made.contexts << dead;
        QCOMPARE(docker({"context", "create", dead, "--docker", "host=tcp://127.0.0.1:9"}).status, 0);
        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>(), eventsOnly());
        st.start();
        QVERIFY(QTest::qWaitFor([&] { return st.events().childPid() > 0 && !st.images().isEmpty(); }, 20000));
        const qint64 contextChild = st.events().childPid();
        QTRY_VERIFY_WITH_TIMEOUT(childLine(contextChild, "cmdline").contains("--context " + engineContext() + " events --format json"), patience);
        // A listing begun after the child started proves it reached the engine.
        QCoro::waitFor(st.refresh());
        QTRY_VERIFY(st.events().healthy());

        const QString one = uniqueName("kt-ev-");
        m_made.containers << one;
        QCOMPARE(docker(QStringList{"create", "--name", one, engineImage()} + sleeper()).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one), patience);

        // Twenty creations at once cost a few listings, not twenty.
        const auto settled = [&] { return !st.events().gathering() && !st.scheduler().listing(st.runtime()); };
        QTRY_VERIFY(settled());
        const int before = st.fetchCount();
        QStringList burst;
        for (int i = 0; i < 20; ++i)
            burst << uniqueName("kt-burst-");
        m_made.containers << burst;
        QVERIFY(shell("for n in " + burst.join(' ') + "; do docker create --name $n " + engineImage() + " true >/dev/null & done; wait"));
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(burst.cbegin(), burst.cend(), [&](const QString &n) { return find(st, n).has_value(); }), patience);
        QTRY_VERIFY(settled());
        QVERIFY2(st.fetchCount() - before <= 3, qPrintable(QString::number(st.fetchCount() - before)));

        // Another runtime, another child, pointed at it.
        const Runtime socket = Runtime::socket("kt-socket", engineSocket());
        st.select(socket);
        QTRY_VERIFY(st.events().childPid() > 0 && st.events().childPid() != contextChild);
        const qint64 socketChild = st.events().childPid();
        QTRY_VERIFY_WITH_TIMEOUT(childLine(socketChild, "cmdline").contains("events --format json"), patience);
        const QString seen = QString("%1: %2\n%3").arg(socketChild).arg(childLine(socketChild, "cmdline"), childLine(socketChild, "environ"));
        QVERIFY2(!seen.contains("--context"), qPrintable(seen));
        QVERIFY2(seen.contains("DOCKER_HOST=unix://" + engineSocket()), qPrintable(seen));
        QTRY_VERIFY_WITH_TIMEOUT(childLine(contextChild, "cmdline").isEmpty(), patience);   // and the old one is gone
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one), 20000);

        // The engine restarts under the store: the stream comes back and the store catches up
        // with what changed meanwhile (the running container stopped with the engine).
        const QString running = m_made.run("kt-st-");
        QTRY_VERIFY_WITH_TIMEOUT(find(st, running) && find(st, running)->isRunning(), patience);
        const qint64 before_restart = st.events().childPid();
        QVERIFY(shell("bash \"$KORVAT_ENGINE_SCRIPT\" restart"));
        QTRY_VERIFY_WITH_TIMEOUT(find(st, running) && !find(st, running)->isRunning(), 30000);
        QCOMPARE(st.runtime(), socket);
        QVERIFY(st.noticeText().isEmpty());
        QVERIFY(st.events().childPid() != before_restart);
        const QString late = uniqueName("kt-late-");
        m_made.containers << late;
        QTRY_VERIFY_WITH_TIMEOUT(st.events().childPid() > 0 && st.events().nextRetry() == st.timing().events.firstRetry, 30000);
        QCOMPARE(docker(QStringList{"create", "--name", late, engineImage()} + sleeper()).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(find(st, late), patience);
    }

    // Every restart policy, running and stopped by hand, with what never ran and what was run
    // with --rm: what the store foretold is what the restarted engine brought back. One that
    // would stay down is fixed by the store's own "Keep running after restarts" first.
    void predictionsHoldAcrossAnEngineRestart()
    {
        // Stopped within a second, so the engine's own shutdown does not wait ten per container.
        const QStringList quick{"--stop-timeout", "1"};
        // Name to whether it runs after the restart. The sleeper exits 0 when stopped; a bare
        // sleep, which ignores the stop signal, is killed: an error to on-failure.
        QMap<QString, bool> backAfter;
        // Stopped only once its shell has set its trap, which its sleep shows: before, the
        // stop signal is ignored and the container killed.
        const auto trapSet = [](const QString &name) { return docker({"top", name}).out.contains("sleep 3600"); };
        for (const QString policy : {"no", "always", "unless-stopped", "on-failure"}) {
            const QString running = m_made.run("kt-rb-" + policy + "-", quick + QStringList{"--restart", policy});
            const QString stopped = m_made.run("kt-rb-" + policy + "-stopped-", quick + QStringList{"--restart", policy});
            QTRY_VERIFY_WITH_TIMEOUT(trapSet(stopped) && trapSet(running), patience);
            QCOMPARE(docker({"stop", stopped}).status, 0);
            backAfter.insert(running, policy == "always" || policy == "unless-stopped");
            backAfter.insert(stopped, policy == "always");
        }
        const QStringList killedOnFailure = quick + QStringList{"--restart", "on-failure"};
        backAfter.insert(m_made.run("kt-rb-killed-", killedOnFailure, {"sleep", "3600"}), true);
        const QString killed = m_made.run("kt-rb-killed-stopped-", killedOnFailure, {"sleep", "3600"});
        QCOMPARE(docker({"stop", killed}).status, 0);
        backAfter.insert(killed, true);
        backAfter.insert(m_made.run("kt-rb-rm-", quick + QStringList{"--rm"}), false);
        const QString created = uniqueName("kt-rb-created-");
        m_made.containers << created;
        QCOMPARE(docker(QStringList{"create", "--name", created, "--restart", "always", engineImage()} + sleeper()).status, 0);
        backAfter.insert(created, false);
        const QString fixed = m_made.run("kt-rb-fixed-", quick);
        backAfter.insert(fixed, true);

        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QCoro::waitFor(st.loadContexts());
        const auto foretold = [&](const QString &name) { return find(st, name) ? st.restarts().of(st.selected().name(), *find(st, name)) : std::nullopt; };
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(backAfter.keyBegin(), backAfter.keyEnd(), [&](const QString &n) { return foretold(n).has_value(); }), patience);
        QCOMPARE(foretold(fixed)->reason, "Stops for good at the next restart: restart policy no");
        QCoro::waitFor(st.keepRunning(*find(st, fixed)));
        QCOMPARE(st.error(), std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(foretold(fixed) && foretold(fixed)->comesBack(), patience);

        QMap<QString, Comeback> before;
        for (const QString &name : backAfter.keys())
            before.insert(name, *foretold(name));
        QVERIFY(shell("bash \"$KORVAT_ENGINE_SCRIPT\" restart"));
        const auto runningNow = [](const QString &name) {
            const Result r = docker({"inspect", "--format", "{{.State.Status}}", name});
            return r.status == 0 && (r.out.trimmed() == "running" || r.out.trimmed() == "restarting");
        };
        // The engine starts what it brings back before it answers; a moment for the rest.
        QTest::qWait(2000);
        for (auto it = backAfter.cbegin(); it != backAfter.cend(); ++it) {
            const Comeback &said = before.value(it.key());
            const QString seen = QString("%1: foretold %2 (%3), running now %4").arg(it.key()).arg(int(said.kind)).arg(said.reason).arg(runningNow(it.key()));
            QVERIFY2(runningNow(it.key()) == it.value(), qPrintable(seen));
            if (said.kind != Comeback::Kind::Perhaps)
                QVERIFY2(said.comesBack() == it.value(), qPrintable(seen));
            else
                QVERIFY2(said.reason.startsWith("Comes back only if it ends with an error"), qPrintable(seen));
        }
    }

    // Both private engines watched, a namesake on each: a row's action goes to its own
    // engine; one engine gone holds up nothing of the other's, keeps its rows under a stale
    // line, and when it returns its rows are live again without anyone asking.
    void twoEnginesSideBySide()
    {
        const QString first = engineContext(), second = secondEngineContext();
        const QString name = uniqueName("kt-both-");
        m_made.containers << name;
        QStringList onSecond{name};
        // Leftovers only reach the first engine; the second must run again whatever failed.
        const auto restored = qScopeGuard([&] {
            shell("bash \"$KORVAT_ENGINE_SCRIPT\" start-second");
            docker(QStringList{"--context", second, "rm", "-f"} + onSecond);
        });
        const QStringList run = QStringList{"run", "-d", "--name", name, engineImage()} + sleeper();
        QCOMPARE(docker(run).status, 0);
        QCOMPARE(docker(QStringList{"--context", second} + run).status, 0);
        const auto runningOn = [&](const QString &context) {
            return docker({"--context", context, "inspect", "-f", "{{.State.Running}}", name}).out.trimmed();
        };

        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QVERIFY(shown(st));
        QCOMPARE(st.runtime(), Runtime::context(first));
        const auto row = [&st](const QString &engine, const QString &n) -> std::optional<Container> {
            for (const Container &c : st.matchingContainers()) {
                if (c.engine == engine && c.name == n)
                    return c;
            }
            return std::nullopt;
        };
        const auto namesakes = [&] {
            const QList<Container> rows = st.matchingContainers();
            return int(std::count_if(rows.cbegin(), rows.cend(), [&](const Container &c) { return c.name == name; }));
        };
        QTRY_VERIFY_WITH_TIMEOUT(namesakes() == 2 && row(first, name) && row(second, name), patience);

        st.stop(*row(second, name));
        QTRY_COMPARE_WITH_TIMEOUT(runningOn(second), QString("false"), patience);
        QCOMPARE(runningOn(first), QString("true"));
        QTRY_VERIFY_WITH_TIMEOUT(row(second, name) && !row(second, name)->isRunning(), patience);
        QVERIFY(row(first, name)->isRunning());

        // The second goes, and may take its socket with it.
        QVERIFY(shell("bash \"$KORVAT_ENGINE_SCRIPT\" stop-second"));
        const QString late = m_made.run("kt-both-late-");
        QTRY_VERIFY(row(first, late));
        const auto secondStore = [&] { return st.engineNamed(second); };
        QTRY_VERIFY_WITH_TIMEOUT(secondStore() && (secondStore()->stale() || secondStore()->error()), 30000);
        QVERIFY(row(first, name) && row(first, name)->isRunning());
        QVERIFY(row(second, name));
        QCOMPARE(st.runtime(), Runtime::context(first));
        QVERIFY(!st.stale() && !st.error());

        QVERIFY(shell("bash \"$KORVAT_ENGINE_SCRIPT\" start-second"));
        QTRY_VERIFY_WITH_TIMEOUT(secondStore() && !secondStore()->stale() && !secondStore()->error() && row(second, name), 30000);
        const QString back = uniqueName("kt-both-back-");
        onSecond << back;
        QCOMPARE(docker(QStringList{"--context", second, "create", "--name", back, engineImage()} + sleeper()).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(row(second, back), patience);
        QCOMPARE(namesakes(), 2);
    }

    // A remote engine through a real sshd: every child rides on the one kept connection; the
    // host going away shows as stale within 30 s with no children piling up, and its return
    // brings the lists and the stream back without a click.
    void aRemoteEngineOverOneConnection()
    {
        SshServer sshd;
        QVERIFY2(sshd.start(), qPrintable(sshd.why()));
        const QString context = contextOn(sshd, "kt-ssh-");
        QVERIFY(!context.isEmpty());
        auto s = settings();
        auto engine = std::make_shared<CliEngine>();
        // The event stream's retries, like the link's, at the same faster pace.
        PollTiming timing;
        timing.events.lastRetry = std::chrono::milliseconds(int(60000 * sshPace));
        AppStore st(s.get(), engine, timing);
        QVERIFY(shown(st));
        const Runtime remote = Runtime::context(context);
        st.select(remote);
        QTRY_VERIFY_WITH_TIMEOUT(engine->link(context) && engine->link(context)->connected(), 20000);
        // The host's engine socket, forwarded: children then start no ssh of their own.
        QTRY_VERIFY_WITH_TIMEOUT(engine->link(context)->forwarded().startsWith("unix://"), 20000);
        QTRY_VERIFY_WITH_TIMEOUT(!st.images().isEmpty() && st.events().healthy(), 30000);

        // An outside change arrives by events; an action, exec and logs go the same way.
        const QString one = m_made.run("kt-sshc-", {}, {"sh", "-c", "echo ready; trap 'exit 0' TERM; sleep 3600 & wait"});
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one) && find(st, one)->isRunning(), patience);
        const Container c = *find(st, one);
        const ExecResult ran = engine->exec(c.id, "echo over-ssh", remote, std::make_shared<std::atomic_bool>(false));
        QCOMPARE(ran.output.trimmed(), "over-ssh");
        auto logs = engine->logs(LogSource::container(c), remote);
        QByteArray logged;
        connect(logs.get(), &EngineStream::readyRead, this, [&] { logged += logs->readAll(); });
        logs->start();
        QTRY_VERIFY_WITH_TIMEOUT(logged.contains("ready"), 10000);
        logs->stop();
        st.stop(c);
        QTRY_VERIFY_WITH_TIMEOUT(find(st, one) && !find(st, one)->isRunning(), 20000);
        QVERIFY2(sshd.connections() == 1, qPrintable(sshd.log()));

        // The host goes: stale within 30 s; the children stay few.
        sshd.stop();
        QTRY_VERIFY_WITH_TIMEOUT(st.stale(), 30000);
        const auto children = [] {
            int n = 0;
            for (const QString &pid : QDir("/proc").entryList(QDir::Dirs)) {
                QFile stat("/proc/" + pid + "/stat");
                if (stat.open(QIODevice::ReadOnly) && QString::fromLatin1(stat.readAll()).section(") ", 1).section(' ', 1, 1).toLongLong() == QCoreApplication::applicationPid())
                    ++n;
            }
            return n;
        };
        for (int i = 0; i < 3; ++i) {
            QVERIFY2(children() <= 8, qPrintable(QString::number(children())));
            QTest::qWait(2000);
        }

        // And comes back: lists, stream and the kept connection return by themselves.
        QVERIFY2(sshd.start(), qPrintable(sshd.why()));
        QTRY_VERIFY_WITH_TIMEOUT(!st.stale() && !st.error() && st.events().healthy(), 60000);
        const QString late = m_made.run("kt-sshl-");
        QTRY_VERIFY_WITH_TIMEOUT(find(st, late), patience);
        QTRY_VERIFY_WITH_TIMEOUT(engine->link(context)->connected(), 40000);
    }

    // A server that refuses the key sees one login, however often the store polls, and then
    // none until the user asks again; asked, it sees the next at once, and asked once more,
    // the one after that no sooner than the spacing later. Meanwhile every docker child fails at
    // once with ssh's words and the hint.
    void aRefusedKeyLogsInOnceUntilAsked()
    {
        SshServer sshd;
        sshd.setKeyAccepted(false);
        QVERIFY2(sshd.start(), qPrintable(sshd.why()));
        const QString context = contextOn(sshd, "kt-sshno-");
        QVERIFY(!context.isEmpty());
        auto s = settings();
        auto engine = std::make_shared<CliEngine>();
        AppStore st(s.get(), engine);
        QVERIFY(shown(st));
        const Runtime remote = Runtime::context(context);
        QElapsedTimer sinceFirst;
        sinceFirst.start();
        st.select(remote);
        QTRY_VERIFY_WITH_TIMEOUT(engine->link(context) && engine->link(context)->state() == SshLink::State::Failed, 20000);
        SshLink *link = engine->link(context);
        QVERIFY2(link->failure().contains("Permission denied (publickey)"), qPrintable(link->failure()));
        QTRY_VERIFY_WITH_TIMEOUT(st.error() && st.error()->contains("ssh-add"), 20000);
        QVERIFY2(st.error()->contains("Permission denied (publickey)"), qPrintable(*st.error()));

        // A docker child fails at once, with the hint, and logs in no more than the polls do.
        QElapsedTimer took;
        took.start();
        try {
            engine->containers(remote);
            QFAIL("listed through a refused key");
        } catch (const DockerError &e) {
            QVERIFY2(QString(e.what()).contains("ssh-add"), e.what());
        }
        QVERIFY2(took.elapsed() < 5000, qPrintable(QString::number(took.elapsed())));
        // Past the spacing a refusing host is spared, the polls and the stream's retries go on
        // failing, and nothing logs in by itself.
        QTest::qWait(int(std::max<qint64>(0, spacing + 3000 - sinceFirst.elapsed())));
        QVERIFY2(sshd.connections() == 1, qPrintable(sshd.log()));
        QCOMPARE(link->state(), SshLink::State::Failed);

        // Asked again, though the key is still refused: one more login, at once.
        st.select(remote);
        engine->retry(remote);
        QCOMPARE(engine->link(context), link);
        QTRY_VERIFY_WITH_TIMEOUT(sshd.connections() == 2, 10000);
        QElapsedTimer sinceSecond;
        sinceSecond.start();
        QTRY_VERIFY_WITH_TIMEOUT(link->state() == SshLink::State::Failed, 20000);

        // The key accepted and the user asking at once: the next login waits out the spacing
        // from the last refused one, then the connection comes up and the lists follow.
        sshd.setKeyAccepted(true);
        engine->retry(remote);
        // The link counts from the login's start, a little before the server does: margins
        // of seconds, for a loaded machine.
        QTest::qWait(int(std::max<qint64>(0, spacing - 2500 - sinceSecond.elapsed())));
        QVERIFY2(sshd.connections() == 2, qPrintable(sshd.log()));
        QTRY_VERIFY_WITH_TIMEOUT(link->connected(), 20000);
        QVERIFY2(sinceSecond.elapsed() >= spacing - 2000, qPrintable(QString::number(sinceSecond.elapsed())));
        QCOMPARE(sshd.connections(), 3);
        QTRY_VERIFY_WITH_TIMEOUT(!st.error() && !st.images().isEmpty(), 30000);
    }

    // The stand-in on a remote runtime's children's path carries its own host's logins over
    // the kept connection and no other's: an ssh to another host (a build's ssh builder, git)
    // runs the real ssh as it would without Korvat.
    void theStandInCarriesOnlyItsHost()
    {
        SshServer sshd;
        QVERIFY2(sshd.start(), qPrintable(sshd.why()));
        const QString context = contextOn(sshd, "kt-sshsi-");
        QVERIFY(!context.isEmpty());
        CliEngine engine;
        engine.keep({{Runtime::context(context), sshd.endpoint(), true}});
        QTRY_VERIFY_WITH_TIMEOUT(engine.link(context) && engine.link(context)->connected(), 20000);
        QCOMPARE(sshd.connections(), 1);
        const QString standIn = SshLink::shimFor(context) + "/ssh";
        QVERIFY(QFileInfo(standIn).isExecutable());
        const auto run = [&](const QStringList &args) {
            QProcess ssh;
            ssh.setStandardInputFile(QProcess::nullDevice());
            ssh.start(standIn, args);
            return ssh.waitForFinished(30000) ? QString::fromUtf8(ssh.readAllStandardOutput()).trimmed() + QString::fromUtf8(ssh.readAllStandardError()).trimmed()
                                              : QString("no end");
        };
        // As the docker client calls it, and as a user would: carried.
        QCOMPARE(run({"-o", "ConnectTimeout=30", "-T", "-l", "root", "--", "korvat-ssh", "echo", "carried"}), "carried");
        QCOMPARE(run({"root@korvat-ssh", "echo", "again"}), "again");
        QCOMPARE(sshd.connections(), 1);
        // Another host, the same host on a port of its own choosing, or with a configuration
        // of its own: the real ssh's own login.
        QCOMPARE(run({"-F", sshd.config(), "-o", "BatchMode=yes", "root@korvat-other", "echo", "direct"}), "direct");
        QCOMPARE(sshd.connections(), 2);
        QCOMPARE(run({"-F", sshd.config(), "-o", "BatchMode=yes", "-l", "root", "--", "korvat-ssh", "echo", "own config"}), "own config");
        QCOMPARE(sshd.connections(), 3);
        QCOMPARE(run({"-F", sshd.config(), "-oBatchMode=yes", "-oPort=1", "-l", "root", "korvat-ssh", "true"}).contains("port 1"), true);
        QVERIFY2(sshd.connections() == 3, qPrintable(sshd.log()));
    }

    // Work on one remote runtime goes on while another is kept beside it: keep() with the
    // second added, or the same list again, leaves the first's connection as it was.
    void keepingASecondRuntimeLeavesTheFirst()
    {
        SshServer sshd;
        QVERIFY2(sshd.start(), qPrintable(sshd.why()));
        const QString first = contextOn(sshd, "kt-ssha-"), second = contextOn(sshd, "kt-sshb-");
        QVERIFY(!first.isEmpty() && !second.isEmpty());
        const RuntimeEntry a{Runtime::context(first), sshd.endpoint(), true}, b{Runtime::context(second), sshd.endpoint(), true};
        CliEngine engine;
        engine.keep({a});
        QTRY_VERIFY_WITH_TIMEOUT(engine.link(first) && engine.link(first)->connected(), 20000);
        SshLink *kept = engine.link(first);
        QTRY_VERIFY_WITH_TIMEOUT(kept->forwarded().startsWith("unix://"), 20000);
        QCOMPARE(sshd.connections(), 1);

        engine.keep({b, a});
        QCOMPARE(engine.link(first), kept);
        QTRY_VERIFY_WITH_TIMEOUT(engine.link(second) && engine.link(second)->connected(), 20000);
        QVERIFY(kept->connected());
        QCOMPARE(sshd.connections(), 2);
        // The same list again, an entry's reachability read anew: nothing made again.
        SshLink *beside = engine.link(second);
        engine.keep({a, {b.runtime, b.endpoint, false}});
        QCOMPARE(engine.link(first), kept);
        QCOMPARE(engine.link(second), beside);
        QVERIFY(!engine.images(a.runtime).isEmpty());
        QVERIFY(!engine.images(b.runtime).isEmpty());
        QVERIFY2(sshd.connections() == 2, qPrintable(sshd.log()));

        // The first no longer in use: its connection ends, the second's stays.
        engine.keep({b});
        QCOMPARE(engine.link(first), nullptr);
        QCOMPARE(SshLink::shimFor(first), QString());
        QCOMPARE(engine.link(second), beside);
        QVERIFY(beside->connected());
        QVERIFY(!engine.images(b.runtime).isEmpty());
        QCOMPARE(sshd.connections(), 2);
    }

    // A project started with -p in a directory whose file names another project, beside that
    // project's own volume and a volume shared by intent: only what is the project's goes.
    // Three services, one never started: it is listed as not created, and its own Up
    // creates it alone. Then a newer image is pushed under web's tag: the pull names web
    // alone as newer, and the recreate replaces web's container and no other.
    void servicesOneAtATimeAndNewerImages()
    {
        LocalRegistry registry;
        QVERIFY2(registry.start(), qPrintable(registry.why()));
        const QString web = registry.reference(uniqueName("kt-web") + ":1"), base = registry.reference(uniqueName("kt-base") + ":1");
        m_made.images << web << base;
        for (const QString &reference : {web, base}) {
            QCOMPARE(docker({"tag", engineImage(), reference}).status, 0);
            QCOMPARE(docker({"push", reference}).status, 0);
        }
        const QString app = uniqueName("ktsvc");
        const QByteArray service = "    command: " + sleeperJson() + "\n";
        const ComposeDir dir("name: " + app.toUtf8() + "\nservices:\n  web:\n    image: " + web.toUtf8() + "\n" + service + "  db:\n    image: "
                             + base.toUtf8() + "\n" + service + "  mail:\n    image: " + base.toUtf8() + "\n" + service);
        m_made.containers << app + "-web-1" << app + "-db-1" << app + "-mail-1";
        m_made.networks << app + "_default";
        QCOMPARE(docker({"compose", "up", "-d", "web", "db"}, dir.path()).status, 0);

        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QCoro::waitFor(st.loadContexts());
        QTRY_VERIFY_WITH_TIMEOUT(st.definitions().read().contains(dir.path()), 20000);
        QCOMPARE(ProjectServices::missing(st.definitions().read().value(dir.path()), project(st, app)->containers),
                 QList<ProjectService>({{"mail", base, ProjectService::State::NotCreated, {}}}));
        const QString webId = find(st, app + "-web-1")->id, dbId = find(st, app + "-db-1")->id;
        QCoro::waitFor(st.serviceAction(*project(st, app), EngineAction::Kind::ComposeUp, "mail"));
        QCOMPARE(st.error(), std::nullopt);
        QVERIFY(find(st, app + "-mail-1") && find(st, app + "-mail-1")->isRunning());
        QCOMPARE(find(st, app + "-web-1")->id, webId);
        QCOMPARE(find(st, app + "-db-1")->id, dbId);
        const QString mailId = find(st, app + "-mail-1")->id;

        // The registry gets a newer web; here the tag still names the old one.
        const QString box = uniqueName("kt-newer-");
        QCOMPARE(docker({"run", "--name", box, web, "/bin/busybox", "touch", "/newer"}).status, 0);
        QCOMPARE(docker({"commit", box, web}).status, 0);
        docker({"rm", box});
        QCOMPARE(docker({"push", web}).status, 0);
        QCOMPARE(docker({"tag", engineImage(), web}).status, 0);

        QCoro::waitFor(st.pullNewer(*project(st, app)));
        QCOMPARE(st.error(), std::nullopt);
        QCOMPARE(st.pulls().value(app), (PullSummary{{"web"}, {"db", "mail"}, {}, {}}));
        QCoro::waitFor(st.recreate(*project(st, app)));
        QCOMPARE(st.error(), std::nullopt);
        QVERIFY(find(st, app + "-web-1")->id != webId);
        QCOMPARE(find(st, app + "-db-1")->id, dbId);
        QCOMPARE(find(st, app + "-mail-1")->id, mailId);
        QVERIFY(st.pulls().isEmpty());
    }

    void deletingTakesOnlyWhatIsTheProjects()
    {
        const QString app = uniqueName("ktapp"), staging = uniqueName("ktstaging"), shared = uniqueName("ktshared");
        const ComposeDir dir("name: " + app.toUtf8() + "\n" + sleeperCompose("web",
            "    volumes: [data:/data, shared:/shared]\nvolumes:\n  data:\n  shared:\n    external: true\n    name: " + shared.toUtf8() + "\n"));
        m_made.volumes << app + "_data" << shared << staging + "_data";
        m_made.containers << staging + "-web-1" << app + "-web-1";
        m_made.networks << app + "_default" << staging + "_default";
        QCOMPARE(docker({"volume", "create", shared}).status, 0);
        QCOMPARE(docker({"compose", "up", "-d"}, dir.path()).status, 0);
        QCOMPARE(docker({"compose", "down"}, dir.path()).status, 0);   // app's volume stays behind
        QCOMPARE(docker({"compose", "-p", staging, "up", "-d"}, dir.path()).status, 0);

        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QCoro::waitFor(st.loadContexts());
        const auto plan = QCoro::waitFor(st.teardownPlan(*project(st, staging)));
        QCOMPARE(plan.containers, QStringList({staging + "-web-1"}));
        QCOMPARE(plan.removable().size(), 1);
        QCOMPARE(plan.removable().first().name, staging + "_data");
        QCOMPARE(plan.kept().size(), 1);
        QCOMPARE(plan.kept().first().name, shared);
        // staging was started from this file under its own name, so the file's word is staging's.
        QCOMPARE(plan.kept().first().keptBecause(), "external");

        QCoro::waitFor(st.deleteProject(plan, false));
        QCOMPARE(st.error(), std::nullopt);
        QCOMPARE(docker({"container", "inspect", staging + "-web-1"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", staging + "_data"}).status, 1);
        QCOMPARE(docker({"volume", "inspect", app + "_data"}).status, 0);
        QCOMPARE(docker({"volume", "inspect", shared}).status, 0);
    }


    // Random images, containers and volumes of every kind the reclaim rules tell apart. The
    // plan lists none of what the rules keep and all of what they allow; performed, it
    // removes exactly what it listed, as the engine's own lists before and after show.
    void reclaimRemovesExactlyWhatItListed()
    {
        const quint32 seed = qEnvironmentVariableIsSet("KORVAT_SEED") ? qEnvironmentVariableIntValue("KORVAT_SEED") : QRandomGenerator::global()->generate();
        qInfo("seed %u (KORVAT_SEED repeats it)", seed);
        QRandomGenerator random(seed);
        const QString prefix = uniqueName("ktrc");
        const auto out = [](const QStringList &args) { return docker(args).out.trimmed(); };

        // Images of their own ids: a committed label makes each one new. Every second one
        // keeps no name and is dangling.
        const QString source = out({"create", "--name", prefix + "-src", engineImage(), "true"});
        m_made.containers << prefix + "-src";
        QStringList images, tagged;
        for (int i = 0; i < 5; ++i) {
            const bool named = i % 2 == 0;
            QStringList args{"commit", "-c", QString("LABEL korvat.test=%1-%2").arg(prefix).arg(i), source};
            if (named)
                args << QString("%1-img%2:1").arg(prefix).arg(i);
            const QString id = out(args);
            QVERIFY(id.startsWith("sha256:"));
            images << id;
            if (named)
                tagged << QString("%1-img%2:1").arg(prefix).arg(i);
            m_made.images << id;
        }
        QCOMPARE(docker({"rm", prefix + "-src"}).status, 0);
        QStringList volumes;
        for (int i = 0; i < 5; ++i) {
            const QString name = random.bounded(2) ? out({"volume", "create"}) : out({"volume", "create", QString("%1-vol%2").arg(prefix).arg(i)});
            volumes << name;
            m_made.volumes << name;
        }
        struct Made { QString id; QString image; QString state; bool project; QStringList mounts; };
        QList<Made> containers;
        for (int i = 0; i < 7; ++i) {
            Made c{{}, images[random.bounded(int(images.size()))], QStringList{"running", "exited", "created"}[random.bounded(3)], random.bounded(3) == 0, {}};
            const QString name = QString("%1-c%2").arg(prefix).arg(i);
            QStringList args{c.state == "running" ? "run" : "create", "--name", name};
            if (c.state == "running")
                args << "-d";
            if (c.project)
                args << "--label" << QString(Labels::project) + "=" + prefix;
            if (random.bounded(2)) {
                c.mounts << volumes[random.bounded(int(volumes.size()))];
                args << "-v" << c.mounts.first() + ":/data";
            }
            args << c.image << "/bin/busybox" << "sleep" << (c.state == "exited" ? "0" : "3600");
            QCOMPARE(docker(args).status, 0);
            if (c.state == "exited")
                QCOMPARE(docker({"start", "-a", name}).status, 0);
            c.id = out({"inspect", "-f", "{{.Id}}", name});
            containers << c;
            m_made.containers << name;
        }

        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QCoro::waitFor(st.loadContexts());
        const DiskReading read = QCoro::waitFor(st.readDisk());
        QVERIFY2(read.usage, qPrintable(read.error));
        const ReclaimPlan plan = AppStore::reclaimPlan(read);

        using Kind = ReclaimPlan::Kind;
        QMap<QString, Kind> listed;
        for (const auto &c : plan.categories) {
            for (const auto &item : c.items)
                listed.insert(item.id, c.kind);
        }
        QMap<QString, Kind> expected;
        for (const QString &image : images) {
            const bool used = std::any_of(containers.cbegin(), containers.cend(), [&](const Made &c) { return c.image == image; });
            const bool dangling = !std::any_of(tagged.cbegin(), tagged.cend(), [&](const QString &t) { return out({"image", "inspect", "-f", "{{.Id}}", t}) == image; });
            if (!used)
                expected.insert(image, dangling ? Kind::DanglingImages : Kind::UnusedImages);
        }
        for (const Made &c : containers) {
            if (c.state != "running" && !c.project)
                expected.insert(c.id, Kind::StoppedContainers);
        }
        for (const QString &v : volumes) {
            const bool mounted = std::any_of(containers.cbegin(), containers.cend(), [&](const Made &c) { return c.mounts.contains(v); });
            if (v.size() == 64 && !mounted)
                expected.insert(v, Kind::AnonymousVolumes);
        }
        // Only the test's own objects count: the engine holds other tests' too.
        QMap<QString, Kind> ours;
        QStringList made = images + volumes;
        for (const Made &c : containers)
            made << c.id;
        for (auto it = listed.cbegin(); it != listed.cend(); ++it) {
            if (made.contains(it.key()))
                ours.insert(it.key(), it.value());
        }
        QCOMPARE(ours, expected);

        // Performed on the test's own items only, it takes those and nothing else.
        ReclaimPlan own = plan;
        for (auto &c : own.categories)
            c.items.removeIf([&](const ReclaimPlan::Item &i) { return !made.contains(i.id); });
        const auto held = [&] {
            QStringList all = out({"ps", "-aq", "--no-trunc"}).split('\n', Qt::SkipEmptyParts) + out({"images", "-aq", "--no-trunc"}).split('\n', Qt::SkipEmptyParts)
                            + out({"volume", "ls", "-q"}).split('\n', Qt::SkipEmptyParts);
            return QSet<QString>(all.cbegin(), all.cend());
        };
        const QSet<QString> before = held();
        QCoro::waitFor(st.reclaim(own, {Kind::DanglingImages, Kind::BuildCache, Kind::UnusedImages, Kind::StoppedContainers, Kind::AnonymousVolumes}));
        const QSet<QString> after = held();
        const QStringList keys = expected.keys();
        QCOMPARE(before - after, QSet<QString>(keys.cbegin(), keys.cend()));
        QVERIFY(after - before == QSet<QString>{});
    }

    // Stopped while the first item goes, a reclaim ends after it: the others stay.
    void aReclaimStoppedBetweenItems()
    {
        const QString prefix = uniqueName("ktrs");
        const QString source = docker({"create", "--name", prefix + "-src", engineImage(), "true"}).out.trimmed();
        m_made.containers << prefix + "-src";
        QStringList images;
        for (int i = 0; i < 3; ++i) {
            images << docker({"commit", "-c", QString("LABEL korvat.test=%1-%2").arg(prefix).arg(i), source}).out.trimmed();
            m_made.images << images.last();
        }
        QCOMPARE(docker({"rm", prefix + "-src"}).status, 0);
        auto s = settings();
        AppStore st(s.get(), std::make_shared<CliEngine>());
        QCoro::waitFor(st.loadContexts());
        ReclaimPlan plan = AppStore::reclaimPlan(QCoro::waitFor(st.readDisk()));
        for (auto &c : plan.categories)
            c.items.removeIf([&](const ReclaimPlan::Item &i) { return !images.contains(i.id); });
        QCOMPARE(plan.categories.first().items.size(), 3);
        const QString first = plan.categories.first().items.first().id;

        const int id = st.work().begin(Work::Kind::Reclaim, "default");
        // The first removal is under way once reclaim returns; the stop comes before it ends.
        auto reclaim = st.reclaim(plan, {ReclaimPlan::Kind::DanglingImages}, id);
        st.work().stop(id);
        QCoro::waitFor(reclaim);
        for (const QString &image : images)
            QCOMPARE(docker({"image", "inspect", image}).status, image == first ? 1 : 0);
        QCOMPARE(st.noticeText(), "Reclaim stopped after removing 1 of 3");
    }
};

QTEST_GUILESS_MAIN(AppStoreLive)
#include "tst_appstore_live.moc"
