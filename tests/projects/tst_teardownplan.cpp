#include "cliengine.h"
#include "fakeengine.h"
#include "teardownplan.h"
#include "reclaimplan.h"
#include "secrets.h"
#include "testsupport.h"
#include "volumesize.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

namespace {
Container named(const QString &name) { return {name + "-id", name, "img", "running", {}, {}, {}}; }
QStringList names(const QList<VolumeUse> &uses)
{
    QStringList out;
    for (const auto &u : uses)
        out << u.name;
    return out;
}
}

class TeardownPlanTest : public QObject {
    Q_OBJECT
private slots:
    // The recorded engine: a stopped compose project, a running container with an anonymous
    // volume, a stopped one with 2 MB written, an image only a created container uses, a
    // tagged image nothing uses, a dangling one, a named and an anonymous volume unmounted.
    void reclaimPlan_data()
    {
        QTest::addColumn<QByteArray>("df");
        // `docker images` beside it; where empty, the report's own names, as one engine gives both.
        QTest::addColumn<QString>("listing");
        QTest::addColumn<QStringList>("expected");
        const QByteArray recorded = fixture("disk/df.json").toUtf8();
        QTest::newRow("recorded") << recorded << fixture("disk/images.jsonl")
                                  << QStringList{"danglingImages: 93a034b43d4e", "unusedImages: disk/unused:1, disk/dangle:1",
                                                 "stoppedContainers: d-stopped d-keeper", "anonymousVolumes: 75760b5937da"};
        QTest::newRow("an image named by a container is used, whatever the count says")
            << QByteArray(R"({"Images":[{"ID":"sha256:aaaaaaaaaaaa1","Repository":"web","Tag":"latest","Containers":"0"}],
                             "Containers":[{"ID":"c1","Names":"x","Image":"web","State":"running"}]})")
            << QString() << QStringList{};
        QTest::newRow("cache in use stays, a step's secret is hidden; a dead container goes; a short hex name is a name")
            << QByteArray(R"({"BuildCache":[{"ID":"k1","InUse":"true","Size":"1MB"},{"ID":"k2","InUse":"false","Size":"2MB","Description":"mount /root/.cache"},
                                            {"ID":"k3","InUse":"false","Size":"3MB","Description":"RUN NPM_TOKEN=s3cret npm ci"}],
                             "Containers":[{"ID":"c2","Names":"gone","State":"dead","Size":"5MB"}],
                             "Volumes":[{"Name":"deadbeef","Links":"0"}]})")
            << QString() << QStringList{"buildCache: RUN NPM_TOKEN=" + QString::fromUtf16(Secrets::mask) + " npm ci mount /root/.cache", "stoppedContainers: gone"};
        // Some engines' reports call every image "<none>" and keep their own helpers about:
        // the listing alone says what is dangling, and an image it lacks is kept.
        QTest::newRow("names come from the listing, not the report")
            << QByteArray(R"({"Images":[{"ID":"sha256:aaaaaaaaaaaa1","Repository":"<none>","Tag":"<none>","Containers":"0"},
                                        {"ID":"sha256:bbbbbbbbbbbb1","Repository":"<none>","Tag":"<none>","Containers":"0"},
                                        {"ID":"sha256:cccccccccccc1","Repository":"<none>","Tag":"<none>","Containers":"0"},
                                        {"ID":"sha256:dddddddddddd1","Repository":"<none>","Tag":"<none>","Containers":"0"}],
                             "Containers":[{"ID":"c4","Names":"korvat-volume-1","State":"created","Labels":"org.korvat.helper=volume-data"}]})")
            << QString(R"({"ID":"aaaaaaaaaaaa","Repository":"app","Tag":"1"}
{"ID":"aaaaaaaaaaaa","Repository":"app","Tag":"latest"}
{"ID":"bbbbbbbbbbbb","Repository":"<none>","Tag":"<none>"}
{"ID":"cccccccccccc","Repository":"pinned","Tag":"<none>"})")
            << QStringList{"danglingImages: bbbbbbbbbbbb", "unusedImages: app:1, app:latest, pinned (by digest)"};
        QTest::newRow("a container's mounts keep an anonymous volume, whatever its links say")
            << QByteArray(R"({"Volumes":[{"Name":"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef","Links":"0"}],
                             "Containers":[{"ID":"c3","Names":"y","State":"running","Mounts":"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"}]})")
            << QString() << QStringList{};
        QTest::newRow("not json") << QByteArray("Error response from daemon") << QString() << QStringList{};
    }
    void reclaimPlan()
    {
        QFETCH(QByteArray, df);
        QFETCH(QString, listing);
        const DiskUsage usage = Docker::parseDiskUsage(df);
        QList<DockerImage> images = Docker::parseImages(listing);
        if (listing.isEmpty()) {
            for (const DiskUsage::Image &i : usage.images)
                images.append({i.id, i.repository, i.tag, {}});
        }
        QStringList seen;
        for (const ReclaimPlan::Category &c : Reclaim::plan(Docker::withListedNames(usage, images, {}), images).categories) {
            QStringList names;
            for (const auto &i : c.items)
                names << i.name;
            if (!names.isEmpty())
                seen << ReclaimPlan::key(c.kind) + ": " + names.join(c.kind == ReclaimPlan::Kind::UnusedImages ? ", " : " ");
        }
        QTEST(seen, "expected");
    }

    void parseMounts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<MountMap>("expected");
        QTest::newRow("volumes and none") << "/website-frontend-1|website-frontend-1_data,\n/storefront-php-1|\n"
                                          << MountMap{{"website-frontend-1", {"website-frontend-1_data"}}, {"storefront-php-1", {}}};
        QTest::newRow("real inspect output") << fixture("mounts.txt")
                                             << MountMap{{"exited-bad", {}}, {"made-only", {}}, {"loose-one", {"cp1_data"}}, {"cp1-web-1", {"cp1_data"}}};
        QTest::newRow("no bar, blank name, later line wins") << "/a\n / |x,\n/b|v1,v2,\n/b|v3,\n"
                                                             << MountMap{{"a", {}}, {"b", {"v3"}}};
        QTest::newRow("empty") << "" << MountMap{};
    }
    void parseMounts()
    {
        QFETCH(QString, text);
        QTEST(Docker::parseMounts(text), "expected");
    }

    void keptAndRemovable()
    {
        const ComposeProject app{"app", std::nullopt, {named("app-db-1"), named("app-web-1")}, 2};
        const QList<Container> all{named("other-api-1"), named("app-db-1"), named("portainer"), named("app-web-1"), named("batch")};
        const MountMap mounts{{"app-db-1", {"shared", "own", "own", "ext"}},
                              {"app-web-1", {"own", "loose-shared"}},
                              {"other-api-1", {"shared"}},
                              {"batch", {"shared"}},
                              {"portainer", {"loose-shared"}}};
        const VolumeOwnership ownership{{"declared"}, {"ext"}, {{"own", {{Labels::project, "app"}}}}};
        const auto plan = Teardown::plan(app, all, mounts, ownership, {{"own", "113 MB"}, {"unrelated", "1 GB"}});
        QCOMPARE(plan.project, "app");
        QCOMPARE(plan.containers, QStringList({"app-db-1", "app-web-1"}));
        QCOMPARE(names(plan.volumes), QStringList({"declared", "ext", "loose-shared", "own", "shared"}));
        QCOMPARE(plan.removable(), (QList<VolumeUse>{{"declared", {}, std::nullopt, {}}, {"own", {}, "113 MB", {}}}));
        QCOMPARE(plan.kept(), (QList<VolumeUse>{{"ext", {}, std::nullopt, "external"},
                                                {"loose-shared", {"portainer"}, std::nullopt, {}},
                                                {"shared", {"batch", "other-api-1"}, std::nullopt, {}}}));
        QCOMPARE(plan.kept().first().keptBecause(), "external");
        QCOMPARE(plan.kept().last().keptBecause(), "used by batch, other-api-1");
    }

    // Whose volume is it, for one that no container outside the project mounts.
    void ownership_data()
    {
        QTest::addColumn<QString>("volume");
        QTest::addColumn<QString>("label");   // compose's project label; "-" for none
        QTest::addColumn<bool>("declared");
        QTest::addColumn<bool>("external");
        QTest::addColumn<QString>("reason");
        const QString hex(64, 'a');
        QTest::newRow("labelled as this project's") << "app_data" << "app" << false << false << "";
        QTest::newRow("labelled as another's") << "app_data" << "staging" << false << false << "belongs to staging";
        QTest::newRow("another's label beats a declaration") << "app_data" << "staging" << true << false << "belongs to staging";
        QTest::newRow("external beats this project's label") << "shared" << "app" << true << true << "external";
        QTest::newRow("external, unlabelled") << "shared" << "-" << true << true << "external";
        QTest::newRow("declared on an engine without labels") << "app_data" << "-" << true << false << "";
        QTest::newRow("anonymous") << hex << "-" << false << false << "";
        QTest::newRow("neither labelled nor declared") << "data" << "-" << false << false << "not this project’s";
    }
    void ownership()
    {
        QFETCH(QString, volume);
        QFETCH(QString, label);
        QFETCH(bool, declared);
        QFETCH(bool, external);
        VolumeOwnership owner;
        if (declared)
            owner.declared << volume;
        if (external)
            owner.external << volume;
        if (label != "-")
            owner.labels.insert(volume, {{Labels::project, label}});
        QTEST(Teardown::notOwnedReason(volume, "app", owner), "reason");
    }

    void volumeLabelsParsed()
    {
        const auto labels = Docker::parseVolumeLabels(
            R"({"Name":"app_data","Labels":{"com.docker.compose.project":"app","com.docker.compose.volume":"data"}})" "\n"
            R"({"Name":"bare","Labels":null})" "\nError: No such volume: gone\n" R"({"Labels":{}})" "\n");
        QCOMPARE(labels.keys(), QStringList({"app_data", "bare"}));
        QCOMPARE(labels.value("app_data").value(Labels::project), "app");
        QVERIFY(labels.value("bare").isEmpty());
    }

    void allocatedSize()
    {
        QTemporaryDir dir;
        writeFile(dir.filePath("a/b/c/deep.bin"), QByteArray(300000, 'x'));
        writeFile(dir.filePath("small.txt"), "hi");
        QFile::link("/usr", dir.filePath("link-to-usr"));   // must not be followed
        const auto bytes = VolumeSize::allocatedBytes(dir.path());
        QVERIFY(bytes);
        QVERIFY2(*bytes >= 300000 && *bytes < 400000, qPrintable(QString::number(*bytes)));
        QCOMPARE(VolumeSize::allocatedBytes("/nope/gone"), std::nullopt);

        const QList<DockerVolume> volumes{{"data", "local", dir.path()}, {"gone", "local", "/nope/gone"}, {"other", "local", dir.path()}};
        writeFile(dir.filePath("engine.sock"), "");
        const auto sizes = Teardown::volumeSizes(CliEngine(), volumes, {"data", "gone"}, Runtime::socket("here", dir.filePath("engine.sock")));
        QCOMPARE(sizes.keys(), QStringList({"data"}));
        QCOMPARE(sizes.value("data"), VolumeSize::format(*bytes));
        // Another machine's engine names a path that may well exist here, holding something else.
        QCOMPARE(Teardown::volumeSizes(CliEngine(), volumes, {"data"}, Runtime::socket("elsewhere", "/nope/engine.sock")), (QMap<QString, QString>{}));
    }

    // The project "shop", started from a folder whose own name compose would give it as
    // "folder"; its files recorded or not, and still there or not.
    void declarationsComeFromTheProjectAsStarted_data()
    {
        QTest::addColumn<QString>("resolvesAs");   // the folder's name for the project, alone
        QTest::addColumn<QStringList>("recorded");
        QTest::addColumn<bool>("declared");
        QTest::newRow("started with -p, its file recorded") << "folder" << QStringList{"compose.yaml"} << true;
        QTest::newRow("started with -f and -p") << "folder" << QStringList{"compose.prod.yml"} << true;
        QTest::newRow("a recorded file gone: the folder is another project") << "folder" << QStringList{"compose.prod.yml", "gone.yml"} << false;
        QTest::newRow("nothing recorded: the folder is another project") << "folder" << QStringList{} << false;
        QTest::newRow("nothing recorded, the folder's own project") << "shop" << QStringList{} << true;
    }
    void declarationsComeFromTheProjectAsStarted()
    {
        QFETCH(QString, resolvesAs);
        QFETCH(QStringList, recorded);
        QFETCH(bool, declared);
        QTemporaryDir dir;
        writeFile(dir.filePath("compose.yaml"), "services: {}\n");
        writeFile(dir.filePath("compose.prod.yml"), "services: {}\n");
        for (QString &file : recorded)
            file = dir.filePath(file);
        FakeEngine engine;
        engine.setComposeProject(dir.path(), {resolvesAs, {"web"}, {"data", "ext"}, {"ext"}});
        const ComposeProject shop{"shop", dir.path(), {}, 1, recorded};
        const VolumeOwnership own = Teardown::ownConfiguration(engine, shop);
        QCOMPARE(own.declared, declared ? QStringList{"data"} : QStringList{});
        QCOMPARE(own.external, declared ? QStringList{"ext"} : QStringList{});
        const TeardownPlan plan = Teardown::plan(shop, {}, {}, own, {});
        QCOMPARE(plan.target(), ComposeTarget(dir.path(), "shop", recorded));
        QCOMPARE(Teardown::composeDownIsOwn(engine, plan.target(), "shop"), declared);
    }
};

QTEST_GUILESS_MAIN(TeardownPlanTest)
#include "tst_teardownplan.moc"
