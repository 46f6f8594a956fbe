#include "childprocess.h"
#include "enginestartup.h"
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
    Q_PROPERTY(QString UnitFileState MEMBER fileState)

public:
    using QObject::QObject;
    QString loadState = QStringLiteral("not-found"), activeState = QStringLiteral("inactive"), subState = QStringLiteral("dead"), fileState;
};

// What polkit answers a change it was not allowed to ask about.
template<typename Context>
bool refused(Context &context, bool refuse)
{
    if (refuse)
        context.sendErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"),
                               QStringLiteral("Interactive authentication required."));
    return refuse;
}

// systemd's manager, as far as Korvat asks it: units load on request, and the changes are
// recorded, and answered with polkit's refusal when told to.
class FakeSystemd : public QObject, public QDBusContext {
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
    // Loaded, its file in that state; every other unit is not found.
    void set(const QStringList &fileStates)
    {
        onDisk.clear();
        for (auto *u : std::as_const(m_units)) {
            u->loadState = QStringLiteral("not-found");
            u->fileState.clear();
        }
        for (const auto &entry : fileStates) {
            const QString state = entry.section(u'=', 1);
            unit(entry.section(u'=', 0, 0))->loadState = state == QLatin1String("masked") ? state : QStringLiteral("loaded");
            unit(entry.section(u'=', 0, 0))->fileState = state;
        }
        calls.clear();
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
    bool EnableUnitFiles(const QStringList &files, bool runtime, bool force)
    {
        calls << QStringList{QStringLiteral("EnableUnitFiles"), files.join(u','), QVariant(runtime).toString(), QVariant(force).toString()}.join(u' ');
        // On the disk only: the unit's property keeps its old state until a reload.
        for (const auto &name : files)
            if (!refused(*this, refuse))
                onDisk.insert(name, QStringLiteral("enabled"));
        return false;
    }
    QString GetUnitFileState(const QString &name) { return onDisk.value(name, unit(name)->fileState); }

public:
    // Enabled since systemd last loaded the units: its properties do not show it yet.
    QMap<QString, QString> onDisk;

private:
    static QString path(QString name) { return QStringLiteral("/org/freedesktop/systemd1/unit/") + name.replace(u'.', u'_'); }
    QDBusObjectPath job(const QString &method, const QString &name, const QString &mode)
    {
        calls << method + u' ' + name + u' ' + mode;
        if (refused(*this, refuse))
            return {};
        unit(name)->activeState = QStringLiteral("active");
        unit(name)->subState = QStringLiteral("running");
        return QDBusObjectPath(QStringLiteral("/org/freedesktop/systemd1/job/1"));
    }

    QDBusConnection m_bus;
    QMap<QString, FakeUnit *> m_units;
};

class FakeUser : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.User")
    Q_PROPERTY(bool Linger MEMBER linger)

public:
    bool linger = false;
};

// logind's manager: the one user it knows, or none, lingering as told.
class FakeLogind : public QObject, public QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    FakeUser user;
    bool knowsUser = true;
    bool refuse = false;
    QStringList calls;

