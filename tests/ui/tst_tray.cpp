#include "storesupport.h"
#include "appstore.h"
#include "desktop.h"
#include "settingscontroller.h"
#include "tray.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QMutex>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

// A stand-in for the desktop's StatusNotifierWatcher on the private session bus: it takes
// the items that register, as a panel's tray host would. Its own thread and connection play
// the part of another process.
class FakeWatcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const
    {
        QMutexLocker lock(&m_mutex);
        return m_items;
    }
    void publish()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-watcher"));
        bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), this,
                           QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals | QDBusConnection::ExportAllProperties);
        bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    }
    void withdraw() { QDBusConnection::disconnectFromBus(QStringLiteral("fake-watcher")); }

public slots:
    void RegisterStatusNotifierItem(const QString &service)
    {
        QMutexLocker lock(&m_mutex);
        m_items << service;
    }
    void RegisterStatusNotifierHost(const QString &) {}

signals:
    void StatusNotifierItemRegistered(const QString &service);
    void StatusNotifierHostRegistered();

private:
    mutable QMutex m_mutex;
    QStringList m_items;
};

// Korvat's tray item on a desktop that has a tray: it comes and goes with "showMenuBar",
// and activating it opens the panel.
class TestTray : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void itemFollowsTheSettingAndOpensThePanel();

private:
    QThread m_thread;
    FakeWatcher *m_watcher = nullptr;
};

void TestTray::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
    m_watcher = new FakeWatcher;
    m_watcher->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(m_watcher, &FakeWatcher::publish, Qt::BlockingQueuedConnection);
    Desktop::prepareApplication();
}

void TestTray::cleanupTestCase()
{
    QMetaObject::invokeMethod(m_watcher, &FakeWatcher::withdraw, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
    delete m_watcher;
}

void TestTray::itemFollowsTheSettingAndOpensThePanel()
{
    QVERIFY2(Tray::available(), "the fake watcher should make a tray available");
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    Desktop::Session session(&settings, false, {std::make_shared<FakeEngine>(), TestSupport::quietTiming()});
    Tray tray(session);
    QVERIFY(tray.shown());
    QTRY_COMPARE(m_watcher->items().size(), 1);
    const QString item = m_watcher->items().first();
    QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
    QVERIFY(bus->isServiceRegistered(item));
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());

    // Activation, as the panel host sends it on a click, opens the panel.
    QDBusMessage activate = QDBusMessage::createMethodCall(item, QStringLiteral("/StatusNotifierItem"),
                                                           QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("Activate"));
    activate << 20 << 20;
    QDBusConnection::sessionBus().call(activate, QDBus::NoBlock);
    QTRY_VERIFY(tray.panel() && tray.panel()->isVisible());
    // A fixed size, which tiling compositors float; the panel's own id only while it maps.
    QCOMPARE(tray.panel()->minimumSize(), tray.panel()->maximumSize());
    QCOMPARE(tray.panel()->size(), tray.panel()->maximumSize());
    QCOMPARE(QGuiApplication::desktopFileName(), QStringLiteral("korvat"));

    session.settings().setShowMenuBar(false);
    QVERIFY(!tray.shown());
    QTRY_VERIFY(!bus->isServiceRegistered(item));
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());

    session.settings().setShowMenuBar(true);
    QVERIFY(tray.shown());
    QTRY_COMPARE(m_watcher->items().size(), 2);
}

QTEST_MAIN(TestTray)
#include "tst_tray.moc"
