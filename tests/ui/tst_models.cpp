#include "appstore.h"
#include "storesupport.h"
#include "containermodel.h"
#include "fakeengine.h"
#include "projectmodel.h"
#include "settingscontroller.h"
#include "shell.h"
#include "toolchainstore.h"

#include <QAbstractItemModelTester>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
Container row(const QString &id, const QString &state = QStringLiteral("running"), const QString &project = {})
{
    Container c{id, id + QStringLiteral("-name"), QStringLiteral("img"), state, state, {}, {}};
    if (!project.isEmpty())
        c.labels.insert(QString::fromLatin1(Labels::project), project);
    return c;
}

QList<Container> rows(const QString &ids)
{
    QList<Container> list;
    for (const QChar id : ids)
        list.append(row(QString(id)));
    return list;
}

QStringList ids(const ContainerModel &model)
{
    QStringList list;
    for (int i = 0; i < model.rowCount(); ++i)
        list << model.index(i).data(ContainerModel::ContainerIdRole).toString().section(QChar(0x1f), -1);
    return list;
}

// Every kind of change signal a model can send, counted.
struct Spies {
    explicit Spies(QAbstractItemModel *m)
        : inserted(m, &QAbstractItemModel::rowsInserted), removed(m, &QAbstractItemModel::rowsRemoved),
          moved(m, &QAbstractItemModel::rowsMoved), changed(m, &QAbstractItemModel::dataChanged),
          reset(m, &QAbstractItemModel::modelReset), layout(m, &QAbstractItemModel::layoutChanged)
    {
    }
    int total() const { return int(inserted.size() + removed.size() + moved.size() + changed.size() + reset.size() + layout.size()); }
    QSignalSpy inserted, removed, moved, changed, reset, layout;
};

// The registry has moved on from the image of the containers whose id is named;
// every other row's image is current, with the same words.
std::function<std::optional<ImageFreshness>(const Container &)> newerFor(const QStringList &ids)
{
    return [ids](const Container &c) {
        const auto state = ids.contains(c.id) ? ImageFreshness::State::Newer : ImageFreshness::State::Current;
        return std::optional(ImageFreshness{QStringLiteral("img:latest"), state, QStringLiteral("docker.io has a newer img:latest")});
    };
}
}

class TestModels : public QObject {
    Q_OBJECT

private slots:
    void keyedSync_data();
    void keyedSync();
    void stateChangeTouchesOneRowAndItsRoles();
    void projectCardKeepsItsRowsModel();
    void usageIsReadForRunningRowsOnScreen();
    void unchangedPollThroughTheStoreEmitsNothing();
};

void TestModels::keyedSync_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<int>("inserts");
    QTest::addColumn<int>("removes");
    QTest::addColumn<int>("moves");

    QTest::newRow("unchanged poll") << "abcd" << "abcd" << 0 << 0 << 0;
    QTest::newRow("first data") << "" << "abc" << 3 << 0 << 0;
    QTest::newRow("append") << "abc" << "abcd" << 1 << 0 << 0;
    QTest::newRow("insert in the middle") << "abd" << "abcd" << 1 << 0 << 0;
    QTest::newRow("remove one") << "abcd" << "abd" << 0 << 1 << 0;
    QTest::newRow("remove a run in one step") << "abcdef" << "af" << 0 << 1 << 0;
    QTest::newRow("remove three apart") << "abcde" << "bd" << 0 << 3 << 0;
    QTest::newRow("everything goes") << "abc" << "" << 0 << 1 << 0;
    QTest::newRow("swap") << "ab" << "ba" << 0 << 0 << 1;
    QTest::newRow("last to front") << "abcd" << "dabc" << 0 << 0 << 1;
    QTest::newRow("reverse") << "abcd" << "dcba" << 0 << 0 << 3;
    QTest::newRow("remove, add and move") << "abcd" << "dxb" << 1 << 2 << 1;
}

