#include "jobrun.h"
#include "toolchain.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {
// Upgrade jobs run "brew upgrade ..."; a tiny brew on the search path lets each case run
// whatever shell text it needs through the real /bin/sh -c path.
struct ScriptedBrew {
    QTemporaryDir dir;
    explicit ScriptedBrew(const QByteArray &body)
    {
        QFile f(dir.filePath("brew"));
        f.open(QIODevice::WriteOnly);
        f.write("#!/bin/sh\n" + body);
        f.close();
        f.setPermissions(f.permissions() | QFile::ExeOwner);
        Toolchain::Setup setup;
        setup.pathPrefix = dir.path() + ":/usr/bin:/bin:";
        Toolchain::setSetup(setup);
    }
    ~ScriptedBrew() { Toolchain::setSetup({}); }
};

bool waitFinished(JobRun &run)
{
    return run.finished() || QTest::qWaitFor([&] { return run.finished(); }, 20000);
}
bool alive(qint64 pid) { return ::kill(pid_t(pid), 0) == 0; }
}

class JobRunTest : public QObject {
    Q_OBJECT
private slots:
    void outputInterleavesInOrder()
    {
        ScriptedBrew brew("echo one; sleep 0.1; echo two >&2; sleep 0.1; echo three; printf 'caf\\303'; printf '\\251\\n'");
        JobRun run(ToolJob::upgrade({"container"}), std::make_shared<HomebrewToolchain>());
        QSignalSpy output(&run, &JobRun::outputChanged);
        QCOMPARE(run.output(), "$ brew upgrade container\n");
        run.start();
        QVERIFY(run.running());
        QVERIFY(waitFinished(run));
        QCOMPARE(run.output(), "$ brew upgrade container\none\ntwo\nthree\ncafé\n");
        QVERIFY(output.size() >= 3);   // streamed, not delivered at the end
        QVERIFY(run.succeeded());
        QCOMPARE(run.exitStatus(), 0);
    }

    void multiLineScriptsRunWhole()
    {
        ScriptedBrew brew("echo \"brew $*\"");
        QTemporaryDir home;
        qputenv("HOME", home.path().toUtf8());
        JobRun run(ToolJob::install({"docker-compose"}), std::make_shared<HomebrewToolchain>());
        run.start();
        QVERIFY(waitFinished(run));
        // The banner is the script itself; brew --prefix is swallowed by the substitution.
        QCOMPARE(run.output(), ToolJob::install({"docker-compose"}).script() + "\nbrew install docker-compose\n");
        QVERIFY(QFileInfo(home.filePath(".docker/cli-plugins/docker-compose")).isSymLink());
        QCOMPARE(run.exitStatus(), 0);
    }

    void cancelInterrupts()
    {
        ScriptedBrew brew("echo started; while :; do sleep 0.05; done");
        JobRun run(ToolJob::upgrade({"container"}), std::make_shared<HomebrewToolchain>());
        run.start();
        QVERIFY(QTest::qWaitFor([&] { return run.output().contains("started"); }, 10000));
        run.cancel();
        QVERIFY(waitFinished(run));
        // Ended by the interrupt itself: the status is the signal's number, not a success.
        QCOMPARE(run.exitStatus(), SIGINT);
        QVERIFY(!run.succeeded());
    }

    void closingWhileRunningLeavesNoProcess()
    {
        QTemporaryDir dir;
        const QString pidFile = dir.filePath("child.pid");
        ScriptedBrew brew(("sleep 300 & echo $! > " + pidFile + "; echo started; wait").toUtf8());
        auto run = std::make_unique<JobRun>(ToolJob::upgrade({"container"}), std::make_shared<HomebrewToolchain>());
        run->start();
        QVERIFY(QTest::qWaitFor([&] { return run->output().contains("started"); }, 10000));
        QFile f(pidFile);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const qint64 grandchild = f.readAll().trimmed().toLongLong();
        QVERIFY(alive(grandchild));
        run.reset();
        // The grandchild is reaped by init once killed; give it a moment.
        QVERIFY(QTest::qWaitFor([&] { return !alive(grandchild); }, 5000));
    }

    void cannotStart()
    {
        Toolchain::Setup setup;
        setup.launcher = "/nope/env";
        Toolchain::setSetup(setup);
        JobRun run(ToolJob::start(), std::make_shared<HomebrewToolchain>());
        run.start();
        QVERIFY(waitFinished(run));
        QCOMPARE(run.state(), JobRun::State::FailedToStart);
        QVERIFY(run.output().startsWith(ToolJob::start().banner() + "\ncannot run brew: "));
        QVERIFY(run.output().size() > (ToolJob::start().banner() + "\ncannot run brew: ").size());
        Toolchain::setSetup({});
    }
};

QTEST_GUILESS_MAIN(JobRunTest)
#include "tst_jobrun.moc"
