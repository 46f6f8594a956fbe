#include "cliengine.h"
#include "planreport.h"
#include "testsupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

// `korvat --dump` and `korvat --plan` run as a user would, against the private engine
// reached through DOCKER_HOST, with their whole output compared.
class ReportsLive : public QObject {
    Q_OBJECT
    QTemporaryDir m_config;
    QTemporaryDir m_projects;
    QString m_prefix;
    Leftovers m_made;

    QProcessEnvironment env(const QString &host) const
    {
        auto e = QProcessEnvironment::systemEnvironment();
        e.insert("DOCKER_CONFIG", m_config.path());
        e.insert("DOCKER_HOST", host);
        return e;
    }

    QString korvat(const QStringList &args, const QString &host = {}) const
    {
        QProcess p;
        p.setProcessEnvironment(env(host.isEmpty() ? "unix://" + engineSocket() : host));
        p.start(KORVAT_BINARY, args);
        p.waitForFinished(-1);
        if (p.exitCode() != 0)
            qWarning("korvat exited %d: %s", p.exitCode(), p.readAllStandardError().constData());
        return QString::fromUtf8(p.readAllStandardOutput());
    }

    // The CLI's own trimmed error for a command run in korvat's environment.
    QString cli(const QStringList &args, const QString &host = {}) const
    {
        QProcess p;
        p.setProcessEnvironment(env(host.isEmpty() ? "unix://" + engineSocket() : host));
        p.start("docker", args);
        p.waitForFinished(-1);
        return QString::fromUtf8(p.readAllStandardError()).trimmed();
    }

    // A compose project in its own directory, brought up; the project name is the directory's.
    QString project(const QString &suffix, const QByteArray &compose, const QByteArray &dotenv = {})
    {
        const QString name = m_prefix + suffix;
        const QString dir = m_projects.filePath(name);
        writeFile(dir + "/compose.yaml", compose);
        if (!dotenv.isEmpty())
            writeFile(dir + "/.env", dotenv);
        const auto up = docker({"compose", "up", "-d"}, dir);
        if (up.status != 0)
            qWarning("compose up failed: %s", qPrintable(up.err));
        m_made.composeDirs << dir;
        return name;
    }

    QString line(const QString &name, const QString &service, const QString &state) const
    {
        return "    - " + name + "-" + service + "-1  [" + state + "]  " + engineImage() + "\n";
    }

    QJsonObject json(const QStringList &args, const QString &host = {}) const
    {
        QJsonParseError error;
        const auto doc = QJsonDocument::fromJson(korvat(args + QStringList{"--json"}, host).toUtf8(), &error);
        if (error.error != QJsonParseError::NoError)
            qWarning("not JSON: %s", qPrintable(error.errorString()));
        return doc.object();
    }

    static QList<QJsonObject> objects(const QJsonValue &array)
    {
        QList<QJsonObject> out;
        for (const auto &value : array.toArray())
            out << value.toObject();
        return out;
    }

    // The text report below its runtime lines, rebuilt from the JSON one: equal to the text
    // report only when every project, container and total agrees.
    static QString dumpFromJson(const QJsonObject &dump)
    {
        QString text = "runtime: (current)  containers: " + QString::number(dump["totals"]["containers"].toInt()) + "\n";
        for (const QJsonObject &p : objects(dump["projects"])) {
            const QJsonObject compose = p["compose"].toObject();
            const QJsonArray containers = p["containers"].toArray();
            text += "  project " + p["name"].toString() + "  " + QString::number(p["running"].toInt()) + "/" + QString::number(containers.size());
            const QString state = compose["state"].toString();
            if (state == "disabled")
                text += "  [" + compose["reason"].toString() + " - compose disabled]\n";
            else
                text += state == "ok"        ? "\n    compose config: ok\n"
                        : state == "warning" ? "\n    compose config: ok - WARNING\n      " + compose["message"].toString() + "\n"
                                             : "\n    compose config: INVALID - " + compose["message"].toString() + "\n";
            for (const QJsonObject &c : objects(containers))
                text += "    - " + c["name"].toString() + "  [" + c["state"].toString() + "]  " + c["image"].toString() + "\n";
        }
        for (const QJsonObject &c : objects(dump["ungrouped"]))
            text += "  (no project) " + c["name"].toString() + "  [" + c["state"].toString() + "]\n";
        return text + "images: " + QString::number(dump["totals"]["images"].toInt()) + "  volumes: " + QString::number(dump["totals"]["volumes"].toInt()) + "\n";
    }

