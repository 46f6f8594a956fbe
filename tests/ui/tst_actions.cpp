#include "actions.h"
#include "appstore.h"
#include "composefilestate.h"
#include "detailsstate.h"
#include "detailstext.h"
#include "secrets.h"
#include "projectdeletion.h"
#include "settingscontroller.h"
#include "toolchainstore.h"
#include "cliengine.h"
#include "storesupport.h"
#include "testsupport.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMutex>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

// A file manager on the private session bus that records what it was asked to show. It
// runs on a thread and connection of its own, as a real one runs in its own process.
class FakeFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QStringList shown() const
    {
        QMutexLocker lock(&m_mutex);
        return m_shown;
    }
    void publish()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-fm"));
        bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), this, QDBusConnection::ExportAllSlots);
        bus.registerService(QStringLiteral("org.freedesktop.FileManager1"));
    }
    void withdraw() { QDBusConnection::disconnectFromBus(QStringLiteral("fake-fm")); }

public slots:
    void ShowItems(const QStringList &uris, const QString &)
    {
        QMutexLocker lock(&m_mutex);
        m_shown += uris;
    }

private:
    mutable QMutex m_mutex;
    QStringList m_shown;
};

// The desktop services behind the rows' and cards' menus, with real stand-ins: a terminal
// emulator that records its arguments, a file manager on the bus, the clipboard.
// The sample state in memory, with the real way into a container's shell.
class ShellFake : public FakeEngine {
public:
    ShellCommand shell(const QString &name, const OptRuntime &runtime) const override { return CliEngine().shell(name, runtime); }
};

class TestActions : public QObject {
    Q_OBJECT

private slots:
    void init();
    void terminalGetsAnArgumentVector();
    void noTerminalSaysSo();
    void revealAsksTheFileManager();
    void loginToggleWritesTheAutostartEntry();
    void logsLeaveAsPlainText();
    void volumeDataAsksForItsFileFirst();
    void deletionBacksUpEveryVolumeFirst();
    void detailsAreReadOnlyWhileOpen();
    void composeFileMasksOnlyWhereSubstituted();
    void aNetworkFollowsItsMembersAndIsRemovedOnlyEmpty();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<AppStore> m_store;
    std::unique_ptr<Actions> m_actions;
    QString m_project;
    std::shared_ptr<FakeEngine> m_engine;
};

void TestActions::init()
{
    m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    auto engine = std::make_shared<ShellFake>();
    const Runtime podman = Runtime::socket(QStringLiteral("podman"), QStringLiteral("/run/user/1000/podman/podman.sock"));
    engine->setRuntimes({{{podman, QStringLiteral("unix://") + podman.path, true}}, podman});
    m_store = std::make_unique<AppStore>(m_settings.get(), engine, TestSupport::quietTiming());
    m_actions = std::make_unique<Actions>(m_store.get());
    m_project = m_dir.filePath(QStringLiteral("shop"));
    QDir().mkpath(m_project);
    FakeEngine::Holdings state;
    Container web{QStringLiteral("3f1a9c2e7b11"), QStringLiteral("web-1"), QStringLiteral("nginx"), QStringLiteral("running"),
                  QStringLiteral("Up"), QString(), {}};
    web.labels.insert(QString::fromLatin1(Labels::project), QStringLiteral("shop"));
    web.labels.insert(QString::fromLatin1(Labels::workingDir), m_project);
    state.containers = {web};
    state.volumes = {{QStringLiteral("shop_data"), QStringLiteral("local"), QStringLiteral("/v")}};
    engine->setHoldings(state);
    m_engine = engine;
    QCoro::waitFor(m_store->loadContexts());
}

