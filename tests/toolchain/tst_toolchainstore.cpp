#include "faketools.h"
#include "toolchainstore.h"
#include "tooljob.h"
#include "toolsreport.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <QCoroTask>

namespace {
const QByteArray infoBoth = R"({"formulae":[{"name":"container","revision":0,"versions":{"stable":"1.5.0"}},{"name":"socktainer","versions":{"stable":"1.3.0"}},{"name":"docker","versions":{"stable":"29.0.0"}}]})";
}

class ToolchainStoreTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    QDateTime m_now = QDateTime(QDate(2026, 11, 22), QTime(12, 0), Qt::UTC);
    int m_count = 0;

    std::unique_ptr<QSettings> settings()
    {
        return std::make_unique<QSettings>(m_tmp.filePath(QString("s%1.conf").arg(++m_count)), QSettings::NativeFormat);
    }
    std::unique_ptr<ToolchainStore> store(QSettings *s)
    {
        return std::make_unique<ToolchainStore>(s, std::make_shared<HomebrewToolchain>(), [this] { return m_now; });
    }
    // container and socktainer both installed through Homebrew, both one version behind.
    void twoBehind(const FakeTools &fake)
    {
        fake.set("container.version", "container CLI version 1.4.1 (build: release, commit: unspeci)\n");
        fake.set("socktainer.version", "socktainer: 1.2.1 (git commit: unspecified)\n");
        fake.set("docker.version", "Docker version 29.0.0, build 6d6f47b\n");
        fake.set("list.txt", "container 1.4.1\nsocktainer 1.2.1\n");
        fake.set("info.json", infoBoth);
    }

