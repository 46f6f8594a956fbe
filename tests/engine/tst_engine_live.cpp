#include "cliengine.h"
#include "kernelusage.h"
#include "docker.h"
#include "dockercli.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QMutex>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>
#include <QtConcurrent>
#include <QTest>

using namespace TestSupport;

namespace {
// Forwards to a local port, the answers at about 4 MB/s: a registry on loopback is too
// fast to stop in the middle of anything.
class SlowProxy : public QObject {
public:
    explicit SlowProxy(int upstream) : m_upstream(upstream)
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = m_server.nextPendingConnection()) {
                auto *server = new QTcpSocket(client);
                server->connectToHost(QHostAddress::LocalHost, quint16(m_upstream));
                connect(client, &QTcpSocket::readyRead, server, [client, server] { server->write(client->readAll()); });
                connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
                auto *tick = new QTimer(client);
                connect(tick, &QTimer::timeout, client, [client, server] {
                    if (server->bytesAvailable() > 0)
                        client->write(server->read(40 * 1024));
                    else if (server->state() == QAbstractSocket::UnconnectedState)
                        client->disconnectFromHost();
                });
                tick->start(10);
            }
        });
    }
    int port() const { return m_server.serverPort(); }

private:
    QTcpServer m_server;
    int m_upstream;
};
}

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

    // Archives made elsewhere: one of a folder's contents lands in the volume, not beside it;
    // one reaching outside its folder is refused with nothing changed. A socket, which the
    // engine leaves out of an archive without a word, is named.
    void foreignArchivesAndSockets()
    {
        using Kind = EngineAction::Kind;
        const QString plain = uniqueName("kt-vp-"), refused = uniqueName("kt-vx-"), sockets = uniqueName("kt-vs-");
        m_made.volumes << plain << refused << sockets;
        for (const QString &v : {plain, refused, sockets})
            QCOMPARE(docker({"volume", "create", v}).status, 0);
        QTemporaryDir dir;
        QDir(dir.path()).mkpath("tree/sub");
        const auto write = [&](const QString &name, const QByteArray &text) {
            QFile f(dir.filePath(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(text);
        };
        write("tree/a.txt", "alpha\n");
        write("tree/sub/b.txt", "beta\n");
        write("outside.txt", "no\n");
        const auto tar = [&](const QStringList &args) { return QProcess::execute("tar", args) == 0; };
        QVERIFY(tar({"-C", dir.filePath("tree"), "-cf", dir.filePath("plain.tar"), "."}));
        QVERIFY(tar({"-C", dir.filePath("tree"), "-cPf", dir.filePath("escape.tar"), "a.txt", "../outside.txt"}));
        // A link to /etc, then a file appended through it: unpacked in order, x lands in /etc.
        QDir(dir.path()).mkpath("linked");
        QVERIFY(QFile::link("/etc", dir.filePath("linked/link")));
        QDir(dir.path()).mkpath("through/link");
        write("through/link/x", "no\n");
        QVERIFY(tar({"-C", dir.filePath("linked"), "-cf", dir.filePath("through.tar"), "link"}));
        QVERIFY(tar({"-C", dir.filePath("through"), "-rf", dir.filePath("through.tar"), "link/x"}));

        e.perform(EngineAction::volumeData(Kind::RestoreVolume, plain, dir.filePath("plain.tar")), {});
        QCOMPARE(docker({"run", "--rm", "-v", plain + ":/d", engineImage(), "cat", "/d/a.txt", "/d/sub/b.txt"}).out, "alpha\nbeta\n");
        for (const auto &[archive, why] : {std::pair("escape.tar", "../outside.txt, a path outside its own folder"),
                                           std::pair("through.tar", "link/x, a path through the link link it makes itself")}) {
            try {
                e.perform(EngineAction::volumeData(Kind::RestoreVolume, refused, dir.filePath(archive)), {});
                QFAIL(qPrintable(QString(archive) + " was restored"));
            } catch (const DockerError &error) {
                QVERIFY2(error.message().contains(why), qPrintable(error.message()));
            }
            QCOMPARE(docker({"run", "--rm", "-v", refused + ":/d", engineImage(), "ls", "-A", "/d"}).out, QString());
        }

        const QString mountpoint = docker({"volume", "inspect", "--format", "{{.Mountpoint}}", sockets}).out.trimmed();
        QLocalServer listening;
        QVERIFY2(listening.listen(mountpoint + "/app.sock"), qPrintable(listening.errorString()));
        QStringList leftOut;
        Watch watch;
        watch.moved = [&](const Transferred &moved) { leftOut = moved.leftOut; };
        e.perform(EngineAction::volumeData(Kind::BackupVolume, sockets, dir.filePath("sockets.tar")), {}, watch);
        QCOMPARE(leftOut, QStringList{"app.sock"});
    }

    // Why a container is the way it is, from the real engine: one killed for lack of memory,
    // one whose health check failed three times with the probes' own words, one gone.
    void detailsExplainRealContainers()
    {
        const QString hungry = m_made.run("kt-oom-", {"-m", "8m", "--memory-swap", "8m"}, {"sh", "-c", "x=a; while true; do x=$x$x; done"});
        const QString sick = m_made.run("kt-sick-", {"--health-cmd", "echo probe failed; exit 1", "--health-interval", "1s", "--health-retries", "3"});
        std::optional<ContainerDetails> oom, unhealthy;
        // The engine may hear of the kill after the exit, and mark it then.
        const bool killed = QTest::qWaitFor([&] { return (oom = e.containerDetails(hungry, {})) && oom->state == "exited" && oom->outOfMemory; }, 30000);
        QVERIFY2(killed, qPrintable(oom ? QString("%1, exit %2").arg(oom->state).arg(oom->exitCode) : QString("gone")));
        QCOMPARE(Docker::exitMeaning(oom->exitCode, oom->outOfMemory), "Killed: out of memory");
        QTRY_VERIFY_WITH_TIMEOUT((unhealthy = e.containerDetails(sick, {})) && unhealthy->health && unhealthy->health->status == "unhealthy", 30000);
        QVERIFY(unhealthy->health->failingStreak >= 3);
        QCOMPARE(unhealthy->health->probes.first().output.trimmed(), "probe failed");
        QCOMPARE(unhealthy->health->probes.first().exitCode, 1);
        QVERIFY(!e.containerDetails(uniqueName("kt-none-"), {}));
    }

    // A network lists the containers attached with their addresses; the engine refuses to
    // remove it while one is, in its own words, and removes it once none is.
    void networksAndTheirContainers()
    {
        const QString net = uniqueName("kt-net-");
        QCOMPARE(docker({"network", "create", "--subnet", "172.31.251.0/24", net}).status, 0);
        m_made.networks << net;
        const QString member = m_made.run("kt-netc-", {"--network", net});
        const auto listed = [&]() -> std::optional<DockerNetwork> {
            for (const DockerNetwork &n : e.networks({}))
                if (n.name == net)
                    return n;
            return std::nullopt;
        };
        QVERIFY(listed());
        QCOMPARE(listed()->subnets, QStringList{"172.31.251.0/24"});
        QCOMPARE(listed()->members.size(), 1);
        QCOMPARE(listed()->members.first().name, member);
        QVERIFY(listed()->members.first().ipv4.startsWith("172.31.251."));
        QVERIFY(!Docker::networkKept(*listed()).isEmpty());
        try {
            e.perform(EngineAction::on(EngineAction::Kind::RemoveNetwork, {net}), {});
            QFAIL("a network with a container attached was removed");
        } catch (const DockerError &refused) {
            QVERIFY2(refused.message().contains("active endpoints"), qPrintable(refused.message()));
        }
        QCOMPARE(docker({"rm", "-f", member}).status, 0);
        QVERIFY(Docker::networkKept(*listed()).isEmpty());
        e.perform(EngineAction::on(EngineAction::Kind::RemoveNetwork, {net}), {});
        QVERIFY(!listed());
        QVERIFY(!e.networkDetails(net, {}));
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

        // Up tells, service by service, what compose is doing.
        const QString projectName = uniqueName("ktup");
        ComposeDir project("name: " + projectName.toUtf8() + "\n" + sleeperCompose());
        ComposeProgress told;
        Watch watch;
        watch.line = [&](const QString &line) { Docker::readCompose(told, line, projectName); };
        e.perform(EngineAction::compose(Kind::ComposeUp, project.path()), {}, watch);
        QCOMPARE(told.services, (QList<ServiceProgress>{{"app", ServiceProgress::Phase::Started, {}}}));
        QCOMPARE(docker({"compose", "ps", "-q"}, project.path()).out.trimmed().count('\n'), 0);
        QVERIFY(!docker({"compose", "ps", "-q"}, project.path()).out.trimmed().isEmpty());
        e.perform(EngineAction::compose(Kind::ComposeDown, project.path()), {});
        QVERIFY(docker({"compose", "ps", "-aq"}, project.path()).out.trimmed().isEmpty());
    }

    // An image of four fresh layers, pushed to a local registry and removed here, pulled
    // through a proxy slow enough that stopping after the first layer is stopping midway.
    void pullProgressFromALocalRegistry()
    {
        LocalRegistry registry;
        QVERIFY2(registry.start(), qPrintable(registry.why()));
        const int port = registry.port();

        QString previous = engineImage();
        QStringList made;
        for (int i = 0; i < 4; ++i) {
            const QString box = uniqueName("kt-layer-");
            QCOMPARE(docker({"run", "--name", box, previous, "/bin/busybox", "dd", "if=/dev/urandom", "of=/blob" + QString::number(i), "bs=1M", "count=3"}).status, 0);
            previous = uniqueName("kt-layers-") + ":1";
            QCOMPARE(docker({"commit", box, previous}).status, 0);
            docker({"rm", box});
            made << previous;
        }
        const QString pushed = QStringLiteral("127.0.0.1:%1/kt-layers:1").arg(port);
        QCOMPARE(docker({"tag", previous, pushed}).status, 0);
        QCOMPARE(docker({"push", pushed}).status, 0);
        QCOMPARE(docker(QStringList{"rmi", pushed} + made).status, 0);

        SlowProxy proxy(port);
        const QString reference = QStringLiteral("127.0.0.1:%1/kt-layers:1").arg(proxy.port());
        const auto stopped = std::make_shared<std::atomic_bool>(false);
        const auto pull = [&](const std::shared_ptr<std::atomic_bool> &stopAfterALayer) {
            auto seen = std::make_shared<QList<PullProgress>>();
            auto mutex = std::make_shared<QMutex>();
            Watch watch;
            watch.cancel = stopAfterALayer;
            watch.line = [seen, mutex, stopAfterALayer, progress = PullProgress()](const QString &line) mutable {
                Docker::readPull(progress, line);
                QMutexLocker lock(mutex.get());
                seen->append(progress);
                if (stopAfterALayer && progress.done() >= 1)
                    *stopAfterALayer = true;
            };
            auto future = QtConcurrent::run([&, watch]() -> QString {
                try {
                    e.perform(EngineAction::pull(reference), {}, watch);
                    return {};
                } catch (const DockerError &error) {
                    return error.message();
                }
            });
            // The proxy lives on this thread's event loop.
            while (!future.isFinished())
                QTest::qWait(20);
            QMutexLocker lock(mutex.get());
            return std::pair(future.result(), *seen);
        };

        const auto [stopMessage, partly] = pull(stopped);
        QCOMPARE(stopMessage, "cancelled");
        QVERIFY(!partly.isEmpty());
        QCOMPARE(partly.last().toFetch(), 4);
        QVERIFY2(partly.last().done() < 4, "the pull ended before it could be stopped");
        QVERIFY(docker({"image", "inspect", reference}).status != 0);

        const auto [message, whole] = pull(nullptr);
        QCOMPARE(message, QString());
        for (qsizetype i = 1; i < whole.size(); ++i)
            QVERIFY(whole[i].done() >= whole[i - 1].done() && whole[i].fraction() >= whole[i - 1].fraction());
        QCOMPARE(whole.last().done(), whole.last().toFetch());
        QVERIFY(whole.last().bytesTotal() > 0);   // drawn on a terminal, so with byte counts
        QCOMPARE(docker({"image", "inspect", reference}).status, 0);
        docker({"rmi", reference});
    }

    // One reading ends by itself; the stats client ignores SIGTERM, yet ending a stream still
    // ends it at once.
    void usageIsReadAndTheReaderEnds()
    {
        const QString name = startContainer({"--memory", "64m"});
        for (const UsageRead how : {UsageRead::Once, UsageRead::Streaming}) {
            const auto stream = e.usage({name}, {}, how);
            std::optional<Usage> read;
            QByteArray output;
            connect(stream.get(), &EngineStream::readyRead, this, [&] {
                output += stream->readAll();
                for (const QByteArray &line : output.split('\n')) {
                    if (auto usage = Docker::readUsage(line); usage && usage->cpuPercent)
                        read = usage;
                }
            });
            QSignalSpy finished(stream.get(), &EngineStream::finished);
            stream->start();
            QTRY_VERIFY_WITH_TIMEOUT(read.has_value(), 10000);
            QCOMPARE(read->id, name);
            QCOMPARE(read->memoryLimit, 64 * 1024 * 1024);
            QVERIFY(*read->memoryBytes > 0);

            if (how == UsageRead::Once) {
                QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, 10000);
                continue;
            }
            // An engine on this machine is not asked: its containers' counters are read here.
            QVERIFY(qobject_cast<KernelUsageStream *>(stream.get())->readsCounters());
            QCOMPARE(stream->pid(), 0);
            stream->stop();
            QVERIFY(!stream->running());
        }
    }

    // The kernel's counters say what the engine's stats say, within 5 % of a core and of
    // the memory: one container held at half a core, one holding some megabytes.
    void usageFromTheKernelAgreesWithTheEngine()
    {
        const QString busy = startContainer({"--cpus", "0.5"});
        QCOMPARE(docker({"exec", "-d", busy, "sh", "-c", "while :; do :; done"}).status, 0);
        const QString holding = m_made.run("kt-mem-", {"--memory", "64m"},
                                           {"sh", "-c", "x=a; i=0; while [ $i -lt 23 ]; do x=$x$x; i=$((i+1)); done; echo held; sleep 3600"});
        QTRY_VERIFY_WITH_TIMEOUT(docker({"logs", holding}).out.contains("held"), 20000);
        QTest::qWait(1500);

        const auto stream = e.usage({busy, holding}, {}, UsageRead::Streaming);
        QMap<QString, QList<Usage>> kernel;
        QByteArray output;
        connect(stream.get(), &EngineStream::readyRead, this, [&] {
            output += stream->readAll();
            const qsizetype end = output.lastIndexOf('\n') + 1;
            for (const QByteArray &line : output.left(end).split('\n')) {
                if (auto usage = Docker::readUsage(line))
                    kernel[usage->id].append(*usage);
            }
            output.remove(0, end);
        });
        stream->start();
        QVERIFY(QTest::qWaitFor([&] { return kernel.value(busy).size() >= 3; }, 15000));
        const auto engine = [&] {
            QMap<QString, Usage> read;
            for (const QByteArray &line : docker({"stats", "--no-stream", "--format", "json", busy, holding}).out.toUtf8().split('\n')) {
                if (auto usage = Docker::readUsage(line))
                    read.insert(usage->id == busy || usage->id == holding ? usage->id : QString(), *usage);
            }
            return read;
        }();
        stream->stop();
        QVERIFY(qobject_cast<KernelUsageStream *>(stream.get())->readsCounters());
        const double cpu = kernel.value(busy).constLast().cpuPercent.value_or(-100);
        QVERIFY2(std::abs(cpu - engine.value(busy).cpuPercent.value_or(100)) <= 5,
                 qPrintable(QString("kernel %1 %, engine %2 %").arg(cpu).arg(engine.value(busy).cpuPercent.value_or(-1))));
        const double memory = double(kernel.value(holding).constLast().memoryBytes.value_or(0));
        const double engineMemory = double(engine.value(holding).memoryBytes.value_or(1));
        QVERIFY2(std::abs(memory - engineMemory) <= 0.05 * engineMemory, qPrintable(QString("kernel %1, engine %2").arg(memory).arg(engineMemory)));
        QCOMPARE(kernel.value(holding).constLast().memoryLimit, engine.value(holding).memoryLimit);
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

    // Two projects that compose, asked from their directory alone, would call by the
    // directory's name: "shop", started with -p in a folder of another name, and one started
    // with -f from a folder whose own compose.yaml defines another service. Each is stopped,
    // recreated and taken down as itself, and the project the folder itself names, running
    // beside them, is never touched.
    void composeActsOnTheProjectAsStarted()
    {
        using Kind = EngineAction::Kind;
        const QString shop = uniqueName("kt-shop-");
        ComposeDir shopDir(sleeperCompose("app"));
        ComposeDir prodDir(sleeperCompose("app"));
        writeFile(prodDir.dir.filePath("compose.prod.yml"), sleeperCompose("prod"));
        const QString namesake = e.composeProject(shopDir.path()).name, prod = e.composeProject(prodDir.path()).name;
        QVERIFY(namesake != shop);
        const auto cleanup = qScopeGuard([&] {
            for (const QString &name : {shop, namesake, prod})
                docker({"compose", "-p", name, "down", "-v", "-t", "0"});
        });
        QCOMPARE(docker({"compose", "-p", shop, "up", "-d"}, shopDir.path()).status, 0);
        QCOMPARE(docker({"compose", "up", "-d"}, shopDir.path()).status, 0);
        QCOMPARE(docker({"compose", "-f", "compose.prod.yml", "up", "-d"}, prodDir.path()).status, 0);

        // Service and state of each container, by project.
        const auto states = [&] {
            QMap<QString, QStringList> seen;
            for (const ComposeProject &p : Docker::group(e.containers({}))) {
                for (const Container &c : p.containers)
                    seen[p.name] << c.labels.value(Labels::service) + ":" + c.state;
            }
            return seen;
        };
        const auto project = [&](const QString &name) {
            for (const ComposeProject &p : Docker::group(e.containers({}))) {
                if (p.name == name)
                    return p;
            }
            return ComposeProject{name, std::nullopt, {}, 0};
        };
        const QString namesakeId = project(namesake).containers.value(0).id;
        const ComposeProject shopProject = project(shop), prodProject = project(prod);
        QCOMPARE(shopProject.configFiles, QStringList{shopDir.dir.filePath("compose.yaml")});
        QCOMPARE(prodProject.configFiles, QStringList{prodDir.dir.filePath("compose.prod.yml")});
        QCOMPARE(e.composeProject(ComposeTarget::of(shopProject)).name, shop);
        QCOMPARE(e.composeServices(ComposeTarget::of(prodProject)).services, QStringList{"prod"});

        for (const ComposeProject &p : {shopProject, prodProject}) {
            const QString service = p.name == shop ? "app" : "prod";
            e.perform(EngineAction::compose(Kind::ComposeStop, p), {});
            QCOMPARE(states().value(p.name), QStringList{service + ":exited"});
            e.perform(EngineAction::compose(Kind::ComposeRecreate, p, {service}), {});
            QCOMPARE(states().value(p.name), QStringList{service + ":running"});
            e.perform(EngineAction::compose(Kind::ComposeDown, p), {});
            QVERIFY(!states().contains(p.name));
        }
        QCOMPARE(states().value(namesake), QStringList{"app:running"});
        QCOMPARE(project(namesake).containers.value(0).id, namesakeId);
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

        // A volume's mountpoint is a path on its engine's machine, read here only through a
        // context whose socket is here: the same path, named by another context, may hold
        // anything.
        const QString volume = uniqueName("kt-v-");
        m_made.volumes << volume;
        QCOMPARE(docker({"volume", "create", volume}).status, 0);
        const QList<DockerVolume> volumes = e.volumes({});
        const auto created = std::find_if(volumes.cbegin(), volumes.cend(), [&](const DockerVolume &v) { return v.name == volume; });
        QVERIFY(created != volumes.cend());
        QVERIFY(e.volumeSize(*created, Runtime::context(engineContext())).has_value());
        QVERIFY(e.volumeSize(*created, std::nullopt).has_value());
        QCOMPARE(e.volumeSize(*created, Runtime::context(tcp)), std::nullopt);
        QCOMPARE(e.volumeSize(*created, Runtime::context(missing)), std::nullopt);
    }

};

QTEST_GUILESS_MAIN(EngineLive)
#include "tst_engine_live.moc"