void TestActions::terminalGetsAnArgumentVector()
{
    const QString bin = m_dir.filePath(QStringLiteral("bin"));
    const QString record = m_dir.filePath(QStringLiteral("record"));
    TestSupport::writeExecutable(bin + QStringLiteral("/xterm"),
                                 "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + record.toUtf8() + ".tmp'\n"
                                 "printf 'DOCKER_HOST=%s\\n' \"$DOCKER_HOST\" >> '" + record.toUtf8() + ".tmp'\n"
                                 "/bin/mv '" + record.toUtf8() + ".tmp' '" + record.toUtf8() + "'\n");
    // Only the stand-in: a terminal installed on this machine would come first in the search.
    qputenv("PATH", bin.toUtf8());
    qunsetenv("TERMINAL");
    m_actions->openTerminal(QStringLiteral("3f1a9c2e7b11"));
    QTRY_VERIFY(QFile::exists(record));
    QFile file(record);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts),
             (QStringList{"-e", "docker", "exec", "-it", "web-1", "sh", "DOCKER_HOST=unix:///run/user/1000/podman/podman.sock"}));
    QVERIFY(!m_store->error());
}

void TestActions::noTerminalSaysSo()
{
    qputenv("PATH", m_dir.filePath(QStringLiteral("empty")).toUtf8());
    qunsetenv("TERMINAL");
    m_actions->openTerminal(QStringLiteral("3f1a9c2e7b11"));
    QVERIFY(m_store->errorText().startsWith(QStringLiteral("No terminal emulator found. Set $TERMINAL, or install one of: x-terminal-emulator")));
    qputenv("PATH", "/usr/bin:/bin");
}

void TestActions::revealAsksTheFileManager()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
    QThread thread;
    auto *fake = new FakeFileManager;
    fake->moveToThread(&thread);
    thread.start();
    QMetaObject::invokeMethod(fake, &FakeFileManager::publish, Qt::BlockingQueuedConnection);

    m_actions->reveal(QStringLiteral("shop"));
    QTRY_COMPARE(fake->shown(), QStringList{QUrl::fromLocalFile(m_project).toString()});
    QVERIFY(!m_store->error());

    QMetaObject::invokeMethod(fake, &FakeFileManager::withdraw, Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
    delete fake;
}

void TestActions::loginToggleWritesTheAutostartEntry()
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
    ToolchainStore toolchain(m_settings.get(), std::make_shared<HomebrewToolchain>());
    // systemd skips an entry whose program does not exist: this test's binary stands in.
    const QString korvat = QCoreApplication::applicationFilePath();
    SettingsController settings(&toolchain, m_settings.get(), korvat);
    const QString entry = config.filePath(QStringLiteral("autostart/korvat.desktop"));
    QVERIFY(!settings.openAtLogin());

    settings.setOpenAtLogin(true);
    QVERIFY(settings.openAtLogin());
    QFile file(entry);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\nExec=\"" + korvat.toUtf8() + "\"\n"));
    QCOMPARE(settings.loginError(), QString());

    // The entry is one the desktop runs at login: valid, and turned by systemd's reading of
    // the autostart directory into a unit that starts Korvat.
    QProcess validate;
    validate.start(QStringLiteral("desktop-file-validate"), {entry});
    QVERIFY2(validate.waitForFinished(10000), "desktop-file-validate is missing: scripts/setup.sh installs it");
    QVERIFY2(validate.exitCode() == 0, validate.readAllStandardOutput().constData());
    QTemporaryDir units;
    QProcess generator;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_DIRS"), units.filePath(QStringLiteral("none")));
    generator.setProcessEnvironment(env);
    generator.start(QStringLiteral("/usr/lib/systemd/user-generators/systemd-xdg-autostart-generator"), {units.path()});
    QVERIFY2(generator.waitForFinished(10000), "systemd's autostart generator is missing: scripts/setup.sh installs it");
    QFile unit(units.filePath(QStringLiteral("app-korvat@autostart.service")));
    QVERIFY(unit.open(QIODevice::ReadOnly));
    QVERIFY(unit.readAll().contains("\nExecStart=:" + korvat.toUtf8() + "\n"));

    settings.setOpenAtLogin(false);
    QVERIFY(!QFile::exists(entry));
    QVERIFY(!settings.openAtLogin());

    // A file where the autostart directory belongs: the toggle stays off and says why.
    QDir(config.filePath(QStringLiteral("autostart"))).removeRecursively();
    TestSupport::writeFile(config.filePath(QStringLiteral("autostart")), "not a directory");
    settings.setOpenAtLogin(true);
    QVERIFY(!settings.openAtLogin());
    QCOMPARE(settings.loginError(), QStringLiteral("Could not enable this: cannot write ") + entry);
    qunsetenv("XDG_CONFIG_HOME");
}