    static QString planFromJson(const QJsonObject &plan)
    {
        QString text = "delete " + plan["project"].toString() + " would:\n";
        for (const auto &c : plan["remove"]["containers"].toArray())
            text += "  remove container  " + c.toString() + "\n";
        for (const QJsonObject &v : objects(plan["remove"]["volumes"]))
            text += "  remove volume     " + v["name"].toString() + (v["size"].isString() ? "  (" + v["size"].toString() + ")" : "") + "\n";
        for (const QJsonObject &v : objects(plan["keep"]))
            text += "  KEEP volume       " + v["name"].toString() + "  — " + v["reason"].toString() + "\n";
        return text + (plan["trash"].isString() ? "  offer to trash    " + plan["trash"].toString() + "\n" : "");
    }

    int count(const QStringList &args)
    {
        return docker(args).out.split('\n', Qt::SkipEmptyParts).size();
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        QVERIFY2(docker({"ps", "-aq"}).out.trimmed().isEmpty(), "the engine must start this test without containers");
        const QString plugins = qEnvironmentVariable("DOCKER_CONFIG") + "/cli-plugins";
        QVERIFY(QFile::link(plugins, m_config.filePath("cli-plugins")));
        m_prefix = uniqueName("kt").toLower();
        QProcess p;
        p.setProcessEnvironment(env("unix://" + engineSocket()));
        p.start("docker", {"context", "create", "kt-offline", "--docker", "host=unix:///nope/kt-offline.sock"});
        QVERIFY(p.waitForFinished(-1) && p.exitCode() == 0);
    }

    void cleanupTestCase()
    {
        m_made.clear();
        const auto leftovers = docker({"volume", "ls", "-q", "--filter", "name=" + m_prefix}).out.split('\n', Qt::SkipEmptyParts);
        if (!leftovers.isEmpty())
            docker(QStringList{"volume", "rm", "-f"} + leftovers);
    }

    void dumpShowsEveryKindOfProject()
    {
        const QByteArray plain = sleeperCompose("web");
        const QString running = project("a-running", plain);
        const QString stopped = project("b-stopped", plain);
        QCOMPARE(docker({"compose", "stop"}, m_projects.filePath(stopped)).status, 0);
        const QString deleted = project("c-deleted", plain);
        QVERIFY(QDir(m_projects.filePath(deleted)).removeRecursively());
        const QString noCompose = project("d-nocompose", plain);
        QVERIFY(QFile::remove(m_projects.filePath(noCompose) + "/compose.yaml"));
        const QString warned = project("e-warned", sleeperCompose("web", "    environment:\n      PW: ${KT_DB_PASSWORD}\n"), "OTHER=1\n");
        const QString broken = project("f-broken", plain);
        writeFile(m_projects.filePath(broken) + "/compose.yaml", sleeperCompose("web", "    imagex: oops\n"));
        const QString brokenMessage = docker({"compose", "config", "-q"}, m_projects.filePath(broken)).err.trimmed();
        QVERIFY(!brokenMessage.isEmpty());

        const QString looseRunning = m_prefix + "-loose-up", looseMade = m_prefix + "-loose-made";
        m_made.containers << looseRunning << looseMade;
        QCOMPARE(docker(QStringList{"run", "-d", "--name", looseRunning, engineImage()} + sleeper()).status, 0);
        QCOMPARE(docker({"create", "--name", looseMade, engineImage(), "true"}).status, 0);

        const QString expected =
            "runtime: default  unix://" + engineSocket() + "  [opens here]\n"
            "runtime: kt-offline · offline  unix:///nope/kt-offline.sock\n"
            "runtime: (current)  containers: 8\n"
            "  project " + running + "  1/1\n"
            "    compose config: ok\n" + line(running, "web", "running") +
            "  project " + stopped + "  0/1\n"
            "    compose config: ok\n" + line(stopped, "web", "exited") +
            "  project " + deleted + "  1/1  [workdir missing - compose disabled]\n" + line(deleted, "web", "running") +
            "  project " + noCompose + "  1/1  [no compose file - compose disabled]\n" + line(noCompose, "web", "running") +
            "  project " + warned + "  1/1\n"
            "    compose config: ok - WARNING\n"
            "      KT_DB_PASSWORD has no value; compose substituted an empty string. Check the .env beside the compose file.\n"
            + line(warned, "web", "running") +
            "  project " + broken + "  1/1\n"
            "    compose config: INVALID - " + brokenMessage + "\n" + line(broken, "web", "running") +
            "  (no project) " + looseMade + "  [created]\n"
            "  (no project) " + looseRunning + "  [running]\n"
            "images: " + QString::number(count({"images", "-q"})) + "  volumes: " + QString::number(count({"volume", "ls", "-q"})) + "\n";
        const QString dump = korvat({"--dump"});
        if (dump != expected)
            qWarning("actual:\n%s\nexpected:\n%s", qPrintable(dump), qPrintable(expected));
        QCOMPARE(dump, expected);
        const QJsonObject asJson = json({"--dump"});
        QCOMPARE(asJson["schema"].toInt(), 1);
        QCOMPARE(dumpFromJson(asJson), expected.section('\n', 2));
        QCOMPARE(asJson["totals"]["running"].toInt(), 6);
        // The offline context is on this machine yet unreachable, so only the engine that answers is watched.
        const QJsonObject counts{{"containers", 8}, {"running", 6}, {"images", count({"images", "-q"})},
                                 {"volumes", count({"volume", "ls", "-q"})}, {"networks", count({"network", "ls", "-q"})}};
        QCOMPARE(asJson["engines"].toArray(),
                 QJsonArray{QJsonObject({{"name", "default"}, {"endpoint", "unix://" + engineSocket()}, {"answers", true}, {"counts", counts}})});

        // A named context reaches the CLI: this one's socket is missing.
        const QString runtimeLines = expected.section('\n', 0, 1) + "\n";
        QCOMPARE(korvat({"--dump", "kt-offline"}),
                 runtimeLines + "dump failed: " + cli({"--context", "kt-offline", "ps", "-a", "--format", "json"}) + "\n");
    }