void TestModels::keyedSync()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(int, inserts);
    QFETCH(int, removes);
    QFETCH(int, moves);

    ContainerModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.setContainers(rows(before));
    Spies spies(&model);
    QSignalSpy count(&model, &KeyedListModel::countChanged);

    model.setContainers(rows(after));

    QCOMPARE(ids(model).join(QString()), after);
    QCOMPARE(spies.inserted.size(), inserts);
    QCOMPARE(spies.removed.size(), removes);
    QCOMPARE(spies.moved.size(), moves);
    QCOMPARE(spies.changed.size(), 0);
    QCOMPARE(spies.reset.size(), 0);
    QCOMPARE(spies.layout.size(), 0);
    QCOMPARE(count.size(), before.size() == after.size() ? 0 : 1);
}

void TestModels::stateChangeTouchesOneRowAndItsRoles()
{
    ContainerModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.setContainers(rows(QStringLiteral("abc")));
    Spies spies(&model);

    QList<Container> next = rows(QStringLiteral("abc"));
    next[1].state = QStringLiteral("exited");
    model.setContainers(next);

    QCOMPARE(spies.total(), 1);
    const QList<QVariant> args = spies.changed.first();
    QCOMPARE(args[0].toModelIndex().row(), 1);
    QCOMPARE(args[1].toModelIndex().row(), 1);
    const auto roles = args[2].value<QList<int>>();
    QVERIFY(roles.contains(ContainerModel::ContainerStateRole));
    QVERIFY(roles.contains(ContainerModel::ActionLabelRole));
    QVERIFY(!roles.contains(ContainerModel::NameRole));
    QVERIFY(!roles.contains(ContainerModel::StatusRole));
    QCOMPARE(model.index(1).data(ContainerModel::ActionLabelRole).toString(), QStringLiteral("Start"));

    // The registry moves on from b's image: b's row alone is marked and told, once, however
    // often the same rows and the same answers come again.
    Spies marks(&model);
    model.setNewerOf(newerFor({"b"}));
    model.setContainers(next);
    model.markNewer();
    QCOMPARE(marks.total(), 1);
    QCOMPARE(marks.changed.first()[0].toModelIndex().row(), 1);
    QCOMPARE(marks.changed.first()[2].value<QList<int>>(),
             (QList<int>{ContainerModel::NewerRole, ContainerModel::NewerReasonRole, ContainerModel::DescriptionRole}));
    QVERIFY(model.index(1).data(ContainerModel::NewerRole).toBool());
    QCOMPARE(model.index(1).data(ContainerModel::NewerReasonRole).toString(), QStringLiteral("docker.io has a newer img:latest"));
    QVERIFY(!model.index(0).data(ContainerModel::NewerRole).toBool());
    QCOMPARE(model.index(0).data(ContainerModel::NewerReasonRole).toString(), QString());

}

void TestModels::projectCardKeepsItsRowsModel()
{
    ProjectModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    const auto project = [](const QString &name, QList<Container> containers) {
        ComposeProject p{name, QStringLiteral("/srv/") + name, containers, int(containers.size())};
        return p;
    };
    model.setProjects({project("shop", {row("a", "running", "shop"), row("b", "running", "shop")}), project("blog", {row("c", "exited", "blog")})});
    ContainerModel *shopRows = model.containersOf(QStringLiteral("shop"));
    QVERIFY(shopRows);
    Spies cards(&model);
    Spies shopSpies(shopRows);

    // One container stops: the card's count changes, and the card's own list changes one row.
    model.setProjects({project("shop", {row("a", "running", "shop"), row("b", "exited", "shop")}), project("blog", {row("c", "exited", "blog")})});

    QCOMPARE(model.containersOf(QStringLiteral("shop")), shopRows);
    QCOMPARE(cards.total(), 1);
    QCOMPARE(cards.changed.first()[2].value<QList<int>>(), (QList<int>{ProjectModel::RunningCountRole, ProjectModel::UsageRole, ProjectModel::DescriptionRole}));
    QCOMPARE(shopSpies.total(), 1);
    QCOMPARE(shopSpies.changed.first()[0].toModelIndex().row(), 1);

    // Its services' images moved on: the card says how many, and only its own roles change.
    const QList<std::pair<QStringList, QString>> newer{
        {{"b"}, "1 service has a newer image"}, {{"a", "b"}, "2 services have newer images"}, {{}, ""}};
    for (const auto &[ids, line] : newer) {
        Spies told(&model);
        model.setNewerOf(newerFor(ids));
        QCOMPARE(model.index(0).data(ProjectModel::NewerLineRole).toString(), line);
        QCOMPARE(told.total(), 1);
        QCOMPARE(told.changed.first()[0].toModelIndex().row(), 0);
        QCOMPARE(told.changed.first()[2].value<QList<int>>(), (QList<int>{ProjectModel::NewerLineRole, ProjectModel::DescriptionRole}));
        QCOMPARE(model.index(0).data(ProjectModel::DescriptionRole).toString().endsWith(line), true);
        QCOMPARE(shopRows->index(1).data(ContainerModel::NewerRole).toBool(), ids.contains("b"));
        QCOMPARE(model.index(1).data(ProjectModel::NewerLineRole).toString(), QString());
    }
}