// Copy and Save give the text without its colours; a file that cannot be written says why.
void TestActions::logsLeaveAsPlainText()
{
    Transcript lines;
    QList<LogLine> read;
    for (Ansi::Line &line : Ansi::parse(u"\x1b[32mready\x1b[0m in 412 ms\nnext\n"))
        read.append({std::move(line), {}, {}});
    lines.append(read);
    m_actions->copyText(&lines);
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("ready in 412 ms\nnext\n"));

    const QString file = m_dir.filePath(QStringLiteral("web-1.log"));
    m_actions->saveText(&lines, QUrl::fromLocalFile(file));
    QTRY_VERIFY(QFile::exists(file));
    QFile saved(file);
    QVERIFY(saved.open(QIODevice::ReadOnly));
    QCOMPARE(saved.readAll(), QByteArray("ready in 412 ms\nnext\n"));

    m_actions->saveText(&lines, QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("missing/dir/web-1.log"))));
    QTRY_VERIFY(m_store->error());
    QVERIFY(m_store->errorText().startsWith(QStringLiteral("Could not save the log to ")));
    QVERIFY(Actions::saveLocation(QStringLiteral("shop/web")).fileName().startsWith(QStringLiteral("shop-web ")));
}

// A backup, a restore and a removal's backup first ask where; given the file, the engine is
// asked to move the data. A volume goes only once the user says so, and once backed up first,
// only once its archive is whole.
void TestActions::volumeDataAsksForItsFileFirst()
{
    using Kind = EngineAction::Kind;
    QSignalSpy asked(m_actions.get(), &Actions::volumeFileRequested);
    QSignalSpy confirming(m_actions.get(), &Actions::volumeRemovalRequested);
    m_actions->perform(Verb::BackupVolume, QStringLiteral("shop_data"));
    QVERIFY(asked.takeFirst().at(2).toUrl().toLocalFile().endsWith(QStringLiteral(".tar")));
    const QString file = QUrl::fromLocalFile(QStringLiteral("/tmp/kept.tar")).toString();
    m_actions->perform(Verb::RestoreVolume, QStringLiteral("shop_data"), file);
    QTRY_COMPARE(m_store->noticeText(), QStringLiteral("Restored shop_data from /tmp/kept.tar"));

    m_actions->perform(Verb::RemoveVolume, QStringLiteral("shop_data"));
    QCOMPARE(confirming.size(), 1);
    m_actions->backUpFirst(QStringLiteral("shop_data"));
    QCOMPARE(asked.takeFirst().at(0).toInt(), int(Verb::RemoveVolume));
    m_engine->failWith(FakeEngine::Call::Action, QStringLiteral("Cannot write /tmp/kept.tar: Permission denied"));
    m_actions->perform(Verb::RemoveVolume, QStringLiteral("shop_data"), file);
    QTRY_COMPARE(m_store->errorText(), QStringLiteral("Nothing was removed: the backup of shop_data failed: Cannot write /tmp/kept.tar: Permission denied"));
    m_engine->failWith(FakeEngine::Call::Action, std::nullopt);
    m_actions->perform(Verb::RemoveVolume, QStringLiteral("shop_data"), file);
    QTRY_COMPARE(m_store->noticeText(), QStringLiteral("Backed up shop_data to /tmp/kept.tar and removed it"));
    // The failed backup, then the whole one and the removal.
    const EngineAction backup = EngineAction::volumeData(Kind::BackupVolume, QStringLiteral("shop_data"), QStringLiteral("/tmp/kept.tar"));
    QCOMPARE(m_engine->performed().mid(1), (QList<EngineAction>{backup, backup, EngineAction::on(Kind::RemoveVolume, {QStringLiteral("shop_data")})}));

    // Asked on one runtime, answered after the window moved to another: nothing runs anywhere.
    const qsizetype before = m_engine->performed().size();
    m_actions->perform(Verb::RemoveVolume, QStringLiteral("shop_data"));
    const Runtime other = Runtime::socket(QStringLiteral("other"), QStringLiteral("/run/other.sock"));
    m_engine->setHoldings(m_engine->holdings(), other.name);
    m_store->select(other);
    m_actions->removeVolume(QStringLiteral("shop_data"));
    m_actions->pruneVolumes();
    QVERIFY(m_store->errorText().startsWith(QStringLiteral("Nothing was done: the window moved from")));
    QTest::qWait(50);
    QCOMPARE(m_engine->performed().size(), before);
}

