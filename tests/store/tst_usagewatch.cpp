#include "fakeengine.h"
#include "usagewatch.h"

#include <QSignalSpy>

Q_DECLARE_METATYPE(UsagePace)
#include <QTest>

namespace {
const Runtime def = Runtime::context(QStringLiteral("default"));
const Runtime other = Runtime::context(QStringLiteral("other"));

// One line as `docker stats --format json` draws it: the first of a redraw starts with the
// cursor's move home, every line ends by erasing the rest of it.
QByteArray line(const QString &id, const char *cpu, const char *memory, bool first = false)
{
    return (first ? "\x1b[H" : "") + QStringLiteral(R"({"BlockIO":"0B / 0B","CPUPerc":"%1","Container":"%2","ID":"%2","MemUsage":"%3","Name":"n"})")
                                          .arg(QLatin1String(cpu), id, QLatin1String(memory))
                                          .toUtf8()
         + " \x1b[K\n";
}

// The children running, as "a,b" for a stream and "once a,b" for a one-off reading.
QStringList streamed(const FakeEngine &engine)
{
    QStringList running;
    for (const auto &asked : engine.usageStreams()) {
        if (asked.stream->running())
            running << (asked.read == UsageRead::Once ? QStringLiteral("once ") : QString()) + asked.ids.join(u',');
    }
    return running;
}
}

class TestUsageWatch : public QObject {
    Q_OBJECT

    std::shared_ptr<FakeEngine> m_engine;
    qint64 m_now = 0;
    std::unique_ptr<UsageWatch> m_watch;
    const int m_viewerA = 0, m_viewerB = 0;

private slots:
    void init()
    {
        m_engine = std::make_shared<FakeEngine>();
        m_now = 100'000;
        m_watch = std::make_unique<UsageWatch>(m_engine, [this] { return m_now; },
                                               UsageWatch::Timing{std::chrono::milliseconds(0), std::chrono::milliseconds(20)});
    }

