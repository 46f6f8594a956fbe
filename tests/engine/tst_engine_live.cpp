#include "cliengine.h"
#include "docker.h"
#include "dockercli.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

// The engine layer against the private engine, on objects each case makes and removes.
class EngineLive : public QObject {
    Q_OBJECT
    Leftovers m_made;
    const CliEngine e;

    QString startContainer(const QStringList &options) { return m_made.run("kt-c-", options); }

private slots:
    void initTestCase() { REQUIRE_ENGINE(); }
    void cleanupTestCase() { m_made.clear(); }

    void listQueriesSeeRealObjects()
    {
        const QString volume = uniqueName("kt-v-");
        m_made.volumes << volume;
        QCOMPARE(docker({"volume", "create", volume}).status, 0);
        const QString name = startContainer({"-l", "com.docker.compose.project.config_files=/a/x.yml,/a/y.yml",
                                             "-l", "tier=web", "-p", "127.0.0.1::80", "-v", volume + ":/data"});

        const auto containers = e.containers({});
        const auto it = std::find_if(containers.cbegin(), containers.cend(), [&](const Container &c) { return c.name == name; });
        QVERIFY2(it != containers.cend(), "new container not listed");
        QCOMPARE(it->state, "running");
        QVERIFY(it->status.startsWith("Up"));
        QCOMPARE(it->image, engineImage());
        QCOMPARE(it->labels.value("tier"), "web");
        QCOMPARE(it->labels.value("com.docker.compose.project.config_files"), "/a/x.yml,/a/y.yml");
        QVERIFY(!it->project());
        QVERIFY2(Docker::shortPorts(it->ports).endsWith(":80"), qPrintable(it->ports));

        const auto images = e.images({});
        QVERIFY(std::any_of(images.cbegin(), images.cend(), [](const DockerImage &i) {
            return i.repository + ":" + i.tag == engineImage() && !i.id.isEmpty() && !i.size.isEmpty();
        }));
        const auto volumes = e.volumes({});
        QVERIFY(std::any_of(volumes.cbegin(), volumes.cend(), [&](const DockerVolume &v) {
            return v.name == volume && v.driver == "local" && v.mountpoint.endsWith("/_data");
        }));
    }

    // A volume's files, with their modes, owners, a link, an empty file and a large one, go
    // to a .tar file and come back into a new volume exactly; the checks run in a container.
    void volumeDataSurvivesBackupAndRestore()
    {
        using Kind = EngineAction::Kind;
        const QString from = uniqueName("kt-vb-"), into = uniqueName("kt-vr-");
        m_made.volumes << from << into;
        const auto inVolume = [](const QString &volume, const QString &script) {
            return docker({"run", "--rm", "-v", volume + ":/d", engineImage(), "sh", "-c", script});
        };
        QCOMPARE(inVolume(from, "mkdir /d/sub && echo hi > /d/sub/a.txt && chmod 640 /d/sub/a.txt && chmod 750 /d/sub"
                                " && ln -s sub/a.txt /d/link && : > /d/empty && chown 1234:5678 /d/empty"
                                " && head -c 52428800 /dev/urandom > /d/big").status, 0);
        const QString survey = "cd /d && find . | sort | while read f; do stat -c '%n %a %u:%g %F %s' \"$f\"; done"
                               " && find . -type f | sort | xargs md5sum && readlink link";
        const QString before = inVolume(from, survey).out;
        QVERIFY(before.contains("./link 777 0:0 symbolic link"));

        QTemporaryDir dir;
        const QString file = dir.filePath("kept.tar");
        e.perform(EngineAction::volumeData(Kind::BackupVolume, from, file), {});
        QVERIFY(QFileInfo(file).size() > 52428800);
        QVERIFY(!QFile::exists(file + ".part"));
        QCOMPARE(docker({"volume", "rm", from}).status, 0);
        QCOMPARE(docker({"volume", "create", into}).status, 0);
        e.perform(EngineAction::volumeData(Kind::RestoreVolume, into, file), {});
        QCOMPARE(inVolume(into, survey).out, before);
        // Once it holds files, nothing in it is overwritten.
        QCOMPARE(inVolume(into, "echo changed > /d/sub/a.txt").status, 0);
        const QString changed = inVolume(into, survey).out;
        QVERIFY_THROWS_EXCEPTION(DockerError, e.perform(EngineAction::volumeData(Kind::RestoreVolume, into, file), {}));
        QCOMPARE(inVolume(into, survey).out, changed);

        // Where the file cannot be written, the backup says so and leaves nothing behind.
        try {
            e.perform(EngineAction::volumeData(Kind::BackupVolume, into, "/proc/kt-nope/x.tar"), {});
            QFAIL("a backup to an unwritable place succeeded");
        } catch (const DockerError &error) {
            QVERIFY2(error.message().startsWith("Cannot write /proc/kt-nope/x.tar"), qPrintable(error.message()));
        }
        QCOMPARE(docker({"ps", "-a", "--filter", "label=org.korvat.helper", "-q"}).out.trimmed(), QString());
    }

