#include "colorscheme.h"
#include "kor.h"
#include "theme.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

// A stand-in for xdg-desktop-portal's Settings interface on the private session bus. It
// runs on its own thread and connection, as a real portal runs in its own process, so the
// theme's blocking first read gets an answer.
class FakePortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    FakePortal(uint scheme, bool readOne) : m_scheme(scheme), m_readOne(readOne) {}

    void publish()
    {
        m_bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-portal")));
        m_bus->registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), this, QDBusConnection::ExportAllSlots);
        m_bus->registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }
    void withdraw()
    {
        m_bus->unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
        m_bus->unregisterObject(QStringLiteral("/org/freedesktop/portal/desktop"));
        QDBusConnection::disconnectFromBus(QStringLiteral("fake-portal"));
        m_bus.reset();
    }

public slots:
    // Older portals only have Read, which wraps the value in one more variant.
    QDBusVariant Read(const QString &ns, const QString &key) { return QDBusVariant(QVariant::fromValue(value(ns, key, true))); }
    QDBusVariant ReadOne(const QString &ns, const QString &key) { return value(ns, key, m_readOne); }
    void change(const QString &ns, uint scheme)
    {
        m_scheme = scheme;
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                         QStringLiteral("org.freedesktop.portal.Settings"),
                                                         QStringLiteral("SettingChanged"));
        signal << ns << QStringLiteral("color-scheme") << QVariant::fromValue(QDBusVariant(scheme));
        m_bus->send(signal);
    }

private:
    QDBusVariant value(const QString &ns, const QString &key, bool known)
    {
        if (!known)
            sendErrorReply(QDBusError::UnknownMethod, QStringLiteral("no ReadOne"));
        else if (ns != QLatin1String("org.freedesktop.appearance") || key != QLatin1String("color-scheme"))
            sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"), QStringLiteral("no such key"));
        return QDBusVariant(m_scheme);
    }

    uint m_scheme;
    bool m_readOne;
    std::unique_ptr<QDBusConnection> m_bus;
};

class TestTheme : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void forcedReadingIgnoresTheDesktop_data();
    void forcedReadingIgnoresTheDesktop();
    void autoFollowsThePortal_data();
    void autoFollowsThePortal();
    void autoWithoutPortalReadsThePalette();

private:
    QSettings *settings(const QString &appearance);
    // QtDBus adds a new signal match asynchronously, so a change sent the moment a watcher
    // starts may be missed; the portal repeats it until the watcher has seen it.
    static bool changeUntilSeen(const std::shared_ptr<FakePortal> &fake, ColorScheme &scheme, uint value);
    // Runs a portal answering scheme until the returned guard goes.
    std::shared_ptr<FakePortal> portal(uint scheme, bool readOne = true);

    QTemporaryDir m_dir;
    std::vector<std::unique_ptr<QSettings>> m_settings;
};

void TestTheme::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
}

QSettings *TestTheme::settings(const QString &appearance)
{
    auto s = std::make_unique<QSettings>(m_dir.filePath(QString::number(m_settings.size())), QSettings::IniFormat);
    if (!appearance.isEmpty())
        s->setValue(QStringLiteral("appearance"), appearance);
    m_settings.push_back(std::move(s));
    return m_settings.back().get();
}

std::shared_ptr<FakePortal> TestTheme::portal(uint scheme, bool readOne)
{
    auto *thread = new QThread;
    auto *fake = new FakePortal(scheme, readOne);
    fake->moveToThread(thread);
    thread->start();
    QMetaObject::invokeMethod(fake, &FakePortal::publish, Qt::BlockingQueuedConnection);
    return std::shared_ptr<FakePortal>(fake, [thread](FakePortal *p) {
        QMetaObject::invokeMethod(p, &FakePortal::withdraw, Qt::BlockingQueuedConnection);
        thread->quit();
        thread->wait();
        delete p;
        delete thread;
    });
}