    // One child for what every view shows, and only while the window is on screen.
    void oneChildForWhatIsShown()
    {
        m_watch->follow(def);
        m_watch->want(&m_viewerA, {"a"});
        QTest::qWait(20);
        QCOMPARE(streamed(*m_engine), QStringList());   // the window is hidden

        m_watch->setShown(true);
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a"}));
        m_watch->want(&m_viewerB, {"b", "a"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a,b"}));
        // What the other view still shows keeps the child as it is.
        m_watch->want(&m_viewerA, {});
        QTest::qWait(20);
        QCOMPARE(m_engine->usageStreams().size(), 1);
        QCOMPARE(streamed(*m_engine), QStringList({"a,b"}));

        m_watch->setShown(false);
        QTRY_COMPARE(streamed(*m_engine), QStringList());
        m_watch->setShown(true);
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a,b"}));
        m_watch->want(&m_viewerB, {});
        QTRY_COMPARE(streamed(*m_engine), QStringList());
    }

    void readingsMakeAMinute()
    {
        m_watch->follow(def);
        m_watch->setShown(true);
        m_watch->want(&m_viewerA, {"a", "b"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a,b"}));
        FakeStream *stream = m_engine->usageStreams().constLast().stream;
        QSignalSpy sampled(m_watch.get(), &UsageWatch::sampled);

        // Split anywhere, as a pipe splits it.
        const QByteArray frame = line("a", "12.50%", "48MiB / 1GiB", true) + line("b", "--", "-- / --");
        stream->write(frame.left(30));
        stream->write(frame.mid(30));
        QCOMPARE(sampled.size(), 1);
        QCOMPARE(sampled.takeFirst().first().value<QSet<QString>>(), QSet<QString>({"a"}));
        QCOMPARE(*m_watch->history("a"), (UsageHistory{{{100'000, 12.5}}, 48 * 1024 * 1024, 1024 * 1024 * 1024}));
        QCOMPARE(*m_watch->history("b"), UsageHistory{});   // stopping: nothing read

        // The client draws again within the second: the newest reading stands, no new point.
        m_now += 300;
        stream->write(line("a", "14.00%", "48MiB / 1GiB", true));
        QCOMPARE(m_watch->history("a")->cpu, (QList<UsageHistory::Point>{{100'000, 14.0}}));
        // Drawn again unchanged: nobody is told.
        stream->write(line("a", "14.00%", "48MiB / 1GiB", true));
        QCOMPARE(sampled.size(), 1);

        for (int s = 1; s <= 61; ++s) {
            m_now = 100'000 + s * 1000;
            stream->write(line("a", "1.00%", "48MiB / 1GiB", true));
        }
        // A minute back from the last reading, no more.
        QCOMPARE(m_watch->history("a")->cpu.size(), 61);
        QCOMPARE(m_watch->history("a")->cpu.first().at, 101'000);
        QVERIFY(!m_watch->history("b"));   // read nothing for a minute

        // Another runtime's containers share nothing with these.
        m_watch->follow(other);
        QVERIFY(!m_watch->history("a"));
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a,b"}));
    }

    void paceHoldsTheEnginesWork_data()
    {
        QTest::addColumn<int>("containers");
        QTest::addColumn<UsagePace>("pace");
        const auto once = [](int seconds) { return UsagePace{UsageRead::Once, std::chrono::seconds(seconds)}; };
        QTest::newRow("one") << 1 << UsagePace{};
        QTest::newRow("three streamed") << 3 << UsagePace{};
        QTest::newRow("four read apart") << 4 << once(6);
        QTest::newRow("nine") << 9 << once(8);
        QTest::newRow("thirty") << 30 << once(18);
        QTest::newRow("never rarer than twice a minute") << 200 << once(30);
    }
    void paceHoldsTheEnginesWork()
    {
        QFETCH(int, containers);
        QFETCH(UsagePace, pace);
        QCOMPARE(usagePace(containers), pace);
    }

    // Past a few containers each reading is a child of its own, the next after the pace; rows
    // scrolled into view are read without waiting for it.
    void manyAreReadOneReadingAtATime()
    {
        UsageWatch::Timing timing{std::chrono::milliseconds(0), std::chrono::milliseconds(20)};
        timing.soonest = std::chrono::milliseconds(0);
        timing.pace = [](qsizetype n) { return n < 2 ? UsagePace{} : UsagePace{UsageRead::Once, std::chrono::minutes(1)}; };
        m_watch = std::make_unique<UsageWatch>(m_engine, [this] { return m_now; }, timing);
        m_watch->follow(def);
        m_watch->setShown(true);
        m_watch->want(&m_viewerA, {"a"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"a"}));
        QCOMPARE(m_watch->cadence(), std::chrono::milliseconds(1000));

        m_watch->want(&m_viewerA, {"a", "b"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"once a,b"}));
        QCOMPARE(m_watch->cadence(), std::chrono::minutes(1));
        FakeStream *reading = m_engine->usageStreams().constLast().stream;
        reading->write(line("a", "1.00%", "8MiB / 1GiB") + line("b", "2.00%", "8MiB / 1GiB"));
        reading->end();
        QVERIFY(m_watch->history("a") && m_watch->history("b"));
        QTest::qWait(50);
        QCOMPARE(streamed(*m_engine), QStringList());   // the next waits for the pace

        m_watch->want(&m_viewerB, {"c"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"once a,b,c"}));
        m_engine->usageStreams().constLast().stream->end();   // "c" is gone: it is not asked again
        QTest::qWait(50);
        QCOMPARE(streamed(*m_engine), QStringList());
        m_watch->want(&m_viewerB, {});
        QTest::qWait(50);
        QCOMPARE(streamed(*m_engine), QStringList());   // all of these were read

        m_watch->setShown(false);
        m_watch->want(&m_viewerB, {"d"});
        QTest::qWait(50);
        QCOMPARE(streamed(*m_engine), QStringList());
    }

    // A container gone before the listing said so ends the client; it starts again.
    void childThatEndsStartsAgain()
    {
        m_watch->follow(def);
        m_watch->setShown(true);
        m_watch->want(&m_viewerA, {"gone"});
        QTRY_COMPARE(m_engine->usageStreams().size(), 1);
        m_engine->usageStreams().constLast().stream->end();
        QCOMPARE(streamed(*m_engine), QStringList());
        m_watch->want(&m_viewerA, {"there"});
        QTRY_COMPARE(streamed(*m_engine), QStringList({"there"}));
    }
};

QTEST_GUILESS_MAIN(TestUsageWatch)
#include "tst_usagewatch.moc"