    void dumpWithAnEngineThatDoesNotAnswer()
    {
        const QString cliError = cli({"ps", "-a", "--format", "json"}, "unix:///nope/kt-dead.sock");
        QVERIFY(!cliError.isEmpty());
        QCOMPARE(korvat({"--dump"}, "unix:///nope/kt-dead.sock"),
                 "runtime: default · offline  unix:///nope/kt-dead.sock  [opens here]\n"
                 "runtime: kt-offline · offline  unix:///nope/kt-offline.sock\n"
                 "dump failed: " + cliError + "\n");
        QCOMPARE(korvat({"--plan", "anything"}, "unix:///nope/kt-dead.sock"), "plan failed: cannot list containers\n");
        const QJsonObject dead = json({"--dump"}, "unix:///nope/kt-dead.sock");
        QCOMPARE(dead["error"].toString(), cliError);
        // Still the engine the report is about, though nothing else of it is known.
        QCOMPARE(dead["engines"].toArray(),
                 QJsonArray{QJsonObject({{"name", "default"}, {"endpoint", "unix:///nope/kt-dead.sock"}, {"answers", false}, {"counts", QJsonValue()}})});
    }

    void planKeepsSharedVolumes()
    {
        const QString shop = project("g-shop", sleeperCompose("web", "    volumes: [data:/data, shared:/shared]\n  worker:\n    image: "
                                                                + engineImage().toUtf8() + "\n    command: " + sleeperJson() + "\n    volumes: [spare:/spare]\n"
                                                                "volumes:\n  data:\n  shared:\n  spare:\n"));
        const QString dir = m_projects.filePath(shop);
        // The worker goes, so its volume is declared yet mounted by nothing.
        QCOMPARE(docker({"compose", "rm", "-sf", "worker"}, dir).status, 0);
        const QString loose = m_prefix + "-backup";
        m_made.containers << loose;
        QCOMPARE(docker(QStringList{"run", "-d", "--name", loose, "-v", shop + "_shared:/s", engineImage()} + sleeper()).status, 0);
        // Two million bytes that do not compress or sparsify: "2 MB" on any file system here.
        QCOMPARE(docker({"exec", shop + "-web-1", "sh", "-c", "head -c 2000000 /dev/urandom > /data/blob"}).status, 0);

        QCOMPARE(korvat({"--plan", shop}),
                 "delete " + shop + " would:\n"
                 "  remove container  " + shop + "-web-1\n"
                 "  remove volume     " + shop + "_data  (2 MB)\n"
                 "  remove volume     " + shop + "_spare  (4 kB)\n"
                 "  KEEP volume       " + shop + "_shared  — used by " + loose + "\n"
                 "  offer to trash    " + dir + "\n");
        QCOMPARE(planFromJson(json({"--plan", shop})), korvat({"--plan", shop}));
        // Nothing was changed.
        QCOMPARE(docker({"volume", "inspect", shop + "_data"}).status, 0);
        QCOMPARE(docker({"container", "inspect", shop + "-web-1"}).status, 0);

        QVERIFY(QDir(dir).removeRecursively());
        const QString gone = korvat({"--plan", shop});
        QVERIFY2(!gone.contains("offer to trash"), qPrintable(gone));
        QVERIFY2(!gone.contains("_spare"), qPrintable(gone));   // no compose file, so nothing declared
    }