void TestModels::usageIsReadForRunningRowsOnScreen()
{
    UsageWatch watch(std::make_shared<FakeEngine>(), [] { return qint64(5000); }, {});
    QList<Container> containers = rows(QStringLiteral("abc"));
    containers[1].state = QStringLiteral("exited");
    auto model = std::make_unique<ContainerModel>();
    QAbstractItemModelTester tester(model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    model->setContainers(containers);
    model->setUsage(&watch);
    QCOMPARE(watch.wanted(), QSet<QString>());

    // Shown twice (the window and a card), stopped, or never on screen: read only a.
    model->onScreen("a", true);
    model->onScreen("a", true);
    model->onScreen("b", true);
    QCOMPARE(watch.wanted(), QSet<QString>({"a"}));
    model->onScreen("a", false);
    QCOMPARE(watch.wanted(), QSet<QString>({"a"}));
    containers[1].state = QStringLiteral("running");
    model->setContainers(containers);
    QCOMPARE(watch.wanted(), QSet<QString>({"a", "b"}));

    Spies spies(model.get());
    watch.see({Usage{"b", 3.0, 48'000'000, {}}}, 5000);
    QCOMPARE(spies.total(), 1);
    QCOMPARE(spies.changed.first()[0].toModelIndex().row(), 1);
    QCOMPARE(model->index(1).data(ContainerModel::UsageRole).toString(), QStringLiteral("CPU 3.0% · 48 MB"));
    QCOMPARE(model->index(1).data(ContainerModel::TrendRole).value<QList<qreal>>().last(), 0.6);

    // A stopped container's last minute says nothing about now.
    containers[1].state = QStringLiteral("exited");
    model->setContainers(containers);
    QCOMPARE(model->index(1).data(ContainerModel::UsageRole).toString(), QString());
    model.reset();
    QCOMPARE(watch.wanted(), QSet<QString>());
}

void TestModels::unchangedPollThroughTheStoreEmitsNothing()
{
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    auto engine = std::make_shared<FakeEngine>();
    AppStore store(&settings, engine, TestSupport::quietTiming());
    ToolchainStore toolchain(&settings, std::make_shared<HomebrewToolchain>());
    Shell shell(&store, &toolchain, &settings);
    ToolModel tools;
    // Every model the views read, watched from before its first rows.
    std::vector<std::unique_ptr<QAbstractItemModelTester>> testers;
    for (QAbstractItemModel *m : std::initializer_list<QAbstractItemModel *>{shell.containers(), shell.projects(), shell.images(),
                                                                            shell.volumes(), shell.runtimes(), &tools,
                                                                            shell.disk()->items(), shell.disk()->tiles()})
        testers.push_back(std::make_unique<QAbstractItemModelTester>(m, QAbstractItemModelTester::FailureReportingMode::QtTest));
    Tool docker{QStringLiteral("docker"), QStringLiteral("Docker CLI")};
    Tool compose{QStringLiteral("compose"), QStringLiteral("Docker Compose")};
    tools.setTools({docker, compose});
    docker.installed = QStringLiteral("27.3.1");
    tools.setTools({compose, docker});
    QCOMPARE(tools.index(1).data(ToolModel::InstalledRole).toString(), QStringLiteral("27.3.1"));

    FakeEngine::Holdings state;
    state.containers = {row("a", "running", "shop"), row("b", "exited", "shop"), row("c")};
    state.images = {{QStringLiteral("i1"), QStringLiteral("busybox"), QStringLiteral("1"), QStringLiteral("4MB")}};
    state.volumes = {{QStringLiteral("v1"), QStringLiteral("local"), QStringLiteral("/v1")}};
    engine->setHoldings(state);
    QCoro::waitFor(store.loadContexts());
    QCOMPARE(shell.containers()->count(), 3);
    QCOMPARE(shell.projects()->projectCount(), 1);
    QCOMPARE(shell.projects()->count(), 2);   // the loose containers' card comes last
    QVERIFY(shell.projects()->containersOf(QStringLiteral("\x01loose")));
    // Whether each comes back after a restart is read once, after the listing.
    QTRY_VERIFY(store.restarts().all(store.selected().name()));

    QList<std::shared_ptr<Spies>> spies;
    for (QAbstractItemModel *m : std::initializer_list<QAbstractItemModel *>{shell.containers(), shell.projects(), shell.images(),
                                                                            shell.volumes(), shell.runtimes(), shell.projects()->containersOf("shop"),
                                                                            shell.projects()->containersOf("\x01loose")})
        spies.append(std::make_shared<Spies>(m));
    QSignalSpy counters(&shell, &Shell::countersChanged);

    // The same rows in another order is no change either: the engine reorders equal rows.
    std::reverse(state.containers.begin(), state.containers.end());
    TestSupport::show(store, *engine, state);

    for (const auto &s : spies)
        QCOMPARE(s->total(), 0);
    QCOMPARE(counters.size(), 0);

    // Sorting moves rows and rebuilds none; each section keeps its order for the next start.
    shell.setCategory(int(Category::Containers));
    shell.setSortIndex(int(shell.sortChoices().indexOf("Name")));
    QCOMPARE(ids(*shell.containers()), (QStringList{"a", "b", "c"}));
    Spies sorting(shell.containers());
    shell.setSortIndex(int(shell.sortChoices().indexOf("State")));
    QCOMPARE(ids(*shell.containers()), (QStringList{"a", "c", "b"}));
    QVERIFY(sorting.moved.size() > 0);
    QCOMPARE(sorting.total(), sorting.moved.size());
    Shell next(&store, &toolchain, &settings);
    next.setCategory(int(Category::Containers));
    QCOMPARE(next.sortChoices().value(next.sortIndex()), "State");
    QCOMPARE(ids(*next.containers()), (QStringList{"a", "c", "b"}));
    next.setCategory(int(Category::Images));
    QCOMPARE(next.sortChoices().value(next.sortIndex()), "As listed");

    // A disk report read, or one emptied by a change of runtime, changes what the tiles say;
    // the tiles themselves stay, since a layout holds them.
    DiskTileModel *tiles = shell.disk()->tiles();
    QCOMPARE(tiles->count(), 4);
    Spies told(tiles);
    DiskUsage usage;
    usage.volumes = {{QStringLiteral("v1"), 4096, 1}};
    shell.disk()->show(usage, QDateTime::currentDateTime());
    QCOMPARE(tiles->index(2).data(DiskTileModel::DetailRole).toString(), QStringLiteral("1 volume · 1 mounted"));
    // Shown alone, another engine has no report yet.
    store.setShowAll(false);
    store.select(Runtime::context(QStringLiteral("elsewhere")));
    QCOMPARE(tiles->index(2).data(DiskTileModel::TotalRole).toString(), QStringLiteral("—"));
    QCOMPARE(tiles->index(2).data(DiskTileModel::DetailRole).toString(), QString());
    QCOMPARE(told.total(), told.changed.size());
    QVERIFY(told.changed.size() >= 2);
}

QTEST_GUILESS_MAIN(TestModels)
#include "tst_models.moc"
