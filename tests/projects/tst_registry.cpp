#include "docker.h"
#include "projectregistry.h"
#include "projectservices.h"
#include "testsupport.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

namespace {
const ProjectRegistry::Key apple = QStringLiteral("apple-container");
const ProjectRegistry::Key def = QStringLiteral("default");

Container member(const QString &project, const QString &name, const QString &service = {}, const QString &dir = {})
{
    Container c{name + "-id", name, "img", "running", {}, {}, {{Labels::project, project}}};
    if (!service.isEmpty())
        c.labels.insert(Labels::service, service);
    if (!dir.isEmpty())
        c.labels.insert(Labels::workingDir, dir);
    return c;
}

ComposeProject grouped(const QList<Container> &containers)
{
    return Docker::group(containers).first();
}
}

class Registry : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;

private slots:
    void recordSkipsProjectsWithoutDirectory()
    {
        ProjectRegistry r;
        r.record({grouped({member("nodir", "a", "a")})}, def, {});
        QVERIFY(!r.knows("nodir", def));
    }

    void recordKeepsServicesWhenNoneAreLabelled()
    {
        ProjectRegistry r;
        r.add({"shop", "/srv/shop", {"db", "web"}}, def);
        const DirectoryMap moved{{"/srv/shop", {}}, {"/srv/shop2", {true, true}}};
        Container started = member("shop", "shop-x", {}, "/srv/shop2");
        started.labels.insert(Labels::configFiles, "/srv/shop2/compose.yaml,/srv/shop2/prod.yml");
        r.record({grouped({started})}, def, moved);
        QCOMPARE(r.projects(def), (QList<KnownProject>{{"shop", "/srv/shop2", {"db", "web"}, {"/srv/shop2/compose.yaml", "/srv/shop2/prod.yml"}}}));
        // Duplicate service labels are kept, sorted.
        r.record({grouped({member("shop", "b", "web", "/srv/shop2"), member("shop", "a", "web", "/srv/shop2"), member("shop", "c", "B", "/srv/shop2")})}, def, moved);
        QCOMPARE(r.projects(def).first().services, QStringList({"B", "web", "web"}));
        QCOMPARE(r.projects(def).first().configFiles, QStringList({"/srv/shop2/compose.yaml", "/srv/shop2/prod.yml"}));
    }

    // What the disk showed of the directory the labels name and of the one remembered: "yes"
    // holds a compose file, "no" does not, "?" not looked at yet.
    void relocatedDirectorySurvives_data()
    {
        QTest::addColumn<QString>("labelled");
        QTest::addColumn<QString>("known");
        QTest::addColumn<QString>("merged");
        QTest::addColumn<QString>("recorded");
        QTest::newRow("labelled gone, known holds compose") << "no" << "yes" << "/srv/known" << "/srv/known";
        QTest::newRow("known gone, labelled holds compose") << "yes" << "no" << "/srv/labelled" << "/srv/labelled";
        QTest::newRow("neither holds compose: labels win") << "no" << "no" << "/srv/labelled" << "/srv/labelled";
        QTest::newRow("labelled not looked at: nothing remembered changes") << "?" << "yes" << "/srv/labelled" << "/srv/known";
        QTest::newRow("known not looked at") << "no" << "?" << "/srv/labelled" << "/srv/known";
    }
    void relocatedDirectorySurvives()
    {
        QFETCH(QString, labelled);
        QFETCH(QString, known);
        DirectoryMap dirs;
        for (const auto &[dir, holds] : {std::pair("/srv/labelled", labelled), std::pair("/srv/known", known)}) {
            if (holds != "?")
                dirs.insert(dir, {true, holds == "yes"});
        }
        ProjectRegistry r;
        r.add({"shop", "/srv/known", {"web"}}, def);
        const auto discovered = grouped({member("shop", "shop-web-1", "web", "/srv/labelled")});
        QTEST(*ProjectRegistry::merge({discovered}, r.projects(def), dirs).first().workingDir, "merged");
        r.record({discovered}, def, dirs);
        QTEST(r.projects(def).first().workingDir, "recorded");
    }

    void mergeFillsMissingDirectoryAndSorts()
    {
        const auto discovered = grouped({member("middle", "m-1")});
        const QList<KnownProject> known{{"zebra", "/z", {}, {"/z/compose.prod.yml"}}, {"middle", "/remembered", {"a", "b"}, {"/remembered/compose.yaml"}}, {"alpha", "/a", {"x"}}};
        const auto merged = ProjectRegistry::merge({discovered}, known, {});
        QStringList order;
        for (const auto &p : merged)
            order << p.name;
        QCOMPARE(order, QStringList({"alpha", "middle", "zebra"}));
        QCOMPARE(merged[1].workingDir, "/remembered");
        QCOMPARE(merged[1].serviceCount, 2);
        QCOMPARE(merged[1].containers.size(), 1);
        QCOMPARE(merged[0].serviceCount, 1);
        // Still addressed as started, with no container left to tell, or none that tells.
        QCOMPARE(merged[2].configFiles, QStringList({"/z/compose.prod.yml"}));
        QCOMPARE(merged[1].configFiles, QStringList({"/remembered/compose.yaml"}));
    }

    void addForgetAndMissingKey()
    {
        ProjectRegistry r;
        r.add({"a", "/a", {"x"}}, def);
        r.add({"b", "/b", {}}, def);
        r.add({"a", "/a2", {}}, def);   // replaced in place, even with no services
        r.add({"a", "/apple", {}}, apple);
        QCOMPARE(r.projects(def), (QList<KnownProject>{{"a", "/a2", {}}, {"b", "/b", {}}}));
        r.forget("a", def);
        QVERIFY(!r.knows("a", def));
        QVERIFY(r.knows("a", apple));
        QCOMPARE(r.projects(def), (QList<KnownProject>{{"b", "/b", {}}}));
        r.forget("b", def);
        QVERIFY(r.byRuntime.contains("default"));   // an emptied list stays

        const ProjectRegistry before = r;
        r.add({"z", "/z", {}}, std::nullopt);
        r.forget("a", std::nullopt);
        r.record({grouped({member("q", "q", "q", "/q")})}, std::nullopt, {});
        QCOMPARE(r, before);
        QVERIFY(!r.knows("a", std::nullopt));
    }

    void settingsRoundTrip()
    {
        QSettings settings(m_tmp.filePath("roundtrip.conf"), QSettings::NativeFormat);
        QCOMPARE(ProjectRegistry::load(settings), ProjectRegistry{});
        ProjectRegistry r;
        r.add({"storefront", "/tmp", {"db", "php"}}, apple);
        r.add({"ünïcode", "/srv/x y", {}, {"/srv/x y/compose.yaml", "/srv/x y/prod.yml"}}, def);
        r.save(settings);
        settings.sync();
        QCOMPARE(settings.value("knownProjects").typeId(), QMetaType::QByteArray);
        QSettings reread(m_tmp.filePath("roundtrip.conf"), QSettings::NativeFormat);
        QCOMPARE(ProjectRegistry::load(reread), r);
        // A project with no files recorded is saved as before they were remembered.
        QCOMPARE(reread.value("knownProjects").toByteArray(),
                 QByteArray(R"({"apple-container":[{"name":"storefront","services":["db","php"],"workingDir":"/tmp"}],)"
                            R"("default":[{"configFiles":["/srv/x y/compose.yaml","/srv/x y/prod.yml"],"name":"ünïcode","services":[],"workingDir":"/srv/x y"}]})"));
    }

    void undecodableBytesArePreserved_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not json") << QByteArray("\xff\xfe garbage");
        QTest::newRow("array") << QByteArray("[1,2]");
        QTest::newRow("entry missing a field") << QByteArray(R"({"default":[{"name":"a","services":[]}]})");
        QTest::newRow("service not a string") << QByteArray(R"({"default":[{"name":"a","workingDir":"/a","services":[1]}]})");
        QTest::newRow("config files not a list") << QByteArray(R"({"default":[{"name":"a","workingDir":"/a","services":[],"configFiles":"/a/compose.yaml"}]})");
    }
    void undecodableBytesArePreserved()
    {
        QFETCH(QByteArray, bytes);
        const QString path = m_tmp.filePath(QString("bad-%1.conf").arg(QTest::currentDataTag()).replace(' ', '-'));
        {
            QSettings settings(path, QSettings::NativeFormat);
            settings.setValue("knownProjects", bytes);
        }
        QSettings settings(path, QSettings::NativeFormat);
        QCOMPARE(ProjectRegistry::load(settings), ProjectRegistry{});
        QCOMPARE(settings.value("knownProjects.unreadable").toByteArray(), bytes);

        // A save afterwards replaces the main key, and the copy still holds the old bytes.
        ProjectRegistry r;
        r.add({"fresh", "/f", {}}, def);
        r.save(settings);
        settings.sync();
        QSettings reread(path, QSettings::NativeFormat);
        QCOMPARE(reread.value("knownProjects.unreadable").toByteArray(), bytes);
        QCOMPARE(ProjectRegistry::load(reread), r);
    }

    // The services a card lists beside its containers: never created, removed, or behind
    // a profile that is off; one started with its profile named shows as its container.
    void servicesWithoutContainers_data()
    {
        QTest::addColumn<QStringList>("withContainers");
        QTest::addColumn<QStringList>("active");
        QTest::addColumn<QStringList>("listed");   // "name state"
        QTest::newRow("all created") << QStringList{"api", "db", "worker", "dbg"} << QStringList{} << QStringList{};
        QTest::newRow("one never created") << QStringList{"api", "db"} << QStringList{} << QStringList{"worker NotCreated", "dbg Inactive"};
        QTest::newRow("none created") << QStringList{} << QStringList{} << QStringList{"api NotCreated", "db NotCreated", "worker NotCreated", "dbg Inactive"};
        QTest::newRow("profile on") << QStringList{"api", "db", "worker"} << QStringList{"debug"} << QStringList{"dbg NotCreated"};
        QTest::newRow("started with its profile") << QStringList{"api", "db", "worker", "dbg"} << QStringList{} << QStringList{};
        QTest::newRow("a container of no defined service") << QStringList{"api", "db", "worker", "old"} << QStringList{} << QStringList{"dbg Inactive"};
    }
    void servicesWithoutContainers()
    {
        QFETCH(QStringList, withContainers);
        QFETCH(QStringList, active);
        const ResolvedProject defined{"shop", {}, {}, {}, {{"api", "shop/api:1", false, {}}, {"db", "postgres:16", false, {}},
                                                           {"dbg", "busybox", false, {"debug"}}, {"worker", "", true, {}}}, active};
        QList<Container> containers;
        for (const QString &service : withContainers)
            containers << member("shop", "shop-" + service + "-1", service);
        QStringList listed;
        for (const ProjectService &s : ProjectServices::missing(defined, containers))
            listed << s.name + (s.state == ProjectService::State::NotCreated ? " NotCreated" : " Inactive");
        QTEST(listed, "listed");
        if (!withContainers.contains("worker"))
            QCOMPARE(ProjectServices::missing(defined, containers).first().image, withContainers.isEmpty() ? "shop/api:1" : "builds its image");
    }

    // A pull's findings: the ids the engine lists under each image's name, before and after.
    void pullFindings()
    {
        const auto image = [](const QString &id, const QString &repository, const QString &tag) { return DockerImage{id, repository, tag, {}}; };
        const QList<DockerImage> before{image("a1", "nginx", "latest"), image("b1", "127.0.0.1:5000/shop", "1"), image("c1", "redis", "7")};
        const QList<DockerImage> after{image("a2", "nginx", "latest"), image("b1", "127.0.0.1:5000/shop", "1"), image("c1", "redis", "7"),
                                       image("d1", "postgres", "16")};
        const QList<ServiceDefinition> pulled{
            {"web", "docker.io/library/nginx", false, {}},   // the same image by its long name, no tag
            {"api", "127.0.0.1:5000/shop:1", false, {}},     // a registry port is no tag
            {"cache", "redis:7", false, {}},
            {"db", "postgres:16", false, {}},                // pulled for the first time
            {"job", "shop/job:dev", true, {}},               // built here
            {"pinned", "alpine@sha256:0a4e", false, {}},
            {"mail", "mail-relay:2", false, {}},
        };
        const PullSummary summary = ProjectServices::compare(pulled, before, after, {{"mail", "pull access denied"}});
        QCOMPARE(summary, (PullSummary{{"web", "db"}, {"api", "cache"}, {"job", "pinned"}, {{"mail", "pull access denied"}}}));
        QCOMPARE(ProjectServices::listed("127.0.0.1:5000/shop"), "127.0.0.1:5000/shop:latest");
    }

    void secondUnreadableValueDoesNotOverwriteTheFirst()
    {
        QSettings settings(m_tmp.filePath("twice.conf"), QSettings::NativeFormat);
        settings.setValue("knownProjects", QByteArray("first"));
        ProjectRegistry::load(settings);
        settings.setValue("knownProjects", QByteArray("second"));
        ProjectRegistry::load(settings);
        ProjectRegistry::load(settings);
        QCOMPARE(settings.value("knownProjects.unreadable").toByteArray(), "first");
        const auto extra = settings.allKeys().filter("knownProjects.unreadable.");
        QCOMPARE(extra.size(), 1);
        QCOMPARE(settings.value(extra.first()).toByteArray(), "second");
    }
};

QTEST_GUILESS_MAIN(Registry)
#include "tst_registry.moc"