    // What a reclaim would take, from the real engine: a stopped loose container and an
    // anonymous volume nothing mounts are listed with --all; a named volume, a running
    // container's image and a project's container never are.
    void reclaimListsOnlyWhatItMay()
    {
        const QString stopped = m_made.run("kt-rc-", {}, {"true"});
        QTRY_VERIFY_WITH_TIMEOUT(docker({"inspect", "-f", "{{.State.Status}}", stopped}).out.trimmed() == "exited", 20000);
        const QString anonymous = docker({"volume", "create"}).out.trimmed();
        const QString named = uniqueName("kt-rcv-");
        m_made.volumes << anonymous << named;
        QCOMPARE(docker({"volume", "create", named}).status, 0);
        const QJsonObject report = QJsonDocument::fromJson(korvat({"--reclaim", "--all", "--json"}).toUtf8()).object();
        QCOMPARE(report.value("schema").toInt(), 1);
        QVERIFY(report.value("error").isNull());
        QStringList listed;
        for (const QJsonValue &c : report.value("categories").toArray()) {
            for (const QJsonValue &i : c.toObject().value("items").toArray())
                listed << c.toObject().value("kind").toString() + ":" + i.toObject().value("name").toString() + ":" + i.toObject().value("id").toString();
        }
        const auto has = [&](const QString &text) { return std::any_of(listed.cbegin(), listed.cend(), [&](const QString &l) { return l.contains(text); }); };
        QVERIFY2(has("stoppedContainers:" + stopped), qPrintable(listed.join('\n')));
        QVERIFY2(has("anonymousVolumes:" + anonymous.left(12) + ":" + anonymous), qPrintable(listed.join('\n')));
        QVERIFY(!has(named));
        QVERIFY(!has(engineImage()));
        // Without --all, only the categories chosen by default.
        const QString text = korvat({"--reclaim"});
        QVERIFY2(text.startsWith("reclaim would free ") && !text.contains(stopped) && text.contains("never removed:"), qPrintable(text));
    }

    // Whether a registry moved a tag, as a script reads it: a tag pushed from here is
    // current, its container named under it; the test image, built here, has nothing to
    // compare. Nothing changes.
    void updatesAsksTheRegistry()
    {
        LocalRegistry registry;
        QVERIFY2(registry.start(), qPrintable(registry.why()));
        const QString repo = registry.reference(uniqueName("kt-up-"));
        m_made.images << repo + ":1";
        QCOMPARE(docker({"tag", engineImage(), repo + ":1"}).status, 0);
        QCOMPARE(docker({"push", repo + ":1"}).status, 0);
        const QString user = uniqueName("kt-up-");
        m_made.containers << user;
        QCOMPARE(docker({"create", "--name", user, repo + ":1"}).status, 0);
        const QString pulled = docker({"image", "inspect", "-f", "{{index .RepoDigests 0}}", repo + ":1"}).out.trimmed().section('@', 1);

        const QJsonObject report = json({"--updates"});
        QCOMPARE(report.value("schema").toInt(), 1);
        QHash<QString, QJsonObject> byReference;
        for (const QJsonValue &i : report.value("images").toArray())
            byReference.insert(i.toObject().value("reference").toString(), i.toObject());
        const QJsonObject pushed = byReference.value(repo + ":1");
        QCOMPARE(pushed.value("state").toString(), "current");
        QCOMPARE(pushed.value("local").toString(), pulled);
        QCOMPARE(pushed.value("remote").toString(), pulled);
        QCOMPARE(pushed.value("containers").toArray(), QJsonArray({user}));
        const QJsonObject built = byReference.value(engineImage());
        QCOMPARE(built.value("state").toString(), "unknown");
        QCOMPARE(built.value("reason").toString(), "Built here: no digest from docker.io to compare");
        QVERIFY(built.value("remote").isNull());
        const QString text = korvat({"--updates"});
        QVERIFY2(text.contains(QRegularExpression("current +" + QRegularExpression::escape(repo + ":1") + " +Same as on .* — run by " + user + "\n")),
                 qPrintable(text));
        QCOMPARE(registry.requests().filter("GET").filter("manifests"), QStringList());
    }