    // Every kind of action on real objects, each seen to take effect through the listings.
    void actionsTakeEffect()
    {
        using Kind = EngineAction::Kind;
        const QString name = startContainer({});
        const auto state = [&] {
            for (const auto &c : e.containers({}))
                if (c.name == name)
                    return c.state;
            return QStringLiteral("gone");
        };
        const QList<std::pair<EngineAction, QString>> steps = {
            {EngineAction::on(Kind::Pause, {name}), "paused"},   {EngineAction::on(Kind::Unpause, {name}), "running"},
            {EngineAction::on(Kind::Stop, {name}), "exited"},    {EngineAction::on(Kind::Start, {name}), "running"},
            {EngineAction::on(Kind::Restart, {name}), "running"}, {EngineAction::on(Kind::Remove, {name}), "gone"},
        };
        for (const auto &[action, expected] : steps) {
            e.perform(action, {});
            QCOMPARE(state(), expected);
        }

        const QString image = uniqueName("kt-commit-") + ":snap", volume = uniqueName("kt-v-");
        e.perform(EngineAction::commit(startContainer({}), image), {});
        const auto hasImage = [&] {
            const auto images = e.images({});
            return std::any_of(images.cbegin(), images.cend(), [&](const DockerImage &i) { return i.repository + ":" + i.tag == image; });
        };
        QVERIFY(hasImage());
        e.perform(EngineAction::on(Kind::RemoveImage, {image}), {});
        QVERIFY(!hasImage());
        QCOMPARE(docker({"volume", "create", volume}).status, 0);
        e.perform(EngineAction::on(Kind::RemoveVolume, {volume}), {});
        QCOMPARE(docker({"volume", "inspect", volume}).status, 1);
        e.perform(EngineAction::prune(Kind::PruneImages), {});
        e.perform(EngineAction::prune(Kind::PruneVolumes), {});
        // No registry answers here, so a pull fails with the engine's own words.
        QVERIFY_THROWS_EXCEPTION(DockerError, e.perform(EngineAction::pull("korvat-test/nothing-here:1"), {}));

        ComposeDir project(sleeperCompose());
        e.perform(EngineAction::compose(Kind::ComposeUp, project.path()), {});
        QCOMPARE(docker({"compose", "ps", "-q"}, project.path()).out.trimmed().count('\n'), 0);
        QVERIFY(!docker({"compose", "ps", "-q"}, project.path()).out.trimmed().isEmpty());
        e.perform(EngineAction::compose(Kind::ComposeDown, project.path()), {});
        QVERIFY(docker({"compose", "ps", "-aq"}, project.path()).out.trimmed().isEmpty());
    }

