#include "filters.h"
#include "projectregistry.h"
#include "docker.h"
#include "mergedview.h"
#include "runtimeselection.h"

#include <QTest>

namespace {
Container c(const QString &name, const QString &image, const QString &project = {})
{
    Container x{name + "-id", name, image, "running", "Up", "0.0.0.0:80->80/tcp", {}};
    if (!project.isEmpty())
        x.labels.insert(Labels::project, project);
    return x;
}
template<typename T>
QStringList names(const QList<T> &list, QString T::*field)
{
    QStringList out;
    for (const auto &x : list)
        out << x.*field;
    return out;
}
}

class FiltersTest : public QObject {
    Q_OBJECT
    const QList<Container> m_containers{c("web", "nginx:1.27-alpine"), c("cache", "redis:7", "atlas-analytics"),
                                        c("Ümlaut-db", "postgres:16-alpine"), c("running-job", "busybox")};

private slots:
    void containers_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("blank shows all") << " \t " << QStringList{"web", "cache", "Ümlaut-db", "running-job"};
        QTest::newRow("image, any case") << "NGINX" << QStringList{"web"};
        QTest::newRow("project label") << "atlas" << QStringList{"cache"};
        QTest::newRow("non-ascii lower-cased") << "ümlaut" << QStringList{"Ümlaut-db"};
        QTest::newRow("state never searched") << "running" << QStringList{"running-job"};
        QTest::newRow("ports never searched") << "80" << QStringList{};
        QTest::newRow("ids never searched") << "-id" << QStringList{};
        QTest::newRow("no wildcards") << "we*" << QStringList{};
    }
    void containers()
    {
        QFETCH(QString, filter);
        QFETCH(QStringList, expected);
        QCOMPARE(names(Filters::containers(m_containers, Filters::query(filter)), &Container::name), expected);
    }

    void imagesAndVolumes()
    {
        const QList<DockerImage> images{{"1", "postgres", "16-alpine", "1 GB"}, {"2", "redis", "7", "1 MB"}};
        QCOMPARE(names(Filters::images(images, Filters::query("16-al")), &DockerImage::repository), QStringList{"postgres"});
        QCOMPARE(names(Filters::images(images, Filters::query("s:7")), &DockerImage::repository), QStringList{"redis"});
        QCOMPARE(Filters::images(images, Filters::query("1 GB")).size(), 0);
        const QList<DockerVolume> volumes{{"Shop_data", "local", "/v"}, {"other", "localdriver", "/v"}};
        QCOMPARE(names(Filters::volumes(volumes, Filters::query("SHOP")), &DockerVolume::name), QStringList{"Shop_data"});
        QCOMPARE(Filters::volumes(volumes, Filters::query("driver")).size(), 0);
    }

    void projectsKeepRegisteredNames()
    {
        const QList<Container> all{c("shop-web-1", "nginx", "shop"), c("media-db-1", "postgres", "media")};
        const QList<KnownProject> known{{"storefront", "/srv/storefront", {"php", "db"}}, {"media", "/srv/media", {"db"}}};
        const auto build = [&](const QString &filter) {
            const QString q = Filters::query(filter);
            return names(Filters::projects(ProjectRegistry::merge(Docker::group(Filters::containers(all, q)), known, {}), q), &ComposeProject::name);
        };
        QCOMPARE(build(""), QStringList({"media", "shop", "storefront"}));
        QCOMPARE(build("STORE"), QStringList({"storefront"}));   // registered, nothing running
        QCOMPARE(build("nginx"), QStringList({"shop"}));          // only through a matching container
        QCOMPARE(build("postgres"), QStringList({"media"}));
    }

    // Which runtimes are watched: this machine's whose socket is there, others' when turned
    // on, the selected one whatever it is; two reaching one endpoint are one engine.
    void watchedEngines_data()
    {
        QTest::addColumn<QStringList>("remotesOn");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QStringList>("watched");
        QTest::newRow("this machine's that are there") << QStringList{} << "default" << QStringList{"default", "podman"};
        QTest::newRow("a remote turned on") << QStringList{"build"} << "default" << QStringList{"default", "podman", "build"};
        QTest::newRow("the selected remote, though off") << QStringList{} << "build" << QStringList{"default", "podman", "build"};
        QTest::newRow("a socket gone, unless selected") << QStringList{} << "rootless" << QStringList{"default", "rootless", "podman"};
        QTest::newRow("the selected twin wins") << QStringList{} << "system" << QStringList{"system", "podman"};
        QTest::newRow("an unlisted socket's twin") << QStringList{} << "/var/run/docker.sock" << QStringList{"podman"};
    }
    void watchedEngines()
    {
        QFETCH(QStringList, remotesOn);
        QFETCH(QString, selected);
        const QList<RuntimeEntry> entries{{Runtime::context("default"), "unix:///var/run/docker.sock", true},
                                          {Runtime::context("rootless"), "unix:///run/user/1000/docker.sock", false},
                                          {Runtime::context("system"), "unix:///var/run/docker.sock", true},
                                          {Runtime::socket("podman", "/run/user/1000/podman/podman.sock"), "unix:///run/user/1000/podman/podman.sock", true},
                                          {Runtime::context("build"), "ssh://ci@build", true}};
        QStringList names;
        const Runtime chosen = selected.startsWith('/') ? Runtime::socket("by path", selected) : Runtime::context(selected);
        for (const RuntimeEntry &e : RuntimeSelection::watched(entries, remotesOn, chosen))
            names << e.runtime.name;
        QTEST(names, "watched");
    }

    // Every engine's rows side by side, each saying whose it is: a namesake project on two
    // engines is two projects, and a volume counts as mounted only by its own engine's rows.
    void mergedView()
    {
        const auto part = [](const QString &engine, QList<Container> containers, QList<DockerVolume> volumes) {
            for (Container &x : containers)
                x.engine = engine;
            for (DockerVolume &v : volumes)
                v.engine = engine;
            return MergedView::Part{engine, containers, {}, volumes, {}, {}};
        };
        Container web = c("shop-web-1", "nginx", "shop");
        web.mounts = {"shop_data"};
        const MergedView view({part("default", {web, c("cache", "redis")}, {{"shop_data", "local", "/v"}}),
                               part("build", {c("shop-web-1", "nginx", "shop")}, {{"shop_data", "local", "/w"}})});
        QVERIFY(view.several());
        QCOMPARE(names(view.containers(Filters::query("shop")), &Container::engine), QStringList({"default", "build"}));
        const QList<ComposeProject> projects = view.projects({});
        QCOMPARE(names(projects, &ComposeProject::engine), QStringList({"default", "build"}));
        QCOMPARE(projects.last().containers.first().engine, "build");
        QCOMPARE(view.mountedVolumes(), QSet<QString>{MergedView::rowKey("default", "shop_data")});
        QCOMPARE(view.running(), 3);
    }
};

QTEST_GUILESS_MAIN(FiltersTest)
#include "tst_filters.moc"