bool TestTheme::changeUntilSeen(const std::shared_ptr<FakePortal> &fake, ColorScheme &scheme, uint value)
{
    return QTest::qWaitFor([&] {
        QMetaObject::invokeMethod(fake.get(), [&] { fake->change(QStringLiteral("org.freedesktop.appearance"), value); });
        QTest::qWait(20);
        return int(scheme.preference()) == int(value);
    }, 5000);
}

void TestTheme::forcedReadingIgnoresTheDesktop_data()
{
    QTest::addColumn<QString>("appearance");
    QTest::addColumn<uint>("desktop");
    QTest::addColumn<bool>("dark");
    QTest::newRow("light on a dark desktop") << "light" << 1u << false;
    QTest::newRow("dark on a light desktop") << "dark" << 2u << true;
    QTest::newRow("unknown value reads as auto") << "sepia" << 1u << true;
}

void TestTheme::forcedReadingIgnoresTheDesktop()
{
    QFETCH(QString, appearance);
    QFETCH(uint, desktop);
    QFETCH(bool, dark);
    const auto fake = portal(desktop);
    ColorScheme scheme;
    Theme theme(settings(appearance), &scheme);
    QTRY_VERIFY(scheme.settled());
    QCOMPARE(theme.dark(), dark);

    // The desktop flips; a forced reading stays where it is.
    QSignalSpy reading(&theme, &Theme::readingChanged);
    QVERIFY(changeUntilSeen(fake, scheme, desktop == 1 ? 2 : 1));
    if (appearance == QLatin1String("sepia")) {
        QCOMPARE(theme.dark(), !dark);
    } else {
        QCOMPARE(theme.dark(), dark);
        QCOMPARE(reading.size(), 0);
    }
}

void TestTheme::autoFollowsThePortal_data()
{
    QTest::addColumn<bool>("readOne");
    QTest::newRow("ReadOne") << true;
    QTest::newRow("Read only, an older portal") << false;
}

void TestTheme::autoFollowsThePortal()
{
    QFETCH(bool, readOne);
    const auto fake = portal(1, readOne);
    ColorScheme scheme;
    QSettings *s = settings(QString());
    Theme theme(s, &scheme);
    QCOMPARE(theme.appearance(), QStringLiteral("auto"));
    QVERIFY(!scheme.settled());   // asked, not waited for
    QTRY_VERIFY(scheme.settled());
    QVERIFY(theme.dark());
    QCOMPARE(theme.page().name(), QStringLiteral("#0a1b3d"));

    QSignalSpy reading(&theme, &Theme::readingChanged);
    // Another namespace's change is not ours.
    QMetaObject::invokeMethod(fake.get(), [&] { fake->change(QStringLiteral("org.gnome.desktop.interface"), 2); });
    QVERIFY(changeUntilSeen(fake, scheme, 2));
    QVERIFY(!theme.dark());
    QCOMPARE(reading.size(), 1);
    QCOMPARE(theme.page().name(), QStringLiteral("#f5f1e9"));

    // Forcing and releasing the reading goes through the stored setting.
    theme.setAppearance(QStringLiteral("dark"));
    QVERIFY(theme.dark());
    QCOMPARE(s->value(QStringLiteral("appearance")).toString(), QStringLiteral("dark"));
    theme.setAppearance(QStringLiteral("auto"));
    QVERIFY(!theme.dark());
}

void TestTheme::autoWithoutPortalReadsThePalette()
{
    ColorScheme scheme(100);
    QTRY_VERIFY(scheme.settled());
    QCOMPARE(int(scheme.preference()), int(ColorScheme::Preference::Unknown));
    Theme theme(settings(QString()), &scheme);
    QCOMPARE(theme.dark(), QGuiApplication::palette().color(QPalette::Window).lightness() < 128);

    QPalette dark = QGuiApplication::palette();
    dark.setColor(QPalette::Window, QColor(0x202020));
    QGuiApplication::setPalette(dark);
    QTRY_VERIFY(theme.dark());
    QGuiApplication::setPalette(QPalette());
}

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