// With a backup folder chosen, each volume the deletion would remove is backed up first; a
// backup that fails stops it before anything is removed, and says why.
void TestActions::deletionBacksUpEveryVolumeFirst()
{
    using Kind = EngineAction::Kind;
    auto h = m_engine->holdings();
    h.mounts = {{QStringLiteral("web-1"), {QStringLiteral("shop_data")}}};
    h.labels = {{QStringLiteral("shop_data"), {{QString::fromLatin1(Labels::project), QStringLiteral("shop")}}}};
    m_engine->setHoldings(h);
    m_engine->setComposeProject(m_project, {QStringLiteral("shop"), {QStringLiteral("web")}, {QStringLiteral("shop_data")}, {}});
    ProjectDeletion deletion(m_store.get(), *TestSupport::projectNamed(*m_store, QStringLiteral("shop")));
    deletion.start();
    QTRY_VERIFY(deletion.planned());
    QTemporaryDir kept;
    deletion.setBackupFolder(kept.path());

    m_engine->failWith(FakeEngine::Call::Action, QStringLiteral("Cannot write it: Permission denied"));
    deletion.confirm();
    QTRY_VERIFY(deletion.backupFailed());
    QCOMPARE(deletion.backupLine(), QStringLiteral("Nothing was removed: the backup of shop_data failed: Cannot write it: Permission denied"));
    QCOMPARE(m_engine->performed().size(), 1);
    QCOMPARE(m_engine->performed().first().kind, Kind::BackupVolume);
    QVERIFY(m_engine->performed().first().argument.startsWith(kept.path() + QStringLiteral("/shop_data ")));

    m_engine->failWith(FakeEngine::Call::Action, std::nullopt);
    QSignalSpy finished(&deletion, &ProjectDeletion::finished);
    deletion.confirm();
    QTRY_COMPARE(finished.size(), 1);
    QList<Kind> kinds;
    for (const EngineAction &a : m_engine->performed())
        kinds << a.kind;
    QCOMPARE(kinds, (QList<Kind>{Kind::BackupVolume, Kind::BackupVolume, Kind::Remove, Kind::RemoveVolume}));
}

