#include "childprocess.h"
#include "hostenginestore.h"

#include <QCoroTask>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusObjectPath>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtConcurrent>

#include <csignal>

namespace {
const QString systemd = QStringLiteral("org.freedesktop.systemd1");

// One unit as systemd exports it: its states as properties of org.freedesktop.systemd1.Unit.
class FakeUnit : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.systemd1.Unit")
    Q_PROPERTY(QString LoadState MEMBER loadState)
    Q_PROPERTY(QString ActiveState MEMBER activeState)
    Q_PROPERTY(QString SubState MEMBER subState)

public:
    using QObject::QObject;
    QString loadState = QStringLiteral("not-found"), activeState = QStringLiteral("inactive"), subState = QStringLiteral("dead");
};

// systemd's manager, as far as Korvat asks it: units load on request, and Start and Restart
// are recorded, and answered with polkit's refusal when told to.
class FakeSystemd : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.systemd1.Manager")

public:
    explicit FakeSystemd(QDBusConnection bus) : m_bus(std::move(bus)) {}

    FakeUnit *unit(const QString &name)
    {
        if (!m_units.contains(name)) {
            auto *u = new FakeUnit(this);
            m_bus.registerObject(path(name), u, QDBusConnection::ExportAllProperties);
            m_units.insert(name, u);
        }
        return m_units.value(name);
    }
    QStringList calls;
    bool refuse = false;

public slots:
    QDBusObjectPath LoadUnit(const QString &name)
    {
        unit(name);
        return QDBusObjectPath(path(name));
    }
    QDBusObjectPath StartUnit(const QString &name, const QString &mode) { return job(QStringLiteral("StartUnit"), name, mode); }
    QDBusObjectPath RestartUnit(const QString &name, const QString &mode) { return job(QStringLiteral("RestartUnit"), name, mode); }

private:
    static QString path(QString name) { return QStringLiteral("/org/freedesktop/systemd1/unit/") + name.replace(u'.', u'_'); }
    QDBusObjectPath job(const QString &method, const QString &name, const QString &mode)
    {
        calls << method + u' ' + name + u' ' + mode;
        if (refuse) {
            sendErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"),
                           QStringLiteral("Interactive authentication required."));
            return {};
        }
        unit(name)->activeState = QStringLiteral("active");
        unit(name)->subState = QStringLiteral("running");
        return QDBusObjectPath(QStringLiteral("/org/freedesktop/systemd1/job/1"));
    }

    QDBusConnection m_bus;
    QMap<QString, FakeUnit *> m_units;
};

HostEngine docker()
{
    return HostEngines::assemble({{QStringLiteral("docker.io"), QStringLiteral("20.10.24")}}, {}, {}).first();
}
}

// The engines' services through SystemdManager, against a stand-in manager on the test's
// own session bus: the one systemd cannot run here.
class HostEnginesTest : public QObject {
    Q_OBJECT
    QDBusConnection m_standIn = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("systemd stand-in"));
    FakeSystemd m_systemd{m_standIn};

    // System units on the stand-in; the user's manager does not answer.
    static std::shared_ptr<SystemdManager> manager()
    {
        return std::make_shared<SystemdManager>(QDBusConnection::sessionBus(), QDBusConnection(QStringLiteral("no user bus")));
    }
    static ServiceUnit unitOf(const HostEngineStore &store, const QString &name)
    {
        const auto &units = store.engines().first().units;
        return *std::find_if(units.cbegin(), units.cend(), [&](const ServiceUnit &u) { return u.name == name; });
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_standIn.registerObject(QStringLiteral("/org/freedesktop/systemd1"), &m_systemd, QDBusConnection::ExportAllSlots));
        QVERIFY(m_standIn.registerService(systemd));
        m_systemd.unit("docker.service")->loadState = "loaded";
        m_systemd.unit("docker.service")->activeState = "failed";
        m_systemd.unit("docker.service")->subState = "failed";
        m_systemd.unit("docker.socket")->loadState = "loaded";
        m_systemd.unit("docker.socket")->activeState = "active";
        m_systemd.unit("docker.socket")->subState = "listening";
    }

    void readsStartsAndShowsARefusal()
    {
        HostEngineStore store([] { return QList<HostEngine>{docker()}; }, manager());
        QCoro::waitFor(store.survey());
        QVERIFY(store.surveyed());
        // The user's docker.service is not read (no bus), so only the system's two show.
        const auto &units = store.engines().first().units;
        QCOMPARE(units.size(), 2);
        QCOMPARE(HostEngines::unitLine(unitOf(store, "docker.service")), "docker.service · failed (failed)");
        QCOMPARE(HostEngines::unitLine(unitOf(store, "docker.socket")), "docker.socket · active (listening)");

        QCoro::waitFor(store.act("Docker", ServiceUnit::Scope::System, "docker.service"));
        QCOMPARE(m_systemd.calls, QStringList{"StartUnit docker.service replace"});
        QCOMPARE(HostEngines::unitLine(unitOf(store, "docker.service")), "docker.service · active (running)");
        QCOMPARE(unitOf(store, "docker.service").error, QString());

        m_systemd.refuse = true;
        QCoro::waitFor(store.act("Docker", ServiceUnit::Scope::System, "docker.service"));
        QCOMPARE(m_systemd.calls.last(), "RestartUnit docker.service replace");
        QCOMPARE(unitOf(store, "docker.service").error, "Interactive authentication required.");
        m_systemd.refuse = false;
    }

    void withoutSystemdTheEngineSaysSo()
    {
        HostEngineStore store([] { return QList<HostEngine>{docker()}; },
                              std::make_shared<SystemdManager>(QDBusConnection(QStringLiteral("none")), QDBusConnection(QStringLiteral("none"))));
        QCoro::waitFor(store.survey());
        QVERIFY(store.engines().first().units.isEmpty());
        QCOMPARE(store.engines().first().servicesNote, "systemd does not answer on this machine.");
    }

    // Last: a quit cannot be taken back in this process. A package probe that never answers
    // is ended with its group as Korvat quits, and the probe returns at once.
    void aHungProbeNeverHoldsTheQuit()
    {
        QTemporaryDir bin;
        const QString started = bin.filePath("started");
        for (const char *tool : {"dpkg-query", "apt-cache", "dockerd", "podman"}) {
            QFile f(bin.filePath(tool));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(QStringLiteral("#!/bin/sh\necho $$ > %1\nexec sleep 300\n").arg(started).toUtf8());
            f.setPermissions(f.permissions() | QFileDevice::ExeOwner);
        }
        qputenv("PATH", bin.path().toUtf8() + ":" + qgetenv("PATH"));
        QFuture<QList<HostEngine>> probe = QtConcurrent::run(&HostEngines::probe);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(started) && QFile(started).size() > 0, 20000);
        QFile pidFile(started);
        QVERIFY(pidFile.open(QIODevice::ReadOnly));
        const qint64 pid = pidFile.readAll().trimmed().toLongLong();
        ChildProcess::quitting();
        // Seconds on a loaded machine, against the five minutes the stand-ins would hold it.
        QVERIFY(QTest::qWaitFor([&] { return probe.isFinished(); }, 10000));
        QTRY_VERIFY_WITH_TIMEOUT(::kill(pid_t(pid), 0) != 0, 10000);   // the stand-in went with it
    }
};

QTEST_GUILESS_MAIN(HostEnginesTest)
#include "tst_hostengines.moc"