private slots:
    void noticeWordingAndDismissal()
    {
        FakeTools fake;
        twoBehind(fake);
        auto s = settings();
        auto st = store(s.get());
        QVERIFY(st->brewAvailable());
        QSignalSpy notice(st.get(), &ToolchainStore::noticeChanged);
        QCoro::waitFor(st->check());
        QCOMPARE(st->noticeText(), "2 runtime updates are available");
        QCOMPARE(notice.size(), 1);
        QCOMPARE(st->updatable().size(), 2);   // docker is current, not updatable
        QVERIFY(!st->note());
        QCOMPARE(st->lastChecked(), m_now);
        QCOMPARE(s->value("toolchainLastChecked").toDouble(), double(m_now.toSecsSinceEpoch()));
        // A load that learns no latest versions keeps the ones the check found.
        fake.set("info.json", "{}");
        QCoro::waitFor(st->load());
        QCOMPARE(st->noticeText(), "2 runtime updates are available");
        fake.set("info.json", infoBoth);

        // socktainer brought up to date: one left, named.
        fake.set("list.txt", "container 1.4.1\nsocktainer 1.3.0\n");
        fake.set("socktainer.version", "socktainer: 1.3.0\n");
        QCoro::waitFor(st->check());
        QCOMPARE(st->noticeText(), "Apple container 1.5.0 is available");

        st->dismissNotice();
        QCOMPARE(st->noticeText(), std::nullopt);
        QCOMPARE(s->value("dismissedToolUpdates").toStringList(), QStringList({"container 1.5.0"}));

        // A new release brings the notice back, and a fresh store reads the dismissal.
        auto again = store(s.get());
        QCOMPARE(again->dismissed(), QSet<QString>({"container 1.5.0"}));
        fake.set("info.json", R"({"formulae":[{"name":"container","versions":{"stable":"1.6.0"}}]})");
        QCoro::waitFor(again->check());
        QCOMPARE(again->noticeText(), "Apple container 1.6.0 is available");
    }

    void toolsOutsideHomebrewAreNeverUpdatable()
    {
        FakeTools fake;
        twoBehind(fake);
        fake.set("list.txt", "");   // installed by other means
        auto s = settings();
        auto st = store(s.get());
        QCoro::waitFor(st->check());
        QCOMPARE(st->tools()[0].installed, "1.4.1");
        QCOMPARE(st->tools()[0].latest, "1.5.0");
        QVERIFY(!st->tools()[0].brewManaged);
        QVERIFY(st->updatable().isEmpty());
        QCOMPARE(st->noticeText(), std::nullopt);
        QVERIFY(st->containerInstalled());
    }

    void surveyFallsBackToHomebrew()
    {
        FakeTools fake;
        fake.set("list.txt", "container 1.4.1\ndocker-compose 2.30.0\n");
        auto s = settings();
        auto st = store(s.get());
        QCoro::waitFor(st->load());
        QCOMPARE(st->tools()[0].installed, "1.4.1");     // command silent, Homebrew knows it
        QVERIFY(st->tools()[0].brewManaged);
        QCOMPARE(st->tools()[3].installed, std::nullopt);   // a plugin must answer itself
        QVERIFY(st->tools()[3].brewManaged);
        QCOMPARE(st->tools()[2].installed, std::nullopt);
        QVERIFY(!st->lastChecked());   // load is not a check
    }

    void staleness_data()
    {
        QTest::addColumn<double>("stored");   // seconds before now; NaN: never
        QTest::addColumn<bool>("checks");
        QTest::newRow("23 hours ago") << 23 * 3600.0 << false;
        QTest::newRow("24 hours ago") << 24 * 3600.0 << true;
        QTest::newRow("never") << qQNaN() << true;
        QTest::newRow("in the future") << -3600.0 << true;
    }
    void staleness()
    {
        QFETCH(double, stored);
        FakeTools fake;
        auto s = settings();
        if (!qIsNaN(stored))
            s->setValue("toolchainLastChecked", double(m_now.toSecsSinceEpoch()) - stored);
        auto st = store(s.get());
        QCoro::waitFor(st->checkIfStale());
        QTEST(fake.brewLog().contains("update --quiet"), "checks");
    }

    // The launch check runs once per process; a check asked for while one runs joins it; a
    // store that goes mid-check takes nothing down with it.
    void checksDoNotPileUp()
    {
        FakeTools fake;
        fake.set("update.sleep", "0.3");
        auto s = settings();
        auto st = store(s.get());
        QSignalSpy checking(st.get(), &ToolchainStore::checkingChanged);
        auto first = st->checkAtLaunch(true);
        auto second = st->check();
        QCoro::waitFor(std::move(first));
        QCoro::waitFor(std::move(second));
        QCoro::waitFor(st->checkAtLaunch(true));
        QCOMPARE(fake.brewLog().count("update --quiet"), 1);
        QCOMPARE(checking.size(), 2);

        auto disabled = store(settings().get());
        QCoro::waitFor(disabled->checkAtLaunch(false));
        QCOMPARE(fake.brewLog().count("update --quiet"), 1);
        QVERIFY(!disabled->tools().isEmpty());   // but it loaded
        auto task = disabled->check();
        disabled.reset();
        QCoro::waitFor(std::move(task));
    }

    void notes_data()
    {
        QTest::addColumn<bool>("withBrew");
        QTest::addColumn<QByteArray>("err");
        QTest::addColumn<QByteArray>("exit");
        QTest::addColumn<QString>("note");
        QTest::newRow("no Homebrew") << false << QByteArray() << QByteArray() << "Homebrew not found.";
        QTest::newRow("update fails with a message") << true << QByteArray("\n  Error: no network\n") << QByteArray("1") << "Error: no network";
        QTest::newRow("update fails silently") << true << QByteArray() << QByteArray("3") << "brew update failed (exit 3).";
    }
    void notes()
    {
        QFETCH(bool, withBrew);
        QFETCH(QByteArray, err);
        QFETCH(QByteArray, exit);
        FakeTools fake(withBrew);
        twoBehind(fake);
        if (!err.isEmpty())
            fake.set("update.err", err);
        if (!exit.isEmpty())
            fake.set("update.exit", exit);
        auto s = settings();
        auto st = store(s.get());
        QCoro::waitFor(st->check());
        QTEST(st->note().value_or(QString()), "note");
        if (!withBrew) {
            QVERIFY(!st->brewAvailable());
            QVERIFY(st->updatable().isEmpty());
            QCOMPARE(st->tools()[0].latest, std::nullopt);
        }
        // The next successful check clears the note.
        fake.remove("update.exit");
        if (withBrew) {
            QCoro::waitFor(st->check());
            QCOMPARE(st->note(), std::nullopt);
        }
    }

    void toolsReport_data()
    {
        QTest::addColumn<bool>("withBrew");
        QTest::addColumn<QString>("expected");
        QTest::newRow("with Homebrew")
            << true
            << "brew: @DIR/brew\n"
               "  container  installed 1.4.1  latest 1.5.0  brew-owned true  [update available]  -> can update\n"
               "  socktainer  installed 1.2.1  latest 1.3.0  brew-owned false  [update available]\n"
               "  docker  installed 29.0.0  latest 29.0.0  brew-owned false  [up to date]\n"
               "  docker-compose  installed -  latest -  brew-owned false  [not installed]\n"
               "services: running  client 1.5.0  server 1.4.1  [restart needed]\n";
        QTest::newRow("without Homebrew")
            << false
            << "brew: not found\n"
               "  container  installed 1.4.1  latest -  brew-owned false  [latest unknown]\n"
               "  socktainer  installed 1.2.1  latest -  brew-owned false  [latest unknown]\n"
               "  docker  installed 29.0.0  latest -  brew-owned false  [latest unknown]\n"
               "  docker-compose  installed -  latest -  brew-owned false  [not installed]\n"
               "services: running  client 1.5.0  server 1.4.1  [restart needed]\n";
    }
    void toolsReport()
    {
        QFETCH(bool, withBrew);
        QFETCH(QString, expected);
        FakeTools fake(withBrew);
        twoBehind(fake);
        fake.set("list.txt", "container 1.4.1\n");
        fake.set("status.txt", "FIELD               VALUE\nstatus              running\nclient.version      1.5.0\nserver.version      1.4.1\n");
        qputenv("XDG_CONFIG_HOME", m_tmp.filePath("config").toUtf8());
        QString text;
        QTextStream out(&text);
        runToolsDump(false, out);
        out.flush();
        expected.replace("@DIR/brew", fake.path("brew"));
        QCOMPARE(text, expected + "login item: off  bundle " + QCoreApplication::applicationFilePath() + "\n");

        fake.set("status.txt", "status  stopped\nclient.version 1.5.0\nserver.version 1.4.1\n");
        text.clear();
        runToolsDump(true, out);
        out.flush();
        QVERIFY(text.contains("\nservices: stopped  client 1.5.0  server 1.4.1\nlogin item: off"));
        QVERIFY(text.endsWith("--- restart ---\n" + ToolJob::restart().script() + "\n"));
        QVERIFY(text.contains("--- install ---\n" + Toolchain::installScript({"container", "socktainer"}) + "\n--- start ---\n"
                              + ToolJob::start().script() + "\n--- restart ---\n"));
    }
};

QTEST_GUILESS_MAIN(ToolchainStoreTest)
#include "tst_toolchainstore.moc"