    // The private engine was started by hand, so nothing says it starts at boot; its
    // containers are judged as the engine will judge them.
    void afterRebootReadsTheEngine()
    {
        const QString back = m_made.run("kt-rb-", {"--restart", "always"});
        const QJsonObject report = json({"--after-reboot"});
        QCOMPARE(report.value("schema").toInt(), 1);
        QCOMPARE(report.value("engine").toObject().value("startsAtBoot").toString(), "unknown");
        QVERIFY2(report.value("engine").toObject().value("reason").toString().startsWith("No systemd unit Korvat knows serves "), qPrintable(report.value("engine").toObject().value("reason").toString()));
        QJsonObject entry;
        for (const QJsonValue &c : report.value("containers").toArray())
            if (c.toObject().value("name").toString() == back)
                entry = c.toObject();
        QCOMPARE(entry, (QJsonObject{{"name", back}, {"policy", "always"}, {"comesBack", true}, {"reason", "Comes back: restart policy always"}}));
        const QString text = korvat({"--after-reboot"});
        QVERIFY2(text.startsWith("engine  starts at boot: unknown  No systemd unit") && text.contains(QRegularExpression("\nback +" + back + " +always +Comes back")),
                 qPrintable(text));
    }

    void planOfAnUnknownProject()
    {
        QString found;
        for (const auto &p : Docker::group(CliEngine().containers(std::nullopt)))
            found += (found.isEmpty() ? "" : ", ") + p.name;
        QVERIFY(!found.isEmpty());
        QCOMPARE(korvat({"--plan", "kt-no-such-project"}), "no project named kt-no-such-project. Found: " + found + "\n");
    }

    // Through Podman's Docker API the disk report names every image "<none>" and the client
    // cuts the first letter of each container's name: the plan takes names from the listings,
    // so named images no container uses are never "dangling", and a container keeps its name.
    void reclaimOverPodmansApi()
    {
        QTemporaryDir dir;
        const QString socket = dir.filePath("api.sock");
        QProcess podman;
        podman.setStandardOutputFile(QProcess::nullDevice());
        podman.setStandardErrorFile(QProcess::nullDevice());
        // Plain directories for its storage: nothing is left mounted for the cleanup to trip on.
        podman.start("podman", {"--root", dir.filePath("root"), "--runroot", dir.filePath("run"), "--storage-driver", "vfs", "system", "service",
                                "--time=0", "unix://" + socket});
        QVERIFY2(podman.waitForStarted(), "podman is installed by scripts/setup.sh");
        const auto stop = qScopeGuard([&] {
            podman.terminate();
            if (!podman.waitForFinished(10000))
                podman.kill();
        });
        const QString host = "unix://" + socket;
        const auto run = [&](const QString &command) {
            QProcess sh;
            sh.setProcessEnvironment(env(host));
            sh.start("sh", {"-c", command});
            return sh.waitForFinished(60000) && sh.exitCode() == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(run("docker version"), 30000);
        QVERIFY(run("tar cf - -T /dev/null | docker import - kt/unused:1 && docker tag kt/unused:1 kt/unused:2"));
        QVERIFY(run("tar cf - -T /dev/null | docker import -c 'CMD [\"/bin/sh\"]' - kt/made:1 && docker create --name kt-made kt/made:1"));

        const QJsonObject report = QJsonDocument::fromJson(korvat({"--reclaim", "--all", "--json"}, host).toUtf8()).object();
        QStringList seen;
        for (const QJsonObject &c : objects(report["categories"])) {
            for (const QJsonObject &i : objects(c["items"]))
                seen << c["kind"].toString() + ": " + i["name"].toString();
        }
        QCOMPARE(seen, (QStringList{"unusedImages: kt/unused:1, kt/unused:2", "stoppedContainers: kt-made"}));
    }

    void planFormatting()
    {
        QCOMPARE(formatPlan({"empty", {}, {}, std::nullopt}), "delete empty would:\n  nothing\n");
        QCOMPARE(formatPlan({"empty", {}, {}, "/srv/empty"}), "delete empty would:\n  offer to trash    /srv/empty\n  nothing\n");
        QCOMPARE(formatPlan({"p", {}, {{"v", {"a", "b"}, "1 GB"}}, std::nullopt}), "delete p would:\n  KEEP volume       v  — used by a, b\n");
        QCOMPARE(formatPlan({"p", {}, {{"v", {}, std::nullopt, "external"}}, std::nullopt}), "delete p would:\n  KEEP volume       v  — external\n");
    }
};

QTEST_GUILESS_MAIN(ReportsLive)
#include "tst_reports_live.moc"
