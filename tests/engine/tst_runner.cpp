#include "cliengine.h"
#include "docker.h"
#include "dockercli.h"
#include "testsupport.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <future>

using namespace TestSupport;

// The runner's contract with the child, checked with stand-in launchers where no real
// docker gives the output needed (non-UTF-8 text, a launcher that cannot start).
class Runner : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    void useLauncher(const QByteArray &script)
    {
        Docker::Launch l;
        l.launcher = writeExecutable(m_dir.filePath(QString::number(++m_count)), "#!/bin/sh\n" + script);
        Docker::setLaunch(l);
    }
    int m_count = 0;

private slots:
    void cleanup() { Docker::setLaunch({}); }

    void childIsConfigured()
    {
        qputenv("PATH", "/usr/bin:/bin");
        auto p = Docker::process({"ps"}, Runtime::socket("apple-container", "/x/c.sock"), QStringLiteral("/tmp"));
        QCOMPARE(p->program(), "/usr/bin/env");
        QCOMPARE(p->arguments(), QStringList({"docker", "ps"}));
        QCOMPARE(p->workingDirectory(), "/tmp");
        QCOMPARE(p->processEnvironment().value("PATH"), "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin");
        QCOMPARE(p->processEnvironment().value("DOCKER_HOST"), "unix:///x/c.sock");

        qputenv("DOCKER_HOST", "tcp://inherited:2375");
        p = Docker::process({"ps"}, Runtime::context("default"));
        QCOMPARE(p->arguments(), QStringList({"docker", "--context", "default", "ps"}));
        QCOMPARE(p->processEnvironment().value("DOCKER_HOST"), "tcp://inherited:2375");
        qunsetenv("DOCKER_HOST");

        qunsetenv("PATH");
        QCOMPARE(Docker::process({})->processEnvironment().value("PATH"), "/opt/homebrew/bin:/usr/local/bin:");
        qputenv("PATH", "/usr/bin:/bin");
    }

    void runFailures_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("message");
        QTest::newRow("stderr line trimmed") << QByteArray("echo out; echo '  Error: no such container: x' >&2; exit 1")
                                             << "Error: no such container: x";
        QTest::newRow("non-UTF-8 stderr") << QByteArray("printf 'bad \\377\\376 bytes\\n' >&2; exit 3") << "docker exited 3";
        QTest::newRow("empty stderr stays empty") << QByteArray("exit 4") << "";
    }
    void runFailures()
    {
        QFETCH(QByteArray, script);
        useLauncher(script);
        try {
            Docker::run({"x"});
            QFAIL("run did not fail");
        } catch (const DockerError &e) {
            QTEST(e.message(), "message");
        }
    }

    void captureKeepsBothStreams()
    {
        // More stderr than a pipe buffer holds must not stall the child.
        useLauncher("i=0; while [ $i -lt 3000 ]; do echo \"err line $i padding padding padding\" >&2; i=$((i+1)); done; printf 'out\\n'; exit 7");
        const auto r = Docker::capture({});
        QCOMPARE(r.status, 7);
        QCOMPARE(r.out, "out\n");
        QCOMPARE(r.err.count('\n'), 3000);
    }

    void listingsFollowTheOutput()
    {
        // Listings reuse the last parse when the bytes repeat; a change must still show.
        const QString out = m_dir.filePath("ps.out");
        useLauncher("cat " + out.toUtf8());
        writeFile(out, "{\"ID\":\"a\",\"Names\":\"one\",\"State\":\"running\"}\n");
        const CliEngine engine;
        const auto first = engine.containers(std::nullopt);
        QCOMPARE(first.size(), 1);
        QCOMPARE(engine.containers(std::nullopt), first);
        writeFile(out, "{\"ID\":\"a\",\"Names\":\"one\",\"State\":\"exited\"}\n");
        QCOMPARE(engine.containers(std::nullopt).first().state, "exited");
        writeFile(out, "");
        QVERIFY(engine.containers(std::nullopt).isEmpty());
        writeFile(out, "\xff\n");   // not UTF-8: decodes to nothing, never to the old list
        QVERIFY(engine.containers(std::nullopt).isEmpty());
    }

    void launcherThatCannotStart()
    {
        Docker::Launch l;
        l.launcher = m_dir.filePath("no-such-launcher");
        Docker::setLaunch(l);
        const auto r = Docker::capture({"ps"});
        QCOMPARE(r.status, -1);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(!r.err.isEmpty(), "launch failure needs a description");
        try {
            CliEngine().containers(std::nullopt);
            QFAIL("containers() did not fail");
        } catch (const DockerError &e) {
            QCOMPARE(e.message(), r.err);
        }
    }

    void timeoutMessages()
    {
        const auto message = [](const QStringList &args, int ms) { return Docker::timeoutMessage(args, std::chrono::milliseconds(ms)); };
        QCOMPARE(message({"volume", "ls", "--format", "json"}, 60000), "docker volume ls did not answer within 60 s");
        QCOMPARE(message({"inspect", "web-1", "--format", "x"}, 60000), "docker inspect did not answer within 60 s");
        QCOMPARE(message({"compose", "config", "-q"}, 250), "docker compose config did not answer within 0.25 s");
    }

    // A client that never answers: a query ends at its deadline and takes its child with it;
    // an action waits until it is cancelled.
    void aHungClientIsEnded()
    {
        const QString pidFile = m_dir.filePath("hung.pid");
        useLauncher("echo $$ > " + pidFile.toUtf8() + "; exec sleep 300");
        Docker::Launch l = Docker::launch();
        l.queryDeadline = std::chrono::milliseconds(300);
        Docker::setLaunch(l);
        const auto childGone = [&] {
            QFile f(pidFile);
            return f.open(QIODevice::ReadOnly) && ::kill(pid_t(f.readAll().trimmed().toLongLong()), 0) != 0;
        };
        try {
            CliEngine().containers(std::nullopt);
            QFAIL("a hung listing returned");
        } catch (const DockerError &e) {
            QCOMPARE(e.message(), "docker ps did not answer within 0.3 s");
        }
        QVERIFY(childGone());
        QCOMPARE(CliEngine().clientVersion().problem, "docker version did not answer within 0.3 s");

        QFile::remove(pidFile);
        auto cancel = std::make_shared<std::atomic_bool>(false);
        auto exec = std::async(std::launch::async, [&] { return CliEngine().exec("c", "true", std::nullopt, cancel); });
        QVERIFY(QTest::qWaitFor([&] { return QFile::exists(pidFile); }, 5000));
        QCOMPARE(exec.wait_for(std::chrono::milliseconds(600)), std::future_status::timeout);   // past the query deadline
        *cancel = true;
        QCOMPARE(exec.wait_for(std::chrono::seconds(5)), std::future_status::ready);
        QVERIFY(childGone());
    }

    void dockerMissingFromPath()
    {
        Docker::Launch l;
        l.pathPrefix.clear();
        Docker::setLaunch(l);
        qputenv("PATH", m_dir.path().toUtf8());
        const auto r = Docker::capture({"ps"});
        qputenv("PATH", "/usr/bin:/bin");
        QCOMPARE(r.status, 127);   // env's own status
        QVERIFY2(r.err.contains("docker"), qPrintable(r.err));
    }
};

QTEST_GUILESS_MAIN(Runner)
#include "tst_runner.moc"