    // The stats client ignores SIGTERM; ending the stream still ends it at once.
    void usageIsReadAndTheReaderEnds()
    {
        const QString name = startContainer({"--memory", "64m"});
        const auto stream = e.usage({name}, {});
        std::optional<Usage> read;
        QByteArray output;
        connect(stream.get(), &EngineStream::readyRead, this, [&] {
            output += stream->readAll();
            for (const QByteArray &line : output.split('\n')) {
                if (auto usage = Docker::readUsage(line); usage && usage->cpuPercent)
                    read = usage;
            }
        });
        stream->start();
        QTRY_VERIFY_WITH_TIMEOUT(read.has_value(), 10000);
        QCOMPARE(read->id, name);
        QCOMPARE(read->memoryLimit, 64 * 1024 * 1024);
        QVERIFY(*read->memoryBytes > 0);

        const QString proc = "/proc/" + QString::number(stream->pid());
        QVERIFY(QFileInfo::exists(proc));
        stream->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!QFileInfo::exists(proc), 2000);
    }

    void composeChecks()
    {
        ComposeDir good(sleeperCompose());
        QCOMPARE(e.checkCompose(good.path()), ComposeCheck::makeValid());

        ComposeDir missing(sleeperCompose("db", "    environment:\n      A: ${KT_ROOT_PW}-${KT_PW}\n"), "OTHER=1\n");
        QCOMPARE(e.checkCompose(missing.path()),
                 ComposeCheck::makeValid("2 variables have no value: KT_ROOT_PW, KT_PW. compose substituted empty strings. Check the .env beside the compose file."));

        ComposeDir filled(sleeperCompose("db", "    environment:\n      A: ${KT_PW}\n"), "KT_PW=secret\n");
        QCOMPARE(e.checkCompose(filled.path()), ComposeCheck::makeValid());

        QTemporaryDir empty;
        QCOMPARE(e.checkCompose(empty.path()).message, Docker::missingComposeFileMessage(empty.path()));
    }

    void composeProjectReadsRealNames()
    {
        ComposeDir dir(sleeperCompose("web", "    volumes: [cache:/c, data:/d]\n  db:\n    image: x\nvolumes:\n  data:\n  cache:\n    name: shared-cache\n"));
        const auto project = e.composeProject(dir.path());
        const QString expectedName = QFileInfo(dir.path()).fileName().toLower();
        QCOMPARE(project.name, expectedName);
        QCOMPARE(project.services, QStringList({"db", "web"}));
        QCOMPARE(project.volumes, QStringList({"shared-cache", expectedName + "_data"}));

        ComposeDir broken("services: [\n");
        QVERIFY_THROWS_EXCEPTION(DockerError, e.composeProject(broken.path()));
        QTemporaryDir none;
        try {
            e.composeProject(none.path());
            QFAIL("no compose file, yet a project");
        } catch (const DockerError &e) {
            QCOMPARE(e.message(), Docker::missingComposeFileMessage(none.path()));
        }
    }

    void runtimesFromRealContexts()
    {
        const QString missing = uniqueName("kt-missing-"), tcp = uniqueName("kt-tcp-");
        m_made.contexts << missing << tcp;
        QCOMPARE(docker({"context", "create", missing, "--docker", "host=unix:///nope/kt.sock"}).status, 0);
        QCOMPARE(docker({"context", "create", tcp, "--docker", "host=tcp://127.0.0.1:1"}).status, 0);

        // The socket runtime appears only while its socket exists, and only once.
        QTemporaryDir dir;
        const QString link = dir.filePath("container.sock");
        Docker::Launch launch;
        launch.appleSocketPath = link;
        Docker::setLaunch(launch);
        auto listed = e.runtimes();
        auto entry = [&](const QString &name) {
            const auto it = std::find_if(listed.list.cbegin(), listed.list.cend(), [&](const RuntimeEntry &e) { return e.runtime.name == name; });
            return it == listed.list.cend() ? RuntimeEntry{} : *it;
        };
        QCOMPARE(entry(engineContext()), (RuntimeEntry{Runtime::context(engineContext()), "unix://" + engineSocket(), true}));
        QCOMPARE(entry(missing), (RuntimeEntry{Runtime::context(missing), "unix:///nope/kt.sock", false}));
        QCOMPARE(entry(tcp), (RuntimeEntry{Runtime::context(tcp), "tcp://127.0.0.1:1", true}));
        QCOMPARE(entry("apple-container"), RuntimeEntry{});
        QCOMPARE(listed.current, Runtime::context(engineContext()));

        QVERIFY(QFile::link(engineSocket(), link));
        listed = e.runtimes();
        QCOMPARE(listed.list.last(), (RuntimeEntry{Docker::appleRuntime(), "unix://" + link, true}));
        // And the socket runtime really reaches the engine through DOCKER_HOST.
        QCOMPARE(e.containers(Docker::appleRuntime()).size(), e.containers({}).size());

        launch.appleSocketPath = engineSocket();
        Docker::setLaunch(launch);
        listed = e.runtimes();
        QCOMPARE(entry("apple-container"), RuntimeEntry{});

        Docker::setLaunch({});
    }

};

QTEST_GUILESS_MAIN(EngineLive)
#include "tst_engine_live.moc"
