#include "backuparchive.h"
#include "cgroupusage.h"
#include "kernelusage.h"
#include "cliengine.h"
#include "containerdetails.h"
#include "fakeengine.h"
#include "dockercli.h"
#include "docker.h"
#include "sshlink.h"
#include "testsupport.h"
#include "volumesize.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using Labels_ = QMap<QString, QString>;

namespace {
Container box(const QString &name, const QString &state = QStringLiteral("running"), const Labels_ &labels = {})
{
    return {name + QStringLiteral("-id"), name, QStringLiteral("img"), state, QString(), QString(), labels};
}
Labels_ inProject(const QString &project, const QString &dir = {})
{
    Labels_ l{{QString::fromLatin1(Labels::project), project}};
    if (!dir.isEmpty())
        l.insert(QString::fromLatin1(Labels::workingDir), dir);
    return l;
}
// A ustar archive of empty entries written as "dir/", "file", "link -> target" (symbolic)
// or "link => target" (hard), in that order, the way any tar tool would store them.
QByteArray tarOf(const QStringList &entries)
{
    QByteArray archive;
    for (const QString &entry : entries) {
        QByteArray header(512, '\0');
        const auto put = [&](int at, const QByteArray &value) { header.replace(at, value.size(), value); };
        QString path = entry, target;
        char type = entry.endsWith(u'/') ? '5' : '0';
        for (const auto &[arrow, kind] : {std::pair(" -> ", '2'), std::pair(" => ", '1')}) {
            if (entry.contains(arrow))
                path = entry.section(arrow, 0, 0), target = entry.section(arrow, 1), type = kind;
        }
        put(0, path.toUtf8());
        put(100, "0000755");
        put(108, "0000000");
        put(116, "0000000");
        put(124, "00000000000");
        put(136, "00000000000");
        put(148, "        ");
        header[156] = type;
        put(157, target.toUtf8());
        put(257, QByteArray("ustar\0" "00", 8));
        unsigned sum = 0;
        for (const char c : std::as_const(header))
            sum += uchar(c);
        put(148, QByteArray::number(sum, 8).rightJustified(6, '0') + QByteArray("\0 ", 2));
        archive += header;
    }
    return archive + QByteArray(1024, '\0');
}

QStringList names(const QList<Container> &list)
{
    QStringList out;
    for (const auto &c : list)
        out << c.name;
    return out;
}
}