// One inspect when the sheet opens, one more per event of that container while it is open,
// none after, each of the engine it was opened on; secrets masked until shown, for a screen
// reader and in the inspect document's find, copy and save too; a removal keeps what was
// shown and says so.
void TestActions::detailsAreReadOnlyWhileOpen()
{
    using Kind = ContainerChange::Kind;
    ContainerDetails d;
    d.id = QStringLiteral("3f1a9c2e7b11") + QString(52, u'0');
    d.name = QStringLiteral("web-1");
    d.state = QStringLiteral("running");
    d.environment = {{QStringLiteral("API_TOKEN"), QStringLiteral("s3cret")}, {QStringLiteral("LANG"), QStringLiteral("C")}};
    d.document = QStringLiteral("{\n    \"Config\": {\n        \"Env\": [\n            \"API_TOKEN=s3cret\",\n            \"LANG=C\"\n        ]\n    }\n}\n");
    m_engine->setDetails({d});
    QSignalSpy asked(m_actions.get(), &Actions::detailsRequested);
    m_actions->perform(Verb::Details, QStringLiteral("3f1a9c2e7b11"));
    QCOMPARE(asked.size(), 1);
    // The sheet owns it; here, the test.
    const std::unique_ptr<Inspection> owned(asked.first().first().value<Inspection *>());
    Inspection *inspection = owned.get();
    QCOMPARE(inspection->reads(), 0);   // nothing until the sheet opens
    inspection->start();
    QTRY_VERIFY(inspection->loaded());
    const auto environment = [&] {
        for (const QVariant &section : inspection->sections()) {
            if (section.toMap().value(QStringLiteral("title")) == QLatin1String("Environment"))
                return section.toMap().value(QStringLiteral("rows")).toList();
        }
        return QVariantList();
    };
    const QVariantMap token = environment().first().toMap();
    QCOMPARE(token.value(QStringLiteral("value")).toString(), QString::fromUtf16(Secrets::mask));
    QCOMPARE(token.value(QStringLiteral("spoken")).toString(), QStringLiteral("hidden value"));
    QVERIFY(!inspection->copyText().contains(QStringLiteral("s3cret")));
    Transcript *document = inspection->document();
    document->setFindText(QStringLiteral("s3cret"));
    QCOMPARE(document->findStatus(), QStringLiteral("No matches"));
    QVERIFY(!document->plainText().contains(QStringLiteral("s3cret")));
    QVERIFY(document->plainText().contains(QStringLiteral("\"API_TOKEN=") + QString::fromUtf16(Secrets::mask) + u'"'));
    inspection->setShowSecrets(true);
    QCOMPARE(environment().first().toMap().value(QStringLiteral("spoken")).toString(), QStringLiteral("s3cret"));
    QCOMPARE(inspection->copyText(), QStringLiteral("API_TOKEN=s3cret\nLANG=C\n"));
    QCOMPARE(document->findStatus(), QStringLiteral("1 of 1"));
    QCOMPARE(document->plainText().trimmed(), d.document.trimmed());

    const Runtime other = Runtime::socket(QStringLiteral("other"), QStringLiteral("/run/other.sock"));
    // While another is shown, the events are that engine's: the sheet neither reads nor goes
    // on them. Shown again, its own engine's events read it there.
    const Runtime opened = *m_store->runtime();
    m_engine->setHoldings({}, other.name);
    m_store->select(other);
    emit m_store->events().containerChanged({d.id, Kind::Destroyed});
    emit m_store->events().containerChanged({d.id, Kind::Died, 1});
    QTest::qWait(50);
    QCOMPARE(inspection->reads(), 1);
    QVERIFY(!inspection->gone());
    m_store->select(opened);
    QSignalSpy read(inspection, &Inspection::changed);
    emit m_store->events().containerChanged({QStringLiteral("ffff0000"), Kind::Died, 1});
    emit m_store->events().containerChanged({d.id, Kind::Died, 1});
    QTRY_VERIFY(!read.isEmpty());
    QCOMPARE(inspection->reads(), 2);
    QVERIFY(!inspection->gone());
    emit m_store->events().containerChanged({d.id, Kind::Destroyed});
    QVERIFY(inspection->gone());
    QVERIFY(inspection->loaded());
    inspection->stop();
    emit m_store->events().containerChanged({d.id, Kind::Started});
    QTest::qWait(50);
    QCOMPARE(inspection->reads(), 2);
}

