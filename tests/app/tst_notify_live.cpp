#include "actions.h"
#include "appstore.h"
#include "cliengine.h"
#include "desktop.h"
#include "logfollower.h"
#include "storesupport.h"
#include "testsupport.h"

#include <QDBusConnection>
#include <QMutex>
#include <QQuickWindow>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace TestSupport;

// A stand-in for the desktop's notification server on the private session bus, on its own
// thread and connection as a real one runs in its own process.
class FakeNotifications : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    void publish()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-notifications"));
        bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
        bus.registerService(QStringLiteral("org.freedesktop.Notifications"));
    }
    void withdraw() { QDBusConnection::disconnectFromBus(QStringLiteral("fake-notifications")); }
    QStringList told() const
    {
        QMutexLocker lock(&m_mutex);
        return m_told;
    }

public slots:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &body, const QStringList &actions,
                const QVariantMap &, int)
    {
        QMutexLocker lock(&m_mutex);
        m_told << summary + " | " + body + (actions.contains("show-logs") ? " [Show logs]" : "");
        return uint(m_told.size());
    }
    void click(uint id) { emit ActionInvoked(id, QStringLiteral("show-logs")); }

signals:
    void ActionInvoked(uint id, const QString &action);

private:
    mutable QMutex m_mutex;
    QStringList m_told;
};

// Failures on the private engine reach the desktop as notifications, and only failures.
class NotifyLive : public QObject {
    Q_OBJECT
    QThread m_thread;
    FakeNotifications *m_server = nullptr;
    Leftovers m_made;

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
        m_server = new FakeNotifications;
        m_server->moveToThread(&m_thread);
        m_thread.start();
        QMetaObject::invokeMethod(m_server, &FakeNotifications::publish, Qt::BlockingQueuedConnection);
        Desktop::prepareApplication();
    }
    void cleanupTestCase()
    {
        AppStore::workers()->waitForDone(60000);
        m_made.clear();
        QMetaObject::invokeMethod(m_server, &FakeNotifications::withdraw, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
        delete m_server;
    }

    void failuresAreToldOnce()
    {
        QTemporaryDir dir;
        QSettings settings(dir.filePath("s.conf"), QSettings::IniFormat);
        settings.setValue("checkUpdatesAtLaunch", false);
        PollTiming timing = quietTiming();
        timing.followEvents = true;
        Desktop::Session session(&settings, false, {std::make_shared<CliEngine>(), timing});
        AppStore &store = session.store();
        store.start();
        QTRY_VERIFY_WITH_TIMEOUT(store.events().healthy(), 20000);
        const auto told = [this] { return m_server->told(); };

        // Stopped through Korvat and with docker stop, exiting 143 as many programs do on
        // SIGTERM: not failures, for both sent a kill first.
        const QStringList exits143 = {"sh", "-c", "trap 'exit 143' TERM; sleep 3600 & wait"};
        const QString byKorvat = m_made.run("kt-nf-stop-", {}, exits143), byHand = m_made.run("kt-nf-hand-", {}, exits143);
        QTRY_VERIFY_WITH_TIMEOUT(containerNamed(store, byKorvat) && containerNamed(store, byHand), 10000);
        session.actions().perform(Verb::Primary, containerNamed(store, byKorvat)->id);
        QCOMPARE(docker({"stop", byHand}).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!containerNamed(store, byKorvat)->isRunning() && !containerNamed(store, byHand)->isRunning(), 15000);

        // One that exits 3 on its own.
        const QString failing = m_made.run("kt-nf-exit-", {}, {"sh", "-c", "sleep 1; exit 3"});
        QTRY_COMPARE_WITH_TIMEOUT(told().size(), 1, 15000);
        QCOMPARE(told().first(), failing + " stopped unexpectedly | Exited with code 3 [Show logs]");

        // Three of a project together, folded; a muted project's, not at all.
        const QString shop = uniqueName("ktnfshop"), quiet = uniqueName("ktnfquiet");
        store.failures().setMuted(quiet, true);
        const QByteArray failingService = "    image: " + engineImage().toUtf8() + "\n    command: [sh, -c, 'sleep 2; exit 1']\n";
        const ComposeDir shopDir("name: " + shop.toUtf8() + "\nservices:\n  a:\n" + failingService + "  b:\n" + failingService + "  c:\n" + failingService);
        const ComposeDir quietDir("name: " + quiet.toUtf8() + "\nservices:\n  a:\n" + failingService);
        m_made.containers << shop + "-a-1" << shop + "-b-1" << shop + "-c-1" << quiet + "-a-1";
        m_made.networks << shop + "_default" << quiet + "_default";
        QCOMPARE(docker({"compose", "up", "-d"}, quietDir.path()).status, 0);
        QCOMPARE(docker({"compose", "up", "-d"}, shopDir.path()).status, 0);
        QTRY_COMPARE_WITH_TIMEOUT(told().size(), 2, 15000);
        QVERIFY2(told().last().startsWith("3 containers of " + shop + " stopped unexpectedly | "), qPrintable(told().last()));
        // The muted project's death has been read, and no burst is left to tell it.
        QTRY_VERIFY_WITH_TIMEOUT(containerNamed(store, quiet + "-a-1") && !containerNamed(store, quiet + "-a-1")->isRunning(), 15000);
        QTRY_VERIFY(!store.failures().gathering());
        QVERIFY(!QTest::qWaitFor([&] { return told().size() > 2; }, 300));

        // "Show logs" on the first opens the main window on that container's logs.
        QSignalSpy logs(&session.actions(), &Actions::logsRequested);
        QMetaObject::invokeMethod(m_server, [this] { m_server->click(1); });
        QTRY_COMPARE_WITH_TIMEOUT(logs.size(), 1, 5000);
        QCOMPARE(logs.first().at(1).toString(), failing);
        QVERIFY(session.window()->isVisible());
    }
};

QTEST_MAIN(NotifyLive)
#include "tst_notify_live.moc"