public slots:
    QDBusObjectPath GetUser(uint)
    {
        if (!knowsUser)
            sendErrorReply(QStringLiteral("org.freedesktop.login1.NoSuchUser"), QStringLiteral("User is not logged in or lingering."));
        return QDBusObjectPath(QStringLiteral("/org/freedesktop/login1/user/self"));
    }
    void SetUserLinger(uint, bool enable, bool interactive)
    {
        calls << QStringLiteral("SetUserLinger %1 %2").arg(QVariant(enable).toString(), QVariant(interactive).toString());
        if (!refused(*this, refuse))
            user.linger = enable;
    }
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
    FakeLogind m_logind;

    // System units and logind on the stand-ins; without user, the user's manager does not answer.
    static std::shared_ptr<SystemdManager> manager(bool user = false)
    {
        return std::make_shared<SystemdManager>(QDBusConnection::sessionBus(),
                                                user ? QDBusConnection::sessionBus() : QDBusConnection(QStringLiteral("no user bus")));
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
        QVERIFY(m_standIn.registerObject(QStringLiteral("/org/freedesktop/login1"), &m_logind, QDBusConnection::ExportAllSlots));
        QVERIFY(m_standIn.registerObject(QStringLiteral("/org/freedesktop/login1/user/self"), &m_logind.user,
                                         QDBusConnection::ExportAllProperties));
        QVERIFY(m_standIn.registerService(QStringLiteral("org.freedesktop.login1")));
        qputenv("XDG_RUNTIME_DIR", "/run/user/1000");
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

    // An engine's endpoint, what systemd says of its units' files and whether the user
    // lingers (-1: logind does not know them): the engine's answer.
    void startsAtBoot_data()
    {
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<int>("linger");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("reason");
        const int yes = int(EngineStartup::Answer::Yes), no = int(EngineStartup::Answer::No), unknown = int(EngineStartup::Answer::Unknown);
        const QString docker = "unix:///var/run/docker.sock", rootless = "unix:///run/user/1000/docker.sock";
        QTest::newRow("service") << docker << QStringList{"docker.service=enabled", "docker.socket=disabled"} << 0 << yes << "docker.service is enabled.";
        QTest::newRow("socket") << "unix:///run/docker.sock" << QStringList{"docker.service=disabled", "docker.socket=enabled"} << 0 << yes
                                << "docker.socket is enabled: the engine starts when first asked.";
        QTest::newRow("neither") << docker << QStringList{"docker.service=disabled", "docker.socket=disabled"} << 0 << no
                                 << "docker.service and docker.socket are disabled.";
        QTest::newRow("enabled until reboot") << docker << QStringList{"docker.service=disabled", "docker.socket=enabled-runtime"} << 0 << no
                                              << "docker.service is disabled and docker.socket is enabled-runtime, which lasts only until the next reboot.";
        QTest::newRow("masked under an enabled socket") << docker << QStringList{"docker.service=masked", "docker.socket=enabled"} << 0 << no
                                                        << "docker.service is masked: nothing can start it until it is unmasked.";
        QTest::newRow("asked for by others") << docker << QStringList{"docker.service=static", "docker.socket=disabled"} << 0 << unknown
                                             << "docker.service is static: it starts when another unit asks for it, and Korvat cannot tell whether one does at boot.";
        QTest::newRow("no unit") << docker << QStringList{} << 0 << unknown << "systemd has no docker.service or docker.socket.";
        QTest::newRow("rootless, lingering") << rootless << QStringList{"docker.service=enabled"} << 1 << yes
                                             << "docker.service (yours) is enabled and lingering is on.";
        QTest::newRow("rootless, not lingering") << rootless << QStringList{"docker.service=enabled"} << 0 << no
                                                 << "docker.service (yours) is enabled, but starts only when you log in: lingering is off.";
        QTest::newRow("lingering unknown") << "unix:///run/user/1000/podman/podman.sock" << QStringList{"podman.socket=enabled"} << -1 << unknown
                                           << "User is not logged in or lingering.";
        QTest::newRow("the system's podman") << "unix:///run/podman/podman.sock" << QStringList{"podman.socket=disabled", "podman.service=disabled"} << 0
                                             << no << "podman.socket and podman.service are disabled.";
        QTest::newRow("another socket") << "unix:///home/me/.colima/docker.sock" << QStringList{"docker.service=enabled"} << 0 << unknown
                                        << "No systemd unit Korvat knows serves /home/me/.colima/docker.sock: it was started some other way.";
        QTest::newRow("another machine") << "ssh://me@build" << QStringList{} << 0 << unknown
                                         << "The engine runs on another machine: its start-up is that machine's.";
    }
    void startsAtBoot()
    {
        QFETCH(QString, endpoint);
        QFETCH(QStringList, files);
        QFETCH(int, linger);
        m_systemd.set(files);
        m_logind.user.linger = linger == 1;
        m_logind.knowsUser = linger >= 0;
        const EngineStartup startup = QCoro::waitFor(readStartup(*manager(true), endpoint));
        QTEST(int(startup.answer), "answer");
        QTEST(startup.reason, "reason");
        m_logind.knowsUser = true;
    }

    // Each fix asks polkit; refused, nothing changes and the refusal shows where it was asked.
    void startAtBootAndLingering()
    {
        m_systemd.set({"docker.service=disabled", "docker.socket=disabled"});
        m_logind.user.linger = false;
        HostEngineStore store([] { return QList<HostEngine>{docker()}; }, manager(true));
        QCoro::waitFor(store.survey());
        const auto units = [&] { return store.engines().first().units.mid(0, 2); };   // the system's
        m_systemd.refuse = true;
        QCoro::waitFor(store.startAtBoot("Docker", ServiceUnit::Scope::System));
        QCOMPARE(unitOf(store, "docker.service").error, "Interactive authentication required.");
        QCOMPARE(HostEngines::startup(units(), {}).reason, "docker.service and docker.socket are disabled.");
        m_systemd.refuse = false;
        QCoro::waitFor(store.startAtBoot("Docker", ServiceUnit::Scope::System));
        QCOMPARE(m_systemd.calls, (QStringList{"EnableUnitFiles docker.service false false", "EnableUnitFiles docker.service false false"}));
        QCOMPARE(HostEngines::startup(units(), {}), (EngineStartup{EngineStartup::Answer::Yes, "docker.service is enabled."}));
        QCOMPARE(unitOf(store, "docker.service").error, QString());

        m_logind.refuse = true;
        QCoro::waitFor(store.keepRunningAfterLogout());
        QCOMPARE(store.engines().first().linger, (Linger{false, "Interactive authentication required."}));
        m_logind.refuse = false;
        QCoro::waitFor(store.keepRunningAfterLogout());
        QCOMPARE(m_logind.calls, (QStringList{"SetUserLinger true true", "SetUserLinger true true"}));
        QCOMPARE(store.engines().first().linger, (Linger{true, {}}));
    }

    void withoutSystemdTheEngineSaysSo()
    {
        HostEngineStore store([] { return QList<HostEngine>{docker()}; },
                              std::make_shared<SystemdManager>(QDBusConnection(QStringLiteral("none")), QDBusConnection(QStringLiteral("none"))));
        QCoro::waitFor(store.survey());
        QVERIFY(store.engines().first().units.isEmpty());
        QCOMPARE(store.engines().first().servicesNote, "systemd does not answer on this machine.");
        const SystemdManager none(QDBusConnection(QStringLiteral("none")), QDBusConnection(QStringLiteral("none")));
        QCOMPARE(QCoro::waitFor(readStartup(none, "unix:///run/docker.sock")),
                 (EngineStartup{EngineStartup::Answer::Unknown, "systemd does not answer on this machine."}));
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