// A secret variable's value is masked where compose put it in whole, never inside another
// scalar that happens to hold the same letters; a multi-line value is masked on every line;
// the masked file keeps its lines, each masked value a quoted placeholder, so a copy is YAML.
// A variable of a plain name is secret by the key it is given to, in the file and in its row.
void TestActions::composeFileMasksOnlyWhereSubstituted()
{
    QFile written(m_project + QStringLiteral("/compose.yaml")), dotEnv(m_project + QStringLiteral("/.env"));
    QVERIFY(written.open(QIODevice::WriteOnly) && dotEnv.open(QIODevice::WriteOnly));
    written.write("services:\n  db:\n    image: postgres:16\n    environment:\n      POSTGRES_PASSWORD: ${PG}\n      CONN: $PG\n      POSTGRES_DB: postgres\n");
    dotEnv.write("PG=postgres\n");
    written.close(), dotEnv.close();
    const QStringList resolved{QStringLiteral("services:"), QStringLiteral("  db:"), QStringLiteral("    environment:"),
                               QStringLiteral("      POSTGRES_PASSWORD: postgres"), QStringLiteral("      CONN: postgres"),
                               QStringLiteral("      POSTGRES_DB: postgres"),
                               QStringLiteral("      PRIVATE_KEY: |-"), QStringLiteral("        -----BEGIN KEY-----"),
                               QStringLiteral("        postgres"), QStringLiteral("    image: postgres:16")};
    m_engine->setResolvedText(m_project, resolved.join(u'\n') + u'\n');
    ComposeFileState file(m_engine, QStringLiteral("shop"), m_project);
    file.start();
    QTRY_VERIFY(file.loaded());
    QVERIFY(file.hasSecrets());
    const QString mask = QString::fromUtf16(Secrets::mask);
    QStringList hidden = resolved;
    hidden[3] = QStringLiteral("      POSTGRES_PASSWORD: \"") + mask + u'"';
    hidden[4] = QStringLiteral("      CONN: \"") + mask + u'"';
    hidden[6] = QStringLiteral("      PRIVATE_KEY: \"") + mask;
    hidden[7] = QStringLiteral("        ") + mask;
    hidden[8] = QStringLiteral("        ") + mask + u'"';
    QCOMPARE(file.document()->plainText(), hidden.join(u'\n') + u'\n');
    QCOMPARE(file.variables().first().toMap().value(QStringLiteral("spokenValue")).toString(), QStringLiteral("hidden value"));
    file.setShowSecrets(true);
    QCOMPARE(file.document()->plainText(), resolved.join(u'\n') + u'\n');
}

void TestActions::aNetworkFollowsItsMembersAndIsRemovedOnlyEmpty()
{
    FakeEngine::Holdings state = m_engine->holdings();
    DockerNetwork net{QStringLiteral("b02c44eea079"), QStringLiteral("shop_default"), QStringLiteral("bridge"), QStringLiteral("local")};
    net.members = {{QStringLiteral("3f1a"), QStringLiteral("web-1"), QStringLiteral("172.18.0.2/16"), {}}};
    state.networks = {net};
    m_engine->setHoldings(state);
    QCoro::waitFor(m_store->refresh());
    QSignalSpy asked(m_actions.get(), &Actions::detailsRequested);
    m_actions->perform(Verb::NetworkDetails, net.name);
    QCOMPARE(asked.size(), 1);
    const std::unique_ptr<Inspection> inspection(asked.first().first().value<Inspection *>());
    inspection->start();
    QTRY_VERIFY(inspection->loaded());
    QCOMPARE(inspection->copyText(), QStringLiteral("web-1\t172.18.0.2/16\n"));

    // Stale knowledge is the engine's to correct: its refusal is shown in its own words.
    m_actions->perform(Verb::RemoveNetwork, net.name);
    QTRY_VERIFY(m_store->errorText().contains(QStringLiteral("has active endpoints")));

    // The member leaves: the open sheet reads again; an unrelated listing does not make it.
    state.networks.first().members.clear();
    m_engine->setHoldings(state);
    QCoro::waitFor(m_store->refresh(Listing::Networks));
    QTRY_COMPARE(inspection->reads(), 2);
    QCoro::waitFor(m_store->refresh(Listing::Networks));
    QCOMPARE(inspection->reads(), 2);
    // Counted as it began: its answer may land a moment later.
    QTRY_VERIFY(inspection->copyText().isEmpty());

    m_actions->perform(Verb::RemoveNetwork, net.name);
    QTRY_VERIFY(m_store->networks().isEmpty());
    QVERIFY(inspection->gone());
}

QTEST_MAIN(TestActions)
#include "tst_actions.moc"
