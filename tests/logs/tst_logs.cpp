#include "execconsole.h"
#include "fakeengine.h"
#include "logfollower.h"

#include <QSignalSpy>
#include <QTest>

// The log follower and the exec console over a FakeEngine: what they make of the output.
class Logs : public QObject {
    Q_OBJECT
    std::shared_ptr<FakeEngine> m_engine = std::make_shared<FakeEngine>();
    const Container m_web{"abc123", "web-1", "nginx", "running", "Up", "", {}};

private slots:
    void trimmingBound()
    {
        const QString almost(200000, 'a');
        QCOMPARE(LogFollower::appended(QString(), almost).size(), 200000);   // below the bound: untouched
        const QString trimmed = LogFollower::appended(almost, "XYZ");
        QCOMPARE(trimmed.size(), 150000);
        QVERIFY(trimmed.endsWith("aXYZ"));
        QCOMPARE(LogFollower::appended(QString(199999, 'b'), "c").size(), 200000);
        QCOMPARE(LogFollower::appended(QString(199999, 'b'), "cd").size(), 150000);
    }

    void followerShowsWhatTheStreamWrites()
    {
        m_engine->setLogOutput("first\n");
        LogFollower follower(m_engine, LogSource::container(m_web), std::nullopt);
        QCOMPARE(follower.header(), "LOGS · LAST 300");
        QCOMPARE(LogFollower::header(LogSource::project({"shop", "/srv/shop", {}, 1})), "PROJECT LOGS · LAST 300 PER SERVICE");
        follower.start();
        QVERIFY(follower.running());
        QTRY_COMPARE(follower.text(), "first\n");
        FakeStream *stream = m_engine->logStreams().constLast();
        stream->write("\xff\xfe broken\n");   // not UTF-8: dropped whole
        stream->write("second\n");
        QCOMPARE(follower.text(), "first\nsecond\n");
        emit stream->failedToStart("No such file or directory");
        QCOMPARE(follower.text(), "first\nsecond\ncannot run docker: No such file or directory\n");
        follower.stop();
        QVERIFY(!follower.running());
        QVERIFY(!stream->running());
    }

    void transcriptEntry_data()
    {
        QTest::addColumn<ExecResult>("result");
        QTest::addColumn<QString>("entry");
        QTest::newRow("output") << ExecResult{true, "hi\n", 0, {}} << "hi\n";
        QTest::newRow("failure") << ExecResult{true, {}, 1, {}} << "[exit 1]\n";
        QTest::newRow("no final line break") << ExecResult{true, "abc", 4, {}} << "abc\n[exit 4]\n";
        QTest::newRow("silent success") << ExecResult{true, {}, 0, {}} << "";
        QTest::newRow("cannot start") << ExecResult{false, {}, -1, "no env"} << "cannot run docker: no env\n";
    }
    void transcriptEntry()
    {
        QFETCH(ExecResult, result);
        QTEST(ExecConsole::transcriptEntry(result), "entry");
    }

    void consoleRunsOneCommandAtATime()
    {
        ExecConsole console(m_engine, m_web, std::nullopt);
        QSignalSpy running(&console, &ExecConsole::runningChanged);
        console.setCommand(" \t ");
        console.run();
        QCOMPARE(console.output(), QString());
        QCOMPARE(running.size(), 0);

        m_engine->setExec([](const QString &id, const QString &command) { return ExecResult{true, id + ": " + command, 0, {}}; });
        m_engine->hold(FakeEngine::Call::Exec);
        console.setCommand(" \t echo  x \t");
        console.run();
        QVERIFY(console.running());
        QCOMPARE(console.command(), QString());
        console.setCommand("echo second");
        console.run();   // ignored while the first runs, and kept in the field
        QCOMPARE(console.command(), "echo second");
        m_engine->release(FakeEngine::Call::Exec);
        QTRY_VERIFY(!console.running());
        QCOMPARE(console.output(), "$ echo  x\nabc123: echo  x\n");

        // A console closed mid-command drops the result without harm.
        m_engine->hold(FakeEngine::Call::Exec);
        auto closing = std::make_unique<ExecConsole>(m_engine, m_web, std::nullopt);
        closing->setCommand("sleep");
        closing->run();
        closing.reset();
        m_engine->release(FakeEngine::Call::Exec);
        QTest::qWait(50);
    }
};

QTEST_GUILESS_MAIN(Logs)
#include "tst_logs.moc"
