#include "cliengine.h"
#include "execconsole.h"
#include "logfollower.h"
#include "testsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

namespace {
// Processes whose command line holds every one of the given words.
QList<qint64> processesWith(const QStringList &words)
{
    QList<qint64> pids;
    for (const auto &entry : QDir("/proc").entryList(QDir::Dirs)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric)
            continue;
        QFile f("/proc/" + entry + "/cmdline");
        if (!f.open(QIODevice::ReadOnly))
            continue;
        const QString cmdline = QString::fromUtf8(f.readAll()).replace(QChar(0), ' ');
        if (std::all_of(words.cbegin(), words.cend(), [&](const QString &w) { return cmdline.contains(w); }))
            pids << pid;
    }
    return pids;
}

bool waitForText(LogFollower &f, const QString &needle)
{
    return QTest::qWaitFor([&] { return f.transcript()->plainText().contains(needle); }, 20000);
}
}

class LogsLive : public QObject {
    Q_OBJECT
    Leftovers m_made;
    const std::shared_ptr<const Engine> m_engine = std::make_shared<CliEngine>();
    QString m_sleeper;

    Container container(const QString &name)
    {
        for (const auto &c : m_engine->containers({}))
            if (c.name == name)
                return c;
        return {};
    }
    QString runExec(ExecConsole &console, const QString &command)
    {
        console.setCommand(command);
        const QString before = console.transcript()->plainText();
        console.run();
        if (!QTest::qWaitFor([&] { return !console.running(); }, 20000))
            return "timed out";
        return console.transcript()->plainText().mid(before.size());
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        m_sleeper = m_made.run("kt-log-");
        QVERIFY(!container(m_sleeper).id.isEmpty());
    }
    void cleanupTestCase() { m_made.clear(); }

    void followsEveryServiceOfAProject()
    {
        const QByteArray svc = "    image: " + engineImage().toUtf8() + "\n";
        ComposeDir dir("services:\n  alpha:\n" + svc + "    command: [\"sh\", \"-c\", \"printf '\\\\033[32mfrom-alpha\\\\033[0m\\\\n'; echo err-alpha >&2; exec sleep 3600\"]\n"
                       "  beta:\n" + svc + "    command: [\"sh\", \"-c\", \"echo from-beta; exec sleep 3600\"]\n");
        // Followed by the name it was started under, as its containers record it.
        const QString name = uniqueName("kt-logs-").toLower();
        QCOMPARE(docker({"compose", "-p", name, "up", "-d"}, dir.path()).status, 0);
        {
            LogFollower follower(m_engine, LogSource::project({name, dir.path(), {}, 2}), std::nullopt);
            follower.start();
            QVERIFY(waitForText(follower, "from-alpha"));
            QVERIFY(waitForText(follower, "from-beta"));
            QVERIFY(waitForText(follower, "err-alpha"));   // standard error in the same text
            // Colour is style, never text; each line knows its service.
            Transcript &lines = *follower.transcript();
            QVERIFY(!lines.plainText().contains(QChar(0x1b)) && !lines.plainText().contains("[32m"));
            QCOMPARE(lines.services(), QStringList({"alpha-1", "beta-1"}));
            QVERIFY(!processesWith({"compose", "logs", "--tail"}).isEmpty());
        }
        // Gone with the follower, the compose plugin included.
        QVERIFY(QTest::qWaitFor([] { return processesWith({"compose", "logs", "--tail"}).isEmpty(); }, 5000));
        docker({"compose", "-p", name, "down", "-t", "0"}, dir.path());
    }

    // Printing as fast as a shell can: more than the sheet can show, so lines are passed over
    // and counted, and the follower still goes at once.
    void destroyingAFloodingFollowerEndsItsChild()
    {
        const QString flood = m_made.run("kt-flood-", {}, {"sh", "-c", "i=0; while :; do echo \"line $i\"; i=$((i+1)); done"});
        const QString id = container(flood).id;
        auto follower = std::make_unique<LogFollower>(m_engine, LogSource::container(container(flood)), std::nullopt);
        follower->start();
        QVERIFY(QTest::qWaitFor([&] { return follower->transcript()->passedOver() > 0; }, 20000));
        QVERIFY(follower->transcript()->plainText().size() < Transcript::trimAt);
        QVERIFY(!processesWith({"logs", id}).isEmpty());
        QElapsedTimer ending;
        ending.start();
        follower.reset();   // ended without waiting here, its reader too
        QVERIFY(ending.elapsed() < 1000);
        QVERIFY(QTest::qWaitFor([&] { return processesWith({"logs", id}).isEmpty(); }, 5000));
        docker({"rm", "-f", flood});
    }

    void execTranscript_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("entry");
        QTest::newRow("stderr only") << "echo oops >&2" << "$ echo oops >&2\noops\n";
        QTest::newRow("quotes and pipes stay in the container") << "echo \"a|b\" | cat && echo 'c d'" << "$ echo \"a|b\" | cat && echo 'c d'\na|b\nc d\n";
    }
    void execTranscript()
    {
        QFETCH(QString, command);
        ExecConsole console(m_engine, container(m_sleeper), std::nullopt);
        QTEST(runExec(console, command), "entry");
        QCOMPARE(console.command(), QString());
    }
};

QTEST_GUILESS_MAIN(LogsLive)
#include "tst_logs_live.moc"