class EngineRules : public QObject {
    Q_OBJECT
private slots:
    void parseLabels_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Labels_>("expected");
        QTest::newRow("empty") << QString() << Labels_{};
        QTest::newRow("orphan piece before any key is dropped") << "stray,a=1" << Labels_{{"a", "1"}};
        QTest::newRow("further equals stay in the value") << "a=b=c,d=" << Labels_{{"a", "b=c"}, {"d", ""}};
        QTest::newRow("later duplicate wins") << "a=1,,a=2" << Labels_{{"a", "2"}};
    }
    void parseLabels()
    {
        QFETCH(QString, text);
        QFETCH(Labels_, expected);
        QCOMPARE(Docker::parseLabels(text), expected);
    }

    // Each published port taken apart, and the short form a row shows.
    void ports_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<PortBinding>>("expected");
        QTest::addColumn<QString>("short");
        QTest::newRow("both families, one exposed only")
            << "0.0.0.0:18080->80/tcp, [::]:18080->80/tcp, 9000/tcp"
            << QList<PortBinding>{{"0.0.0.0", 18080, 80, "tcp"}, {"::", 18080, 80, "tcp"}, {{}, 0, 9000, "tcp"}} << "18080:80";
        QTest::newRow("a range taken apart") << "127.0.0.1:8000-8001->7000-7001/udp"
                                             << QList<PortBinding>{{"127.0.0.1", 8000, 7000, "udp"}, {"127.0.0.1", 8001, 7001, "udp"}}
                                             << "8000-8001:7000-7001";
        QTest::newRow("tabs trimmed, no protocol") << "\t127.0.0.1:5432->5432\t" << QList<PortBinding>{{"127.0.0.1", 5432, 5432, "tcp"}} << "5432:5432";
        QTest::newRow("what is no port is left out") << "0.0.0.0:->80/tcp, 8080->80/tcp, x/tcp, 70000/tcp, 9-3/tcp"
                                                     << QList<PortBinding>{} << "";
        QTest::newRow("empty") << "" << QList<PortBinding>{} << "";
    }
    void ports()
    {
        QFETCH(QString, text);
        QTEST(Docker::parsePorts(text), "expected");
        QTEST(Docker::shortPorts(text), "short");
    }

    // Output recorded from a real engine, replayed by the FakeEngine as tests and pictures see it.
    void listsFromRealOutput()
    {
        const auto engine = FakeEngine::replaying(KORVAT_FIXTURES);
        QCOMPARE(engine->runtimes().list.size(), 2);
        const auto containers = engine->containers({});
        QCOMPARE(names(containers), QStringList({"exited-bad", "made-only", "loose-one", "cp1-web-1"}));
        const Container &web = containers.last();
        QCOMPARE(web.project(), std::optional<QString>("cp1"));
        QCOMPARE(web.workingDir(), std::optional<QString>("/srv/cp1"));
        QCOMPARE(web.labels.value(Labels::service), "web");
        QCOMPARE(web.state, "running");
        QCOMPARE(Docker::shortPorts(web.ports), "18080:80");
        QVERIFY(containers.first().hasFailed());
        QCOMPARE(containers.at(1).state, "created");

        const auto images = engine->images({});
        QCOMPARE(images.size(), 1);
        QCOMPARE(images.first().repository + ":" + images.first().tag, "korvat-test/busybox:1");
        QVERIFY(!images.first().id.isEmpty() && images.first().size.endsWith("MB"));
        QCOMPARE(images.first().created, QDateTime(QDate(2026, 11, 23), QTime(13, 33, 30), Qt::UTC));
        QVERIFY(containers.first().created.isValid());
        QCOMPARE(Docker::parseCreated("2026-11-23 14:33:30 +0100 CET"), images.first().created);
        QVERIFY(!Docker::parseCreated("yesterday").isValid());

        const auto volumes = engine->volumes({});
        QCOMPARE(volumes.size(), 1);
        QCOMPARE(volumes.first().name, "cp1_data");
        QCOMPARE(volumes.first().driver, "local");
        QVERIFY(volumes.first().mountpoint.endsWith("/volumes/cp1_data/_data"));
        QCOMPARE(Docker::mountedVolumes(containers, volumes), QSet<QString>{"cp1_data"});

        // Names past 15 characters come cut; one counts only where the cut names one volume.
        const auto c = [](QStringList mounts) { return Container{"i", "n", "img", "running", {}, {}, {}, {}, mounts}; };
        const QList<DockerVolume> many{{"shop_data"}, {"website_assets_v1"}, {"website_assets_v2"}, {"reporting_cache_2026"}};
        QCOMPARE(Docker::mountedVolumes({c({"shop_data", "/srv/web/confi…"}), c({"reporting_cach…"}), c({"website_assets…"})}, many),
                 (QSet<QString>{"shop_data", "reporting_cache_2026"}));
    }

    void anonymousVolumes_data()
    {
        // A line of `docker volume ls --format json`, by its name and labels.
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("labels");
        QTest::addColumn<bool>("anonymous");
        const QString hex = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
        QTest::newRow("named by an engine that sets no label") << hex << "" << true;
        QTest::newRow("the engine's label, whatever the name") << "scratch" << "com.docker.volume.anonymous=,owner=ci" << true;
        QTest::newRow("a name") << "shop_data" << "com.docker.compose.project=shop" << false;
        QTest::newRow("upper-case digits are a name") << hex.toUpper() << "" << false;
        QTest::newRow("one digit short is a name") << hex.chopped(1) << "" << false;
    }
    void anonymousVolumes()
    {
        QFETCH(QString, name);
        QFETCH(QString, labels);
        const QJsonObject listed{{"Name", name}, {"Driver", "local"}, {"Labels", labels}};
        const QList<DockerVolume> volumes = Docker::parseVolumes(QString::fromUtf8(QJsonDocument(listed).toJson(QJsonDocument::Compact)));
        QCOMPARE(volumes.size(), 1);
        QTEST(volumes.first().isAnonymous(), "anonymous");
    }

    void malformedLines()
    {
        const QString text = "not json\n[1,2]\n{}\n\n{\"ID\":\"x\",\"Names\":7,\"State\":\"running\"}\n{\"ID\":";
        const auto list = Docker::parseContainers(text);
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.at(0), Container{});
        QCOMPARE(list.at(1).id, "x");
        QCOMPARE(list.at(1).name, QString());   // not a string
        QVERIFY(list.at(1).labels.isEmpty());
        QVERIFY(Docker::parseImages(QString()).isEmpty());
    }

    void grouping()
    {
        const QList<Container> input{
            box("web-2", "running", inProject("b", "/b")),
            box("storefront-php-1", "running", inProject("storefront", "/srv/storefront")),
            box("loose"),
            box("web-1", "exited", inProject("b", "/other")),
            box("storefront-db-1", "exited", inProject("storefront")),
            box("Zed"),
            box("nameless", "running", inProject("")),
        };
        const auto projects = Docker::group(input);
        QStringList projectNames;
        for (const auto &p : projects)
            projectNames << p.name;
        QCOMPARE(projectNames, QStringList({"", "b", "storefront"}));
        QCOMPARE(names(projects[1].containers), QStringList({"web-1", "web-2"}));
        QCOMPARE(projects[1].workingDir, std::optional<QString>("/b"));   // first in input order wins
        QCOMPARE(projects[1].runningCount(), 1);
        QCOMPARE(projects[2].runningCount(), 1);
        QCOMPARE(projects[2].serviceCount, 0);
        QCOMPARE(projects[0].workingDir, std::nullopt);
        QCOMPARE(names(Docker::ungrouped(input)), QStringList({"Zed", "loose"}));
        QVERIFY(Docker::group({}).isEmpty());
        QVERIFY(Docker::ungrouped({}).isEmpty());

        const auto hyphen = Docker::group({box("x-1", "running", {{Labels::project, "x"}, {Labels::workingDirHyphen, "/x"}})});
        QCOMPARE(hyphen.first().workingDir, std::optional<QString>("/x"));

        // The files it was started with, from the first container that tells.
        const auto started = Docker::group({box("s-1", "running", {{Labels::project, "s"}}),
                                            box("s-2", "running", {{Labels::project, "s"}, {Labels::configFiles, "/p/compose.yaml,/p/compose.prod.yml"}}),
                                            box("s-3", "running", {{Labels::project, "s"}, {Labels::configFiles, "/q/compose.yaml"}})});
        QCOMPARE(started.first().configFiles, QStringList({"/p/compose.yaml", "/p/compose.prod.yml"}));
    }

    void sortingIsStableCodePointOrder()
    {
        // Equal names keep input order; upper case sorts first; an astral character sorts
        // after U+FFFD even though its UTF-16 surrogates are smaller.
        QList<Container> input{box("b"), box("\xef\xbf\xbd"), box(QString::fromUcs4(U"\U0001F600")), box("B"), box("a")};
        input.append(box("a"));
        input.last().id = "second";
        const auto sorted = Docker::ungrouped(input);
        QCOMPARE(names(sorted), QStringList({"B", "a", "a", "b", "\xef\xbf\xbd", QString::fromUcs4(U"\U0001F600")}));
        QCOMPARE(sorted.at(2).id, "second");
    }

    void composeMessages_data()
    {
        QTest::addColumn<QString>("stderrText");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QString>("summary");
        const QString warn = "time=\"2026-01-01T00:00:00Z\" level=warning msg=\"The \\\"%1\\\" variable is not set. Defaulting to a blank string.\"\n";
        QTest::newRow("one variable")
            << warn.arg("ONLY") << QStringList{"The \"ONLY\" variable is not set. Defaulting to a blank string."}
            << "ONLY has no value; compose substituted an empty string. Check the .env beside the compose file.";
        QTest::newRow("two variables")
            << warn.arg("DB_ROOT_PASSWORD") + warn.arg("DB_PASSWORD")
            << QStringList{"The \"DB_ROOT_PASSWORD\" variable is not set. Defaulting to a blank string.",
                           "The \"DB_PASSWORD\" variable is not set. Defaulting to a blank string."}
            << "2 variables have no value: DB_ROOT_PASSWORD, DB_PASSWORD. compose substituted empty strings. Check the .env beside the compose file.";
        QTest::newRow("repeats are kept")
            << warn.arg("A") + warn.arg("A")
            << QStringList{"The \"A\" variable is not set. Defaulting to a blank string.",
                           "The \"A\" variable is not set. Defaulting to a blank string."}
            << "2 variables have no value: A, A. compose substituted empty strings. Check the .env beside the compose file.";
        QTest::newRow("variable line then others")
            << "  plain error line\t\n" + warn.arg("X") + "level=warning msg=\"back\\\\slash\"\n"
            << QStringList{"plain error line", "The \"X\" variable is not set. Defaulting to a blank string.", "back\\slash"}
            << "X has no value; compose substituted an empty string. Check the .env beside the compose file.\nplain error line\nback\\slash";
        QTest::newRow("msg without closing quote is kept whole")
            << "level=warning msg=\"unterminated" << QStringList{"level=warning msg=\"unterminated"}
            << "level=warning msg=\"unterminated";
        QTest::newRow("unquoted variable name is an ordinary message")
            << "msg=\"a variable is not set\"" << QStringList{"a variable is not set"} << "a variable is not set";
        QTest::newRow("real compose output") << fixture("compose-warning.txt").section('\n', 0, 0)
            << QStringList{"The \"DB_PASSWORD\" variable is not set. Defaulting to a blank string."}
            << "DB_PASSWORD has no value; compose substituted an empty string. Check the .env beside the compose file.";
        QTest::newRow("nothing") << " \n\t\n" << QStringList{} << QString();
    }
    void composeMessages()
    {
        QFETCH(QString, stderrText);
        QFETCH(QString, summary);
        QTEST(Docker::composeMessages(stderrText), "messages");
        QCOMPARE(Docker::composeWarningSummary(stderrText),
                 summary.isNull() ? std::nullopt : std::optional<QString>(summary));
    }

    void composeConfig()
    {
        const auto project = Docker::parseComposeConfig(fixture("compose-config.json"), "/srv/cp1");
        QCOMPARE(project, (ResolvedProject{"cp1", {"web"}, {"cp1_data"}, {}, {{"web", "korvat-test/busybox:1", false, {}}}}));
        // Every profile's services, with an extended one, an override file's, build-only and
        // build-and-image ones, and one pinned by digest, as compose 2.26 printed them.
        const auto every = Docker::parseComposeConfig(fixture("compose-services.json"), "/srv/shop");
        const QList<ServiceDefinition> defined{
            {"both", "shop/both:dev", true, {}},
            {"builder", "", true, {}},
            {"dbg", "127.0.0.1:5000/tools/debug:1", false, {"debug", "tools"}},
            {"extra", "redis:7", false, {}},
            {"pinned", "alpine@sha256:0a4eaa0eecf5f8c050e5bba433f58c052be7587ee8af3e8b3910ef9ab5fbe9f5", false, {}},
            {"web", "korvat-test/busybox:1", false, {}},
        };
        QCOMPARE(every.definitions, defined);
        QVERIFY(!every.definitions[2].activeWith({}) && every.definitions[2].activeWith({"tools"}) && every.definitions[2].activeWith({"*"}));
        const auto keyed = Docker::parseComposeConfig(
            R"({"name":"p","services":{"z":{},"B":{},"a":{}},"volumes":{"k":{},"n":{"name":"p_n"}}})", "/d");
        QCOMPARE(keyed.services, QStringList({"B", "a", "z"}));
        QCOMPARE(keyed.volumes, QStringList({"k", "p_n"}));
        for (const QString bad : {"[]", "{}", R"({"name":""})", "not json"}) {
            try {
                Docker::parseComposeConfig(bad, "/d");
                QFAIL("accepted a config without a name");
            } catch (const DockerError &e) {
                QCOMPARE(e.message(), "Could not read a compose project from /d");
            }
        }
    }

    // A .env as compose reads it, COMPOSE_PROFILES from either place, and where each
    // variable's value comes from.
    void composeVariables()
    {
        const auto dotEnv = Docker::parseDotEnv("# a comment\n\nexport DB=\"shop db\"\nEMPTY=\nPORT=8080 # the web port\nQUOTED='a # b'\n"
                                                "=novalue\nnot a pair\nCOMPOSE_PROFILES=debug, tools,debug\n");
        QCOMPARE(dotEnv, (QMap<QString, QString>{{"DB", "shop db"}, {"EMPTY", ""}, {"PORT", "8080"}, {"QUOTED", "a # b"}, {"COMPOSE_PROFILES", "debug, tools,debug"}}));
        QCOMPARE(Docker::activeProfiles(std::nullopt, dotEnv), QStringList({"debug", "tools"}));
        QCOMPARE(Docker::activeProfiles(QString(), dotEnv), QStringList());   // set empty in the environment: none
        QCOMPARE(Docker::activeProfiles("web", dotEnv), QStringList({"web"}));

        using S = ComposeVariable::Source;
        const QString file = "image: shop:${TAG:-dev}\nports: [\"$PORT:80\"]\nuser: ${DB}\nkey: ${KEY:?set KEY}\n"
                             "price: $$5 and $${NOT}\nhost: ${HOST-localhost}\nlevel: ${EMPTY:-info}\nagain: ${DB}\nalt: ${ALT:+on}\n";
        const QList<ComposeVariable> expected{
            {"TAG", "dev", S::Default, false},
            {"PORT", "9090", S::Environment, false},   // the environment wins over .env
            {"DB", "shop db", S::DotEnv, false},
            {"KEY", "", S::Missing, true},
            {"HOST", "localhost", S::Default, false},
            {"EMPTY", "info", S::Default, false},      // ":-" takes an empty value for none
            {"ALT", "", S::Missing, false},
        };
        QCOMPARE(Docker::composeVariables(file, {{"PORT", "9090"}}, dotEnv), expected);
    }

    void composeFileLookup()
    {
        QTemporaryDir dir;
        QCOMPARE(Docker::composeFile(dir.path()), std::nullopt);
        writeFile(dir.filePath("docker-compose.yml"), "services: {}\n");
        QCOMPARE(Docker::composeFile(dir.path()), std::optional<QString>("docker-compose.yml"));
        writeFile(dir.filePath("compose.yaml"), "services: {}\n");
        QCOMPARE(Docker::composeFile(dir.path()), std::optional<QString>("compose.yaml"));
        QCOMPARE(CliEngine().checkCompose(QStringLiteral("/nope/missing")),
                 ComposeCheck::makeInvalid("No compose file in /nope/missing — looked for compose.yaml, compose.yml, docker-compose.yaml, docker-compose.yml."));
    }

    void reachability_data()
    {
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<bool>("reachable");
        // Whether the paths its engine reports, such as a volume's, are on this machine's disk.
        QTest::addColumn<bool>("here");
        QTest::newRow("existing socket") << "unix://@SOCK" << true << true;
        QTest::newRow("missing path") << "unix:///nope/docker.sock" << false << false;
        QTest::newRow("dangling link") << "unix://@DANGLING" << false << false;
        QTest::newRow("bare scheme") << "unix://" << false << false;
        QTest::newRow("ssh") << "ssh://me@build-host" << true << false;
        QTest::newRow("tcp") << "tcp://10.0.0.2:2375" << true << false;
        QTest::newRow("empty") << "" << true << false;
    }
    void reachability()
    {
        QFETCH(QString, endpoint);
        QTemporaryDir dir;
        writeFile(dir.filePath("d.sock"), "");
        QFile::link(dir.filePath("gone"), dir.filePath("dangling"));
        endpoint.replace("@SOCK", dir.filePath("d.sock")).replace("@DANGLING", dir.filePath("dangling"));
        QTEST(Docker::endpointReachable(endpoint), "reachable");
        QTEST(VolumeSize::onThisMachine(endpoint), "here");
    }

    void runtimeList()
    {
        QTemporaryDir dir;
        const QString sock = dir.filePath("apple.sock");
        auto launch = Docker::launch();
        launch.appleSocketPath = sock;
        launch.rootlessSocketPath = dir.filePath("run/docker.sock");
        launch.podmanSocketPaths = {dir.filePath("run/podman/podman.sock"), dir.filePath("system/podman.sock")};
        Docker::setLaunch(launch);
        const QString contexts = QStringLiteral(
            "{\"Current\":true,\"DockerEndpoint\":\"unix:///nope/docker.sock\",\"Name\":\"default\"}\n"
            "{\"Current\":false,\"DockerEndpoint\":\"tcp://10.0.0.2:2375\",\"Name\":\"remote\"}\n"
            "{\"DockerEndpoint\":\"ssh://me@host\"}\n");

        auto listed = Docker::parseRuntimes(contexts);
        QCOMPARE(listed.list.size(), 3);   // no socket file, no apple row
        QVERIFY(!listed.list[0].reachable);
        QCOMPARE(listed.list[2].runtime, Runtime::context(""));
        QCOMPARE(listed.current, Runtime::context("remote"));   // current is unreachable

        writeFile(sock, "");
        listed = Docker::parseRuntimes(contexts);
        QCOMPARE(listed.list.size(), 4);
        QCOMPARE(listed.list.last(), (RuntimeEntry{Runtime::socket("apple-container", sock), "unix://" + sock, true}));

        // A context that already points at the socket suppresses the extra row.
        listed = Docker::parseRuntimes(contexts + "{\"Name\":\"apple\",\"DockerEndpoint\":\"unix://" + sock + "\"}\n");
        QCOMPARE(listed.list.size(), 4);
        QCOMPARE(listed.list.last().runtime, Runtime::context("apple"));

        // The Linux engines' sockets follow, each once: rootless Docker, then the first Podman.
        writeFile(dir.filePath("run/docker.sock"), "");
        writeFile(dir.filePath("system/podman.sock"), "");
        listed = Docker::parseRuntimes(contexts);
        QCOMPARE(listed.list.size(), 6);
        QCOMPARE(listed.list[4], (RuntimeEntry{Runtime::socket("docker-rootless", dir.filePath("run/docker.sock")), "unix://" + dir.filePath("run/docker.sock"), true}));
        QCOMPARE(listed.list[5].runtime, Runtime::socket("podman", dir.filePath("system/podman.sock")));
        writeFile(dir.filePath("run/podman/podman.sock"), "");
        listed = Docker::parseRuntimes(contexts + "{\"Name\":\"rootless\",\"DockerEndpoint\":\"unix://" + dir.filePath("run/docker.sock") + "\"}\n");
        QCOMPARE(listed.list.size(), 6);   // a context points at the rootless socket already
        QCOMPARE(listed.list.last().runtime, Runtime::socket("podman", dir.filePath("run/podman/podman.sock")));
        Docker::setLaunch({});
    }

    void commandLines()
    {
        QCOMPARE(Docker::commandLine({"ps"}, Runtime::context("default")), QStringList({"docker", "--context", "default", "ps"}));
        QCOMPARE(Docker::commandLine({"ps"}, Runtime::socket("apple-container", "/s.sock")), QStringList({"docker", "ps"}));
        QCOMPARE(Docker::commandLine({"ps"}), QStringList({"docker", "ps"}));
        QCOMPARE(Docker::runtimeNamed("apple-container"),
                 Runtime::socket("apple-container", "/opt/homebrew/var/run/socktainer/.socktainer/container.sock"));
        QCOMPARE(Docker::runtimeNamed("--shot"), Runtime::context("--shot"));
    }

    // A project is told to compose as it was started: its recorded name, and its recorded
    // files while every one of them is still there. "@" is a folder holding compose.yaml and
    // compose.prod.yml.
    void composeCommandLines_data()
    {
        using Kind = EngineAction::Kind;
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("services");
        QTest::addColumn<QString>("expected");
        QTest::newRow("started with -p, no file recorded") << int(Kind::ComposeStop) << "shop" << QStringList{} << QStringList{"web"}
                                                           << "compose -p shop stop web";
        QTest::newRow("started with -f") << int(Kind::ComposeRecreate) << "p" << QStringList{"@/compose.prod.yml"} << QStringList{"web"}
                                         << "compose -p p -f @/compose.prod.yml --progress plain up -d --no-deps web";
        QTest::newRow("two files, in their order") << int(Kind::ComposePull) << "shop" << QStringList{"@/compose.yaml", "@/compose.prod.yml"} << QStringList{}
                                                   << "compose -p shop -f @/compose.yaml -f @/compose.prod.yml --progress plain pull --ignore-pull-failures --ignore-buildable";
        QTest::newRow("a recorded file gone: none of them") << int(Kind::ComposeRestart) << "shop" << QStringList{"@/compose.yaml", "@/gone.yml"}
                                                            << QStringList{} << "compose -p shop restart";
        QTest::newRow("down takes the whole project") << int(Kind::ComposeDown) << "shop" << QStringList{"@/compose.yaml"} << QStringList{"web"}
                                                      << "compose -p shop -f @/compose.yaml down";
        QTest::newRow("a directory never started") << int(Kind::ComposeUp) << "" << QStringList{} << QStringList{} << "compose --progress plain up -d";
    }
    void composeCommandLines()
    {
        QFETCH(int, kind);
        QFETCH(QString, name);
        QFETCH(QStringList, files);
        QFETCH(QStringList, services);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        writeFile(dir.filePath("compose.yaml"), "services: {}\n");
        writeFile(dir.filePath("compose.prod.yml"), "services: {}\n");
        files.replaceInStrings("@", dir.path());
        ComposeProject project{name, dir.path(), {}, 0, files};
        const EngineAction action = name.isEmpty() ? EngineAction::compose(EngineAction::Kind(kind), dir.path(), services)
                                                   : EngineAction::compose(EngineAction::Kind(kind), project, services);
        QCOMPARE(action.dir, std::optional(dir.path()));
        QCOMPARE(CliEngine::arguments(action).join(' ').replace(dir.path(), "@"), expected);
    }

    void readingAnEvent_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("lists");
        QTest::addColumn<std::optional<ContainerChange>>("change");
        using Kind = ContainerChange::Kind;
        const int c = int(Listing::Containers), i = int(Listing::Images), v = int(Listing::Volumes), n = int(Listing::Networks),
                  all = int(everyListing.toInt());
        const std::optional<ContainerChange> none;
        QTest::newRow("container dies")
            << QByteArray(R"({"Type":"container","Action":"die","Actor":{"ID":"abc123","Attributes":{"exitCode":"137","name":"shop-web-1","com.docker.compose.project":"shop"}}})")
            << c << std::optional(ContainerChange{"abc123", Kind::Died, 137, "shop-web-1", "shop"});
        QTest::newRow("killed, as every stop begins") << QByteArray(R"({"Type":"container","Action":"kill","Actor":{"ID":"abc","Attributes":{"signal":"15"}}})")
                                                      << c << std::optional(ContainerChange{"abc", Kind::Killed, 0, {}, {}, 15});
        QTest::newRow("stopped, after its death") << QByteArray(R"({"Type":"container","Action":"stop","Actor":{"ID":"abc"}})") << c
                                                  << std::optional(ContainerChange{"abc", Kind::Stopped, 0});
        QTest::newRow("out of memory") << QByteArray(R"({"Type":"container","Action":"oom","Actor":{"ID":"abc"}})") << c
                                       << std::optional(ContainerChange{"abc", Kind::OutOfMemory, 0});
        QTest::newRow("health turns bad") << QByteArray(R"({"Type":"container","Action":"health_status: unhealthy","Actor":{"ID":"abc"}})") << c
                                          << std::optional(ContainerChange{"abc", Kind::Unhealthy, 0});
        QTest::newRow("health turns good") << QByteArray(R"({"Type":"container","Action":"health_status: healthy","Actor":{"ID":"abc"}})") << c
                                           << std::optional(ContainerChange{"abc", Kind::Healthy, 0});
        QTest::newRow("older format: id at the top") << QByteArray(R"({"Type":"container","Action":"start","id":"abc123"})") << c
                                                     << std::optional(ContainerChange{"abc123", Kind::Started, 0});
        QTest::newRow("paused") << QByteArray(R"({"Type":"container","Action":"pause","Actor":{"ID":"abc"}})") << c
                                << std::optional(ContainerChange{"abc", Kind::Paused, 0});
        QTest::newRow("removed") << QByteArray(R"({"Type":"container","Action":"destroy","Actor":{"ID":"abc"}})") << c
                                 << std::optional(ContainerChange{"abc", Kind::Destroyed, 0});
        QTest::newRow("its restart policy updated") << QByteArray(R"({"Type":"container","Action":"update","Actor":{"ID":"abc"}})") << c
                                                    << std::optional(ContainerChange{"abc", Kind::Updated, 0});
        QTest::newRow("created: only a listing knows the row") << QByteArray(R"({"Type":"container","Action":"create","Actor":{"ID":"abc"}})") << c << none;
        QTest::newRow("dies without an id") << QByteArray(R"({"Type":"container","Action":"die"})") << c << none;
        QTest::newRow("command inside") << QByteArray(R"({"Type":"container","Action":"exec_start: sh -c true","Actor":{"ID":"abc"}})") << 0 << none;
        QTest::newRow("image pulled") << QByteArray(R"({"Type":"image","Action":"pull"})") << i << none;
        QTest::newRow("image pushed") << QByteArray(R"({"Type":"image","Action":"push"})") << 0 << none;
        QTest::newRow("volume created") << QByteArray(R"({"Type":"volume","Action":"create"})") << v << none;
        QTest::newRow("volume mounted") << QByteArray(R"({"Type":"volume","Action":"mount"})") << 0 << none;
        QTest::newRow("a container joins a network") << QByteArray(R"({"Type":"network","Action":"connect"})") << n << none;
        QTest::newRow("older format, no Type") << QByteArray(R"({"status":"create"})") << all << none;
        QTest::newRow("not an object") << QByteArray("garbage") << all << none;
        QTest::newRow("blank") << QByteArray("  ") << 0 << none;
    }
    void readingAnEvent()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, lists);
        QFETCH(std::optional<ContainerChange>, change);
        QCOMPARE(Docker::readEvent(line), (EngineEvent{Listings::fromInt(lists), change}));
    }

    // The engine's rule as a real restart showed it (the live suite holds each against one),
    // read from the line container inspect prints for restartFormat().
    void comingBack_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("podman");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("reason");
        // One line as container inspect prints it for restartFormat().
        const auto line = [](const char *name, int max, const char *status, int exit, int count = 0) {
            return QJsonObject{{"Id", "abc"}, {"Name", "/web"}, {"Policy", QJsonObject{{"Name", name}, {"MaximumRetryCount", max}}},
                               {"AutoRemove", false}, {"RestartCount", count}, {"Status", status}, {"ExitCode", exit},
                               {"StartedAt", "2026-11-26T05:00:00Z"}, {"Unit", ""}};
        };
        const auto with = [](QJsonObject o, const char *key, const QJsonValue &value) {
            o.insert(key, value);
            return QJsonDocument(o).toJson(QJsonDocument::Compact);
        };
        const auto text = [](const QJsonObject &o) { return QJsonDocument(o).toJson(QJsonDocument::Compact); };
        const auto policy = [&](const char *name, const char *status, int exit, int max = 0, int count = 0) { return text(line(name, max, status, exit, count)); };
        const int yes = int(Comeback::Kind::Yes), no = int(Comeback::Kind::No), perhaps = int(Comeback::Kind::Perhaps);
        QTest::newRow("running, no") << policy("no", "running", 0) << false << no << "Stops for good at the next restart: restart policy no";
        QTest::newRow("no policy at all") << policy("", "running", 0) << false << no << "Stops for good at the next restart: restart policy no";
        QTest::newRow("running, always") << policy("always", "running", 0) << false << yes << "Comes back: restart policy always";
        QTest::newRow("paused, unless-stopped") << policy("unless-stopped", "paused", 0) << false << yes << "Comes back: restart policy unless-stopped";
        QTest::newRow("stopped, always") << policy("always", "exited", 137) << false << yes
                                         << "Starts again at the next restart, though stopped now: restart policy always";
        QTest::newRow("stopped, unless-stopped") << policy("unless-stopped", "exited", 137) << false << no
                                                 << "Stays stopped: it was stopped, and restart policy unless-stopped keeps it so";
        QTest::newRow("running, on-failure") << policy("on-failure", "running", 0, 3) << false << perhaps
                                             << "Comes back only if it ends with an error as the engine stops it: restart policy on-failure:3";
        QTest::newRow("killed, on-failure") << policy("on-failure", "exited", 137) << false << yes
                                            << "Starts again at the next restart, though stopped now: restart policy on-failure, and it exited with 137";
        QTest::newRow("exited cleanly, on-failure") << policy("on-failure", "exited", 0) << false << no
                                                    << "Stays stopped: it exited with 0, and restart policy on-failure restarts only failures";
        QTest::newRow("retries used up") << policy("on-failure", "exited", 1, 2, 2) << false << no
                                         << "Stays stopped: restart policy on-failure:2 has used its 2 restarts";
        QTest::newRow("never started") << with(line("always", 0, "created", 0), "StartedAt", "0001-01-01T00:00:00Z") << false << no
                                       << "Stays created: the engine starts again only what has run";
        QTest::newRow("run with --rm") << with(line("no", 0, "running", 0), "AutoRemove", true) << false << no
                                       << "Removed at the next restart: it was run with --rm";
        QTest::newRow("Podman, always") << policy("always", "running", 0) << true << perhaps
                                        << "Comes back only if podman-restart.service is enabled: Podman does not bring containers back itself";
        QTest::newRow("Podman, a systemd unit's") << with(line("no", 0, "running", 0), "Unit", "web.service") << true << perhaps
                                                  << "Comes back if its systemd unit web.service is enabled: Podman does not bring containers back itself";
        QTest::newRow("Podman, unless-stopped") << policy("unless-stopped", "running", 0) << true << no
                                                << "Stops for good at the next restart: Podman brings back only containers with restart policy always, "
                                                   "through podman-restart.service";
    }
    void comingBack()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, podman);
        const QList<RestartFacts> read = Docker::parseRestartFacts("not json\n" + line + "\n");
        QCOMPARE(read.size(), 1);
        QCOMPARE(read.first().name, "web");
        const Comeback said = AfterRestart::predict(read.first(), podman);
        QTEST(said.reason, "reason");
        QTEST(int(said.kind), "kind");
    }

    // Lines as `docker stats --format json` (28.2) draws them, redraw sequences and all.
    void readingUsage_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<std::optional<Usage>>("usage");
        const qint64 KiB = 1024, GiB = KiB * KiB * KiB;
        QTest::newRow("first of a redraw")
            << QByteArray("\x1b[H{\"BlockIO\":\"0B / 0B\",\"CPUPerc\":\"99.72%\",\"Container\":\"7dae1ef82352\",\"ID\":\"7dae1ef82352\","
                          "\"MemPerc\":\"0.00%\",\"MemUsage\":\"548KiB / 23.54GiB\",\"Name\":\"st1\",\"NetIO\":\"486B / 0B\",\"PIDs\":\"1\"}")
            << std::optional(Usage{"7dae1ef82352", 99.72, 548 * KiB, qint64(23.54 * GiB)});
        QTest::newRow("named as asked, full id beside")
            << QByteArray("{\"CPUPerc\":\"0.00%\",\"Container\":\"st2\",\"ID\":\"62df37ea9b65166a5ecf\",\"MemUsage\":\"1.5MB / 2GB\"} \x1b[K")
            << std::optional(Usage{"st2", 0.0, 1'500'000, 2'000'000'000});
        QTest::newRow("stopping: nothing read")
            << QByteArray("{\"BlockIO\":\"--\",\"CPUPerc\":\"--\",\"Container\":\"st3\",\"MemUsage\":\"-- / --\"} \x1b[K")
            << std::optional(Usage{"st3", {}, {}, {}});
        QTest::newRow("erasing the rest of the screen") << QByteArray(" \x1b[K\x1b[J") << std::optional<Usage>();
        QTest::newRow("not json") << QByteArray("Error response from daemon: No such container: nosuch") << std::optional<Usage>();
        QTest::newRow("as the kernel's counters are written") << KernelUsageStream::line("kt", 49.5, 8'400'000, std::nullopt)
                                                               << std::optional(Usage{"kt", 49.5, 8'400'000, {}});
    }
    void readingUsage()
    {
        QFETCH(QByteArray, line);
        QTEST(Docker::readUsage(line), "usage");
    }

    // Where a container's counters are, from its process's /proc/<pid>/cgroup, and what
    // they read: one mount per controller, one tree for all, or both at once.
    void controlGroups_data()
    {
        QTest::addColumn<QByteArray>("proc");
        QTest::addColumn<QString>("paths");
        QTest::newRow("a mount per controller (this machine's)")
            << QByteArray("9:name=systemd:/docker/c1\n4:memory:/docker/c1\n2:cpuacct:/docker/c1\n1:cpu:/docker/c1\n0::/\n")
            << "/r/cpuacct/docker/c1 /r/memory/docker/c1 v1";
        QTest::newRow("cpu and cpuacct mounted together")
            << QByteArray("3:cpu,cpuacct:/docker/c2\n5:memory:/docker/c2\n") << "/r/cpu,cpuacct/docker/c2 /r/memory/docker/c2 v1";
        QTest::newRow("one tree") << QByteArray("0::/system.slice/docker-c3.scope\n")
                                  << "/r/system.slice/docker-c3.scope /r/system.slice/docker-c3.scope v2";
        QTest::newRow("a group that climbs out") << QByteArray("0::/../../etc\n") << "";
        QTest::newRow("memory not accounted, no tree") << QByteArray("2:cpuacct:/docker/c4\n") << "";
    }
    void controlGroups()
    {
        QFETCH(QByteArray, proc);
        const auto paths = Cgroup::paths(proc, "/r");
        QTEST(paths ? paths->cpu + ' ' + paths->memory + (paths->unified ? " v2" : " v1") : QString(), "paths");
    }
    void controlGroupCounters_data()
    {
        QTest::addColumn<bool>("unified");
        QTest::addColumn<QByteArrayList>("files");
        QTest::addColumn<std::optional<Cgroup::Counters>>("counters");
        QTest::newRow("v1: the file cache it can drop is left out")
            << false << QByteArrayList{"5000000000\n", "10485760\n", "cache 4096\ntotal_inactive_file 2097152\n", "67108864\n"}
            << std::optional(Cgroup::Counters{5'000'000'000, 8'388'608, 67'108'864});
        QTest::newRow("v1 without a limit of its own")
            << false << QByteArrayList{"7\n", "4096\n", "", "9223372036854771712\n"} << std::optional(Cgroup::Counters{7, 4096, {}});
        QTest::newRow("v2: microseconds, and no limit is max")
            << true << QByteArrayList{"usage_usec 2500\nuser_usec 2000\n", "1048576\n", "anon 1\ninactive_file 4096\n", "max\n"}
            << std::optional(Cgroup::Counters{2'500'000, 1'044'480, {}});
        QTest::newRow("unreadable") << true << QByteArrayList{"", "x", "", ""} << std::optional<Cgroup::Counters>();
    }
    void controlGroupCounters()
    {
        QFETCH(bool, unified);
        QFETCH(QByteArrayList, files);
        QTEST(Cgroup::parse(unified, files[0], files[1], files[2], files[3]), "counters");
        QCOMPARE(Cgroup::cpuPercent({1'000'000'000, 0, {}}, {1'500'000'000, 0, {}}, 1'000'000'000), 50.0);
    }
    void byteSizes()
    {
        QCOMPARE(Docker::parseByteSize(u"0B"), 0);
        QCOMPARE(Docker::parseByteSize(u"4.5MB"), 4'500'000);
        QCOMPARE(Docker::parseByteSize(u" 12.5MiB "), 12.5 * 1024 * 1024);
        QCOMPARE(Docker::parseByteSize(u"512kB"), 512'000);
        QCOMPARE(Docker::parseByteSize(u"12 parsecs"), std::nullopt);
        QCOMPARE(Docker::parseByteSize(u"-3B"), std::nullopt);
    }

    // Pulls as the 28.2 client printed them from a local registry (scripts/record-progress.sh):
    // on a pipe, on a terminal (fed in small pieces, so redraw sequences arrive cut), and
    // through compose 2.26.
    void pullProgress_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("toFetch");
        QTest::addColumn<int>("done");
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("status");
        const qint64 layer = 3'147'000;
        QTest::newRow("fresh layers, on a pipe") << "pull-fresh.txt" << 4 << 4 << qint64(0) << "Downloaded newer image for 127.0.0.1:5055/layers:1";
        QTest::newRow("layers already present") << "pull-partial.txt" << 2 << 2 << qint64(0) << "Downloaded newer image for 127.0.0.1:5055/layers:2";
        QTest::newRow("on a terminal, with bytes") << "pull-terminal.txt" << 4 << 4 << 4 * layer << "Downloaded newer image for 127.0.0.1:5055/layers:1";
        QTest::newRow("image up to date") << "pull-present.txt" << 0 << 0 << qint64(0) << "Image is up to date for 127.0.0.1:5055/layers:1";
        QTest::newRow("missing tag") << "pull-missing.txt" << 0 << 0 << qint64(0) << "";
        // A blob the registry serves corrupted: the pull ends at its checksum, nothing extracted.
        QTest::newRow("failing layer") << "pull-failing-layer.txt" << 2 << 0 << 2 * layer << "";
        QTest::newRow("inside compose up") << "up.txt" << 4 << 4 << 4 * layer << "";
    }
    void pullProgress()
    {
        QFETCH(QString, file);
        QFile f(QStringLiteral(KORVAT_FIXTURES "/progress/") + file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray output = f.readAll();
        Docker::DrawnLines drawn;
        PullProgress progress;
        QStringList lines;
        for (qsizetype at = 0; at < output.size(); at += 7)
            lines << drawn.feed(QByteArrayView(output).sliced(at, std::min<qsizetype>(7, output.size() - at)));
        lines << drawn.finish();
        for (const QString &line : lines) {
            const PullProgress before = progress;
            Docker::readPull(progress, line);
            QVERIFY2(progress.done() >= before.done() && progress.fraction() >= before.fraction(), qPrintable(line));
            // A total said to be whole stays what it was.
            if (before.totalKnown() && before.bytesTotal() > 0)
                QCOMPARE(progress.bytesTotal(), before.bytesTotal());
        }
        QTEST(progress.toFetch(), "toFetch");
        QTEST(progress.done(), "done");
        QTEST(progress.bytesTotal(), "bytes");
        QTEST(progress.status, "status");
        if (progress.done() < progress.toFetch()) {
            QVERIFY(progress.bytesDone() < progress.bytesTotal());
            QVERIFY(progress.fraction() > 0 && progress.fraction() < 1);
        } else {
            QCOMPARE(progress.bytesDone(), progress.bytesTotal());
            QCOMPARE(progress.fraction(), progress.toFetch() > 0 || progress.upToDate() ? 1.0 : 0.0);
        }
    }
    void composeProgress()
    {
        using Phase = ServiceProgress::Phase;
        const auto read = [](const QString &file, QStringList *unread) {
            QFile f(QStringLiteral(KORVAT_FIXTURES "/progress/") + file);
            f.open(QIODevice::ReadOnly);
            ComposeProgress progress;
            for (const QString &line : Docker::utf8(f.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
                if (!Docker::readCompose(progress, line, QStringLiteral("cproj")))
                    *unread << line;
            }
            return progress;
        };
        QStringList unread;
        const ComposeProgress up = read(QStringLiteral("up.txt"), &unread);
        QCOMPARE(up.services, (QList<ServiceProgress>{{"web", Phase::Started, {}}, {"db", Phase::Started, {}}}));
        QCOMPARE(unread, QStringList());
        const ComposeProgress failing = read(QStringLiteral("up-failing.txt"), &unread);
        QCOMPARE(failing.services, (QList<ServiceProgress>{
                                       {"worker", Phase::Failed, "manifest for 127.0.0.1:5055/layers:nope not found: manifest unknown: manifest unknown"}}));
        // What is left is the failure compose ends with.
        QCOMPARE(unread.size(), 1);
        QVERIFY(unread[0].startsWith(QLatin1String("Error response from daemon")));
    }

    // Each change leaves the row as the next listing will show it, so that listing changes nothing.
    // Each row's entries are written to a real archive and read back as a restore reads it.
    void archivePlacement_data()
    {
        using Kind = Archive::Placement::Kind;
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("reason");
        QTest::newRow("a backup of Korvat's") << QStringList{"volume/", "volume/a", "volume/sub/b"} << int(Kind::Root) << "";
        QTest::newRow("a folder's contents") << QStringList{"./", "./a", "./sub/", "./sub/b"} << int(Kind::Volume) << "";
        QTest::newRow("files at the top") << QStringList{"a", "volume/b"} << int(Kind::Volume) << "";
        QTest::newRow("up and out") << QStringList{"./a", "../etc/passwd"} << int(Kind::Refused)
                                    << "it holds ../etc/passwd, a path outside its own folder, so nothing was restored";
        QTest::newRow("out through a middle") << QStringList{"a/../../b"} << int(Kind::Refused)
                                              << "it holds a/../../b, a path outside its own folder, so nothing was restored";
        QTest::newRow("absolute") << QStringList{"/etc/x"} << int(Kind::Refused) << "it holds /etc/x, a path outside its own folder, so nothing was restored";
        QTest::newRow("only its own folder") << QStringList{"./", "."} << int(Kind::Refused) << "it holds no files, so nothing was restored";
        QTest::newRow("a link it holds is only a link") << QStringList{"volume/", "volume/etc -> /etc", "volume/a"} << int(Kind::Root) << "";
        QTest::newRow("a file through a link it made")
            << QStringList{"volume/", "volume/link -> /etc", "volume/link/x"} << int(Kind::Refused)
            << "it holds volume/link/x, a path through the link volume/link it makes itself, so nothing was restored";
        QTest::newRow("through a link made after it, spelled apart")
            << QStringList{"./sub/", "./sub//x", "./sub -> ../../root"} << int(Kind::Refused)
            << "it holds ./sub//x, a path through the link sub it makes itself, so nothing was restored";
        QTest::newRow("a hard link out") << QStringList{"volume/", "volume/h => ../../etc/shadow"} << int(Kind::Refused)
                                         << "it holds ../../etc/shadow, a path outside its own folder, so nothing was restored";
        // A hard link to its own symbolic link is that link again; one into it writes there.
        QTest::newRow("through a hard link to a link it made")
            << QStringList{"volume/", "volume/l -> /etc", "volume/h => volume/l", "volume/h/x"} << int(Kind::Refused)
            << "it holds volume/h, a path through the link volume/l it makes itself, so nothing was restored";
        QTest::newRow("a hard link into a link it made")
            << QStringList{"volume/", "volume/l -> /etc", "volume/h => volume/l/shadow"} << int(Kind::Refused)
            << "it holds volume/h, a path through the link volume/l it makes itself, so nothing was restored";
        QTest::newRow("a hard link to a file it holds") << QStringList{"volume/", "volume/a", "volume/b => volume/a"} << int(Kind::Root) << "";
    }
    void archivePlacement()
    {
        QFETCH(QStringList, entries);
        QTemporaryDir dir;
        writeFile(dir.filePath("backup.tar"), tarOf(entries));
        const QList<Archive::Entry> read = Archive::entries(dir.filePath("backup.tar"));
        QCOMPARE(read.size(), entries.size());
        const Archive::Placement placed = Archive::place(read);
        QTEST(int(placed.kind), "kind");
        QTEST(placed.reason, "reason");
    }

    void containerDetails_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("meaning");
        QTest::addColumn<QString>("health");
        QTest::addColumn<int>("probes");
        QTest::newRow("running, healthy") << "d-running" << "running" << "exited normally" << "healthy 0" << 5;
        QTest::newRow("exited 3") << "d-exited" << "exited" << "failed (its program's own code)" << "" << 0;
        QTest::newRow("out of memory") << "d-oom" << "exited" << "Killed: out of memory" << "" << 0;
        QTest::newRow("unhealthy") << "d-unhealthy" << "running" << "exited normally" << "unhealthy 7" << 5;
        QTest::newRow("paused") << "d-paused" << "paused" << "exited normally" << "" << 0;
        QTest::newRow("created") << "d-created" << "created" << "exited normally" << "" << 0;
    }
    void containerDetails()
    {
        QFETCH(QString, name);
        const auto d = Docker::parseContainerDetails(fixture("details/" + name + ".json").toUtf8());
        QVERIFY(d);
        QCOMPARE(d->name, name);
        QTEST(d->state, "state");
        QTEST(Docker::exitMeaning(d->exitCode, d->outOfMemory), "meaning");
        QTEST(d->health ? d->health->status + " " + QString::number(d->health->failingStreak) : QString(), "health");
        QTEST(d->health ? int(d->health->probes.size()) : 0, "probes");
        if (d->health && d->health->probes.size() > 1)
            QVERIFY(d->health->probes.first().start > d->health->probes.last().start);   // newest first
        QCOMPARE(d->startedAt.isValid(), name != "d-created");
    }

    void containerConfiguration()
    {
        const auto d = Docker::parseContainerDetails(fixture("details/d-running.json").toUtf8());
        QVERIFY(d);
        QCOMPARE(d->image, engineImage());
        QVERIFY(d->imageId.startsWith("sha256:"));
        QCOMPARE(d->command, (QStringList{"sleep", "3600"}));
        QCOMPARE(d->workingDir, "/srv");
        QCOMPARE(d->user, "1000");
        QCOMPARE(d->restartPolicy, "unless-stopped");
        QCOMPARE(d->environment.first(), std::pair(QString("API_TOKEN"), QString("s3cret")));
        QCOMPARE(d->mounts.size(), 1);
        QCOMPARE(d->mounts.first(), (ContainerDetails::Mount{"volume", d->mounts.first().source, "/data", true, "cp1_data"}));
        QCOMPARE(d->networks.size(), 1);
        QCOMPARE(d->networks.first().name, "bridge");
        QVERIFY(!d->networks.first().address.isEmpty());
        QCOMPARE(d->health->test, (QStringList{"CMD-SHELL", "true"}));
        QCOMPARE(d->health->intervalSeconds, 1);
        QCOMPARE(d->health->probes.first().exitCode, 0);
        QVERIFY(!Docker::parseContainerDetails("[]"));
        QVERIFY(!Docker::parseContainerDetails("not json"));
    }

    void imageDetails()
    {
        const auto d = Docker::parseImageDetails(fixture("details/image.json").toUtf8(), fixture("details/history.jsonl").toUtf8());
        QVERIFY(d);
        QCOMPARE(d->tags, QStringList{"korvat/layers:1"});
        QCOMPARE(d->architecture, "amd64");
        QCOMPARE(d->command, (QStringList{"sleep", "3600"}));
        QStringList instructions;
        for (const auto &layer : d->layers)
            instructions << layer.instruction;
        QCOMPARE(instructions, (QStringList{R"(CMD ["sleep" "3600"])", R"(RUN sh -c "for i in 1 2 3; do echo \$i; done > /three")", "ENV MODE=test",
                                            "RUN echo two > /two", "RUN echo one > /one", ""}));
        QCOMPARE(d->layers.first().bytes, 0);
        QVERIFY(d->layers.last().bytes > 1'000'000);
        QCOMPARE(Docker::instruction("RUN /bin/sh -c apt-get update # buildkit"), "RUN /bin/sh -c apt-get update");
        QVERIFY(!Docker::parseImageDetails("[]", {}));
    }

    // The recorded network with two containers, and the shapes the engine's own take.
    void networks_data()
    {
        QTest::addColumn<QByteArray>("inspect");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("kept");
        const QByteArray recorded = fixture("details/network.json").toUtf8();
        QTest::newRow("user network, two containers")
            << recorded << "d-net bridge 172.31.250.0/24 | d-net-a 172.31.250.2/24, d-net-b 172.31.250.3/24"
            << "In use by d-net-a, d-net-b: remove or disconnect them first.";
        QTest::newRow("the engine's host network, no subnet")
            << QByteArray(R"([{"Name":"host","Id":"f7c7","Driver":"host","Scope":"local","IPAM":{"Config":[]},"Containers":{}}])")
            << "host host | " << "The engine's own network: it cannot be removed.";
        QTest::newRow("compose's, empty, members sorted by name")
            << QByteArray(R"([{"Name":"shop_default","Id":"b02c","Driver":"bridge","IPAM":{"Config":[{"Subnet":"172.18.0.0/16","Gateway":"172.18.0.1"}]},
                            "Labels":{"com.docker.compose.project":"shop"},
                            "Containers":{"2":{"Name":"web","IPv4Address":"172.18.0.3/16"},"1":{"Name":"db","IPv4Address":"172.18.0.2/16"}}}])")
            << "shop_default bridge 172.18.0.0/16 shop | db 172.18.0.2/16, web 172.18.0.3/16" << "In use by db, web: remove or disconnect them first.";
        QTest::newRow("one container") << QByteArray(R"([{"Name":"x","Id":"9","Containers":{"1":{"Name":"solo"}}}])")
                                       << "x | solo " << "In use by solo: remove or disconnect it first.";
        QTest::newRow("nameless entries are no networks") << QByteArray(R"([{"Id":"1"},{"Name":"n"},7,[]])") << "" << "";
        QTest::newRow("not json") << QByteArray("Error: no such network") << "" << "";
    }
    void networks()
    {
        QFETCH(QByteArray, inspect);
        QStringList seen, kept;
        for (const DockerNetwork &n : Docker::parseNetworks(inspect)) {
            QStringList members;
            for (const NetworkMember &m : n.members)
                members << m.name + u' ' + m.ipv4;
            seen << QStringList{n.name, n.driver, n.subnets.join(u','), n.project().value_or("")}.join(u' ').trimmed() + " | " + members.join(", ");
            kept << Docker::networkKept(n);
        }
        QTEST(seen.join("; "), "summary");
        QTEST(kept.join("; "), "kept");
        QCOMPARE(Docker::parseNetworkDetails(inspect).has_value(), !seen.isEmpty());
    }

    // Where a context's endpoint leads, and what a failed login tells the user to do.
    void sshEndpoints_data()
    {
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<QString>("target");
        QTest::newRow("user, host and port") << "ssh://deploy@build.example:2222" << "deploy build.example 2222";
        QTest::newRow("host alone") << "ssh://korvat-ssh" << " korvat-ssh 0";
        QTest::newRow("not ssh") << "tcp://10.0.0.9:2375" << "";
        QTest::newRow("no host") << "ssh://" << "";
        QTest::newRow("unix socket") << "unix:///var/run/docker.sock" << "";
    }
    void sshEndpoints()
    {
        QFETCH(QString, endpoint);
        const auto t = Docker::sshTarget(endpoint);
        const QString seen = t ? QStringList({t->user, t->host, QString::number(t->port)}).join(' ') : QString();
        QTEST(seen, "target");
        const QString refused = "error during connect: ssh: connect to host 127.0.0.1 port 22: Connection refused";
        QCOMPARE(Docker::withSshHint(refused), refused);
        QVERIFY(Docker::withSshHint("root@host: Permission denied (publickey).").endsWith("— add the key to your ssh agent (ssh-add)."));
        QVERIFY(Docker::withSshHint("Host key verification failed.").endsWith("connect once with ssh in a terminal to check it."));
    }

    // What OpenSSH 9 prints when a login fails (BatchMode, no terminal): only what the user
    // must change stops the attempts; a host that does not answer is tried again, and one
    // that takes the connection and drops it is tried again, slowly.
    void sshFailures_data()
    {
        QTest::addColumn<QString>("said");
        QTest::addColumn<QString>("kind");
        QTest::newRow("key refused") << "root@127.0.0.1: Permission denied (publickey)." << "for good";
        QTest::newRow("no method left") << "deploy@build.example: Permission denied (publickey,password,keyboard-interactive)." << "for good";
        QTest::newRow("too many keys offered") << "Received disconnect from 10.0.0.9 port 22:2: Too many authentication failures\n"
                                                  "Disconnected from 10.0.0.9 port 22" << "for good";
        QTest::newRow("host key unknown") << "No ED25519 host key is known for build.example and you have requested strict checking.\n"
                                             "Host key verification failed." << "for good";
        QTest::newRow("host key changed") << "@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@\n"
                                             "@    WARNING: REMOTE HOST IDENTIFICATION HAS CHANGED!     @\n"
                                             "@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@@\n"
                                             "Host key for build.example has changed and you have requested strict checking.\n"
                                             "Host key verification failed." << "for good";
        QTest::newRow("passphrase wanted") << "Load key \"/home/me/.ssh/id_ed25519\": incorrect passphrase supplied to decrypt private key" << "for good";
        QTest::newRow("no common algorithm") << "Unable to negotiate with 10.0.0.9 port 22: no matching host key type found. Their offer: ssh-dss" << "for good";
        QTest::newRow("broken config") << "/home/me/.ssh/config: line 3: Bad configuration option: hostnme\n"
                                          "/home/me/.ssh/config: terminating, 1 bad configuration options" << "for good";
        QTest::newRow("connection refused") << "ssh: connect to host 127.0.0.1 port 2222: Connection refused" << "for now";
        QTest::newRow("timeout") << "ssh: connect to host 10.0.0.9 port 22: Connection timed out" << "for now";
        QTest::newRow("no route") << "ssh: connect to host 10.0.0.9 port 22: No route to host" << "for now";
        QTest::newRow("network down") << "ssh: connect to host 10.0.0.9 port 22: Network is unreachable" << "for now";
        QTest::newRow("name not resolved") << "ssh: Could not resolve hostname build.example: Temporary failure in name resolution" << "for now";
        QTest::newRow("keep-alives unanswered") << "Timeout, server 10.0.0.9 not responding." << "for now";
        QTest::newRow("Korvat's own deadline") << "ssh: build.example did not answer within 20 s" << "for now";
        QTest::newRow("nothing said") << "" << "for now";
        QTest::newRow("reset before the banner") << "kex_exchange_identification: read: Connection reset by peer\n"
                                                    "Connection reset by 10.0.0.9 port 22" << "dropped";
        QTest::newRow("closed before the banner") << "kex_exchange_identification: Connection closed by remote host\n"
                                                     "Connection closed by 10.0.0.9 port 22" << "dropped";
        QTest::newRow("no banner in time") << "Connection timed out during banner exchange\nConnection to 10.0.0.9 port 22 timed out" << "dropped";
        QTest::newRow("sent away") << "Received disconnect from 10.0.0.9 port 22:2: too many connections\nDisconnected from 10.0.0.9 port 22" << "dropped";
    }
    void sshFailures()
    {
        QFETCH(QString, said);
        const SshFailure kind = Docker::sshFailure(said);
        QTEST(QString(kind == SshFailure::Permanent ? "for good" : kind == SshFailure::Dropped ? "dropped" : "for now"), "kind");
    }

    // When the next login to a host may begin: backoff from the end of one that found no
    // answer; from the start of one the host refused or dropped, 30 s at least, and after a
    // refusal only when asked.
    void sshNextLogins_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("failures");
        QTest::addColumn<int>("sinceBegan");
        QTest::addColumn<int>("sinceEnded");
        QTest::addColumn<bool>("asked");
        QTest::addColumn<int>("wait");   // ms; -1: none until asked
        QTest::newRow("no answer, first") << "for now" << 1 << 15000 << 0 << false << 1000;
        QTest::newRow("no answer, second") << "for now" << 2 << 0 << 0 << false << 2000;
        QTest::newRow("no answer, fifth") << "for now" << 5 << 0 << 0 << false << 16000;
        QTest::newRow("no answer, sixth: at most 30 s") << "for now" << 6 << 0 << 0 << false << 30000;
        QTest::newRow("no answer, fortieth") << "for now" << 40 << 0 << 0 << false << 30000;
        QTest::newRow("no answer, partly waited") << "for now" << 4 << 9000 << 3000 << false << 5000;
        QTest::newRow("no answer, asked: sooner") << "for now" << 6 << 2000 << 1000 << true << 3000;
        QTest::newRow("no answer, asked long after") << "for now" << 6 << 20000 << 5000 << true << 0;
        QTest::newRow("no answer, asked, backoff sooner still") << "for now" << 1 << 1500 << 500 << true << 500;
        QTest::newRow("dropped, first: 30 s from its start") << "dropped" << 1 << 200 << 0 << false << 29800;
        QTest::newRow("dropped, long backoff") << "dropped" << 6 << 40000 << 10000 << false << 20000;
        QTest::newRow("dropped, asked: still 30 s") << "dropped" << 1 << 5000 << 4800 << true << 25000;
        QTest::newRow("dropped, asked after a minute") << "dropped" << 6 << 60000 << 59000 << true << 0;
        QTest::newRow("refused: not by itself") << "for good" << 1 << 0 << 0 << false << -1;
        QTest::newRow("refused, long ago: not by itself") << "for good" << 3 << 3600000 << 3600000 << false << -1;
        QTest::newRow("refused, asked at once") << "for good" << 1 << 1000 << 900 << true << 29000;
        QTest::newRow("refused, asked after 10 s") << "for good" << 1 << 10000 << 9000 << true << 20000;
        QTest::newRow("refused, asked after a minute") << "for good" << 2 << 60000 << 59000 << true << 0;
    }
    void sshNextLogins()
    {
        QFETCH(QString, kind);
        QFETCH(int, failures);
        QFETCH(int, sinceBegan);
        QFETCH(int, sinceEnded);
        QFETCH(bool, asked);
        const SshFailure failure = kind == "for good" ? SshFailure::Permanent : kind == "dropped" ? SshFailure::Dropped : SshFailure::Transient;
        const auto wait = Docker::sshNextLogin(failure, failures, std::chrono::milliseconds(sinceBegan), std::chrono::milliseconds(sinceEnded), asked);
        QTEST(wait ? int(wait->count()) : -1, "wait");
    }

    void exitMeanings_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("oom");
        QTest::addColumn<QString>("meaning");
        QTest::newRow("0") << 0 << false << "exited normally";
        QTest::newRow("1") << 1 << false << "failed (its program's own code)";
        QTest::newRow("125") << 125 << false << "the engine could not run it";
        QTest::newRow("126") << 126 << false << "its command could not be run (not executable)";
        QTest::newRow("127") << 127 << false << "command not found";
        QTest::newRow("137") << 137 << false << "killed (SIGKILL)";
        QTest::newRow("139") << 139 << false << "crashed (segmentation fault)";
        QTest::newRow("143") << 143 << false << "stopped (SIGTERM)";
        QTest::newRow("another signal") << 128 + 10 << false << "ended by signal 10";
        QTest::newRow("out of memory, whatever the code") << 0 << true << "Killed: out of memory";
    }
    void exitMeanings()
    {
        QFETCH(int, code);
        QFETCH(bool, oom);
        QTEST(Docker::exitMeaning(code, oom), "meaning");
    }

    void aChangeAppliedToTheRows_data()
    {
        QTest::addColumn<QString>("status");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("statusAfter");
        using Kind = ContainerChange::Kind;
        QTest::newRow("dies") << "Up 7 minutes" << int(Kind::Died) << "exited" << "Exited (137) Less than a second ago";
        QTest::newRow("starts") << "Exited (0) 2 hours ago" << int(Kind::Started) << "running" << "Up Less than a second";
        QTest::newRow("paused, health note replaced") << "Up 7 minutes (healthy)" << int(Kind::Paused) << "paused" << "Up 7 minutes (Paused)";
        QTest::newRow("resumed") << "Up 7 minutes (Paused)" << int(Kind::Unpaused) << "running" << "Up 7 minutes";
    }
    void aChangeAppliedToTheRows()
    {
        QFETCH(QString, status);
        QFETCH(int, kind);
        const Container other{"bbbbbbbbbbbb", "db", "postgres", "running", "Up 1 hour", {}, {}};
        const Container web{"aaaaaaaaaaaa", "web", "nginx", "running", status, {}, {}};
        const auto rows = Docker::withChange({web, other}, {"aaaaaaaaaaaa0123456789", ContainerChange::Kind(kind), 137});
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows[1], other);
        QTEST(rows[0].state, "state");
        QTEST(rows[0].status, "statusAfter");
    }
    void aChangeToARowNotListedOrRemoved()
    {
        const Container web{"aaaaaaaaaaaa", "web", "nginx", "running", "Up 1 hour", {}, {}};
        QCOMPARE(Docker::withChange({web}, {"ffff", ContainerChange::Kind::Died, 1}), QList<Container>{web});
        QCOMPARE(Docker::withChange({web}, {"aaaaaaaaaaaa", ContainerChange::Kind::Destroyed, 0}), QList<Container>{});
    }
};

QTEST_GUILESS_MAIN(EngineRules)
#include "tst_enginerules.moc"
