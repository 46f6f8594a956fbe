#include "shots.h"
#include "settings.h"

#include "actions.h"
#include "desktop.h"
#include "execconsole.h"
#include "fakeengine.h"
#include "jobrun.h"
#include "logfollower.h"
#include "projectdeletion.h"
#include "sampledata.h"
#include "settingscontroller.h"
#include "shell.h"
#include "theme.h"
#include "toolchainstore.h"

#include <QApplication>
#include <QCoroTask>
#include <QDir>
#include <QDeadlineTimer>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

namespace Shots {

namespace {
void settle()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// The fake answers at once, but on the store's workers; a picture waits for the result,
// asleep until something arrives rather than spinning against the workers for the CPU.
bool waitUntil(const std::function<bool()> &done)
{
    const QDeadlineTimer deadline(5000);
    QTimer look;
    look.start(20);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

// What a verb hands its sheet, caught on its way there.
template<typename T, typename Signal>
T *caught(Actions &actions, Signal signal, const std::function<void()> &perform)
{
    T *object = nullptr;
    const auto connection = QObject::connect(&actions, signal, [&](T *given, auto &&...) { object = given; });
    perform();
    QObject::disconnect(connection);
    return object;
}

// One picture's world: the sample engine and tools, a clock that reads 14:05 when the lists
// were read, and a session of its own, so nothing one picture does shows in the next.
struct Stage {
    std::shared_ptr<FakeEngine> engine;
    std::shared_ptr<SampleData::Toolchain> tools = std::make_shared<SampleData::Toolchain>();
    std::shared_ptr<QDateTime> now;
    std::unique_ptr<Desktop::Session> session;
    QDateTime listed;
    QString root;

    ~Stage()
    {
        // Whatever a picture held ends before the store that waits for it.
        if (engine)
            engine->releaseAll();
    }

    AppStore &store() { return session->store(); }
    Actions &actions() { return session->actions(); }
    void showTools(bool sample)
    {
        tools->setEmpty(!sample);
        QCoro::waitFor(session->toolchain().check());
    }
    Container container(const QString &name)
    {
        const auto &all = store().containers();
        return *std::find_if(all.cbegin(), all.cend(), [&](const Container &c) { return c.name == name; });
    }
};

// HostSettings: the settings window on a Linux machine without Homebrew.
enum class Target { Main, Panel, Settings, HostSettings };

struct Scene {
    QString name;
    Category category;
    std::function<void(Stage &)> setUp = {};
    QSize size = QSize(1080, 700);
    Target target = Target::Main;
    // Keys pressed once the view is up, with the keyboard in the named list.
    QString focusList = {};
    QList<Qt::Key> keys = {};
};

// What a tiling compositor gives a window on half of a 1600 px screen.
constexpr QSize narrow(800, 900);

const QString website = QStringLiteral("website");
const QString websiteFrontend = QStringLiteral("website-frontend-1");

void twoEngines(Stage &stage)
{
    // A rootless engine beside the system one, with a namesake of a system container.
    RuntimeList runtimes = stage.engine->runtimes();
    runtimes.list.insert(1, {Runtime::context(QStringLiteral("rootless")), QStringLiteral("unix:///run/user/1000/docker.sock"), true});
    stage.engine->setRuntimes(runtimes);
    FakeEngine::Holdings rootless;
    Container web = stage.container(QStringLiteral("website-frontend-1"));
    web.id = QStringLiteral("77aa00cc11dd");
    Container lab;
    lab.id = QStringLiteral("88bb11ee22ff");
    lab.name = QStringLiteral("notebook");
    lab.image = QStringLiteral("jupyter/base-notebook:2024-05");
    lab.state = QStringLiteral("running");
    lab.status = QStringLiteral("Up 3 hours");
    rootless.containers = {web, lab};
    stage.engine->setHoldings(rootless, QStringLiteral("rootless"));
    QCoro::waitFor(stage.store().loadContexts());
    waitUntil([&] { return stage.store().shown().several(); });
}

// The engine keeps the lists waiting; the window says for how long.
void stale(Stage &stage)
{
    stage.engine->hold(FakeEngine::Call::Listing);
    stage.store().refresh();
    *stage.now = stage.listed.addSecs(12);
    waitUntil([&] { return stage.store().stale(); });
}

// Work part way: the engine prints what it has done so far, then waits.
void pulling(Stage &stage)
{
    stage.engine->setProgress(EngineAction::Kind::Pull, SampleData::pullProgress());
    stage.engine->hold(FakeEngine::Call::Action);
    stage.store().pull(QStringLiteral("nginx:1.27"));
    waitUntil([&] { return !stage.store().work().list().value(0).pull.layers.isEmpty(); });
}

void upping(Stage &stage)
{
    stage.engine->setProgress(EngineAction::Kind::ComposeUp, SampleData::upProgress());
    stage.engine->hold(FakeEngine::Call::Action);
    stage.actions().perform(Verb::Up, QStringLiteral("storefront"));
    waitUntil([&] {
        const auto &all = stage.store().work().list();
        return std::any_of(all.cbegin(), all.cend(), [](const Work &w) { return w.compose.services.size() >= 2; });
    });
}

const QList<Scene> &scenes()
{
    static const QList<Scene> all = {
        {QStringLiteral("projects"), Category::Projects},
        {QStringLiteral("projects-all"), Category::Projects, {}, QSize(1080, 1720)},
        {QStringLiteral("containers"), Category::Containers},
        {QStringLiteral("images"), Category::Images},
        {QStringLiteral("volumes"), Category::Volumes},
        {QStringLiteral("networks"), Category::Networks},
        {QStringLiteral("disk"), Category::Disk, [](Stage &stage) { QCoro::waitFor(stage.store().readDisk()); }},
        {QStringLiteral("disk-narrow"), Category::Disk, [](Stage &stage) { QCoro::waitFor(stage.store().readDisk()); }, narrow},
        {QStringLiteral("projects-narrow"), Category::Projects, {}, narrow},
        {QStringLiteral("containers-narrow"), Category::Containers, {}, narrow},
        {QStringLiteral("images-narrow"), Category::Images, {}, narrow},
        {QStringLiteral("volumes-narrow"), Category::Volumes, {}, narrow},
        // The focus ring on a row, then on one of a card's row's buttons.
        {QStringLiteral("focus-row"), Category::Containers, {}, QSize(1080, 700), Target::Main, QStringLiteral("containersList"), {Qt::Key_Down}},
        {QStringLiteral("focus-button"), Category::Projects, {}, QSize(1080, 700), Target::Main, QStringLiteral("projectsList"),
         {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Right}},
        {QStringLiteral("banners"), Category::Containers, [](Stage &stage) {
             // staging does not answer, so the store hands over to default and says so.
             stage.engine->failWith(FakeEngine::Call::Listing, QStringLiteral("error during connect: ssh: connect to host staging: timed out"),
                                    QStringLiteral("staging"));
             stage.store().select(Runtime::context(QStringLiteral("staging")));
             waitUntil([&] { return !stage.store().noticeText().isEmpty() && !stage.store().containers().isEmpty(); });
             stage.store().reportError(QStringLiteral("Error response from daemon: cannot stop container: storefront-db-1: permission denied"));
             stage.showTools(true);
         }},
        {QStringLiteral("stale"), Category::Projects, stale},
        {QStringLiteral("engines"), Category::Containers, twoEngines},
        {QStringLiteral("tray-panel-engines"), Category::Projects, twoEngines, {}, Target::Panel},
        {QStringLiteral("empty-filter"), Category::Containers, [](Stage &stage) { stage.store().setFilter(QStringLiteral("kafka")); }},
        {QStringLiteral("empty-section"), Category::Volumes, [](Stage &stage) {
             auto holdings = SampleData::holdings(stage.root);
             holdings.volumes.clear();
             stage.engine->setHoldings(holdings);
             QCoro::waitFor(stage.store().refresh());
         }},
        {QStringLiteral("sheet-logs"), Category::Projects, [](Stage &stage) {
             stage.engine->setLogOutput(SampleData::logText().toUtf8());
             auto *follower = caught<LogFollower>(stage.actions(), &Actions::logsRequested,
                                                  [&] { stage.actions().perform(Verb::ProjectLogs, website); });
             waitUntil([&] { return follower->transcript()->total() > 0; });
         }},
        // More than the sheet could show at once: how many lines were passed over, and the
        // reader gone back by keyboard to the note that stands where they were.
        {QStringLiteral("sheet-logs-flood"), Category::Projects, [](Stage &stage) {
             QByteArray flood = SampleData::logText().toUtf8();
             for (int i = 0; i < 4000; ++i)
                 flood += "frontend-1  | 172.18.0.1 - - [22/Nov/2026:09:17:02 +0000] \"GET /api/items?page=" + QByteArray::number(i)
                        + " HTTP/1.1\" 200 " + QByteArray::number(512 + i % 300) + '\n';
             stage.engine->setLogOutput(flood);
             auto *follower = caught<LogFollower>(stage.actions(), &Actions::logsRequested,
                                                  [&] { stage.actions().perform(Verb::ProjectLogs, website); });
             waitUntil([&] { return follower->transcript()->passedOver() > 0; });
         }, QSize(1080, 700), Target::Main, QStringLiteral("logScroll"), {Qt::Key_Down, Qt::Key_Up}},
        {QStringLiteral("sheet-exec"), Category::Containers, [](Stage &stage) {
             const auto commands = SampleData::commands();
             stage.engine->setExec([commands](const QString &, const QString &command) {
                 for (const auto &[typed, result] : commands) {
                     if (typed == command)
                         return result;
                 }
                 return ExecResult{true, {}, 0, {}};
             });
             auto *console = caught<ExecConsole>(stage.actions(), &Actions::consoleRequested, [&] {
                 stage.actions().perform(Verb::Console, stage.container(websiteFrontend).id);
             });
             for (const auto &[typed, result] : commands) {
                 console->setCommand(typed);
                 console->run();
                 waitUntil([&] { return !console->running(); });
             }
         }},
        {QStringLiteral("sheet-exec-empty"), Category::Containers, [](Stage &stage) {
             stage.actions().perform(Verb::Console, stage.container(websiteFrontend).id);
         }},
        {QStringLiteral("sheet-details"), Category::Containers, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested, [&] {
                 stage.actions().perform(Verb::Details, stage.container(QStringLiteral("storefront-db-1")).id);
             });
             waitUntil([&] { return inspection->loaded(); });
         }},
        // Its last sections, reached by End: ports, networks, labels.
        {QStringLiteral("sheet-details-end"), Category::Containers, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested, [&] {
                 stage.actions().perform(Verb::Details, stage.container(QStringLiteral("storefront-db-1")).id);
             });
             waitUntil([&] { return inspection->loaded(); });
         }, QSize(1080, 700), Target::Main, QStringLiteral("detailsBody"), {Qt::Key_End}},
        {QStringLiteral("sheet-details-oom"), Category::Containers, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested, [&] {
                 stage.actions().perform(Verb::Details, stage.container(QStringLiteral("storefront-worker-1")).id);
             });
             waitUntil([&] { return inspection->loaded(); });
         }},
        {QStringLiteral("sheet-image"), Category::Images, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested,
                                                   [&] { stage.actions().perform(Verb::ImageDetails, QStringLiteral("2a7c4e9f5d04")); });
             waitUntil([&] { return inspection->loaded(); });
         }},
        {QStringLiteral("sheet-volume"), Category::Volumes, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested,
                                                   [&] { stage.actions().perform(Verb::VolumeDetails, QStringLiteral("website_assets")); });
             waitUntil([&] { return inspection->loaded(); });
         }},
        {QStringLiteral("sheet-network"), Category::Networks, [](Stage &stage) {
             auto *inspection = caught<Inspection>(stage.actions(), &Actions::detailsRequested,
                                                   [&] { stage.actions().perform(Verb::NetworkDetails, QStringLiteral("storefront_default")); });
             waitUntil([&] { return inspection->loaded(); });
         }},
        {QStringLiteral("sheet-reclaim"), Category::Disk, [](Stage &stage) {
             QCoro::waitFor(stage.store().readDisk());
             auto *reclaim = caught<Reclaiming>(stage.actions(), &Actions::reclaimRequested, [&] { stage.actions().perform(Verb::Reclaim, {}); });
             waitUntil([&] { return reclaim->planned(); });
             reclaim->setChosen(int(ReclaimPlan::Kind::StoppedContainers), true);
         }},
        {QStringLiteral("work-reclaim"), Category::Disk, [](Stage &stage) {
             QCoro::waitFor(stage.store().readDisk());
             auto *reclaim = caught<Reclaiming>(stage.actions(), &Actions::reclaimRequested, [&] { stage.actions().perform(Verb::Reclaim, {}); });
             waitUntil([&] { return reclaim->planned(); });
             reclaim->setChosen(int(ReclaimPlan::Kind::StoppedContainers), true);
             reclaim->setChosen(int(ReclaimPlan::Kind::UnusedImages), true);
             // Someone starts a container from node:20-alpine after the plan was shown: its
             // removal is refused in the engine's words, and the rest goes on.
             auto holdings = SampleData::holdings(stage.root);
             Container late = holdings.containers.last();
             late.id = QStringLiteral("4e1c0a7d2b93");
             late.name = QStringLiteral("node-repl");
             late.image = QStringLiteral("node:20-alpine");
             late.state = QStringLiteral("running");
             holdings.containers.append(late);
             stage.engine->setHoldings(holdings);
             stage.engine->hold(EngineAction::Kind::ReclaimCache);
             reclaim->confirm();
             waitUntil([&] { return stage.engine->calls(FakeEngine::Call::Action) >= 4; });
         }},
        // The storefront's pull found a newer php image, the rest up to date, the mail relay refused.
        {QStringLiteral("projects-pull"), Category::Projects, [](Stage &stage) {
             stage.store().setFilter(QStringLiteral("storefront"));
             stage.engine->setProgress(EngineAction::Kind::ComposePull, SampleData::projectPullProgress());
             stage.engine->setNewerImage(QStringLiteral("php:8.3-fpm"), QStringLiteral("e2d4f6a8b011"));
             stage.actions().perform(Verb::PullNewer, QStringLiteral("storefront"));
             waitUntil([&] { return stage.store().pulls().contains(QStringLiteral("storefront")); });
         }},
        {QStringLiteral("work-pull-project"), Category::Projects, [](Stage &stage) {
             stage.store().setFilter(QStringLiteral("storefront"));
             stage.engine->setProgress(EngineAction::Kind::ComposePull, SampleData::projectPullProgress().mid(0, 6));
             stage.engine->hold(EngineAction::Kind::ComposePull);
             stage.actions().perform(Verb::PullNewer, QStringLiteral("storefront"));
             waitUntil([&] {
                 const auto &all = stage.store().work().list();
                 return std::any_of(all.cbegin(), all.cend(), [](const Work &w) { return w.compose.services.size() >= 4; });
             });
         }},
        {QStringLiteral("sheet-compose-file"), Category::Projects, [](Stage &stage) {
             auto *file = caught<ComposeFileState>(stage.actions(), &Actions::composeFileRequested,
                                                   [&] { stage.actions().perform(Verb::ShowComposeFile, QStringLiteral("storefront")); });
             waitUntil([&] { return file->loaded(); });
         }},
        {QStringLiteral("sheet-commit"), Category::Containers, [](Stage &stage) {
             stage.actions().perform(Verb::Commit, stage.container(websiteFrontend).id);
         }},
        {QStringLiteral("sheet-delete"), Category::Projects, [](Stage &stage) {
             auto *deletion = caught<ProjectDeletion>(stage.actions(), &Actions::deletionRequested,
                                                      [&] { stage.actions().perform(Verb::DeleteProject, website); });
             deletion->setTrashDirectory(true);
             waitUntil([&] { return deletion->planned(); });
         }},
        {QStringLiteral("sheet-down"), Category::Projects, [](Stage &stage) {
             stage.actions().perform(Verb::Down, QStringLiteral("storefront"));
         }},
        {QStringLiteral("sheet-pull-newer"), Category::Containers, [](Stage &stage) {
             stage.actions().perform(Verb::PullNewerImage, stage.container(QStringLiteral("backup-agent")).id);
         }},
        {QStringLiteral("sheet-restart-lines"), Category::Projects, [](Stage &stage) {
             stage.actions().perform(Verb::KeepServicesRunning, QStringLiteral("website"));
         }},
        {QStringLiteral("sheet-remove-volume"), Category::Volumes, [](Stage &stage) {
             stage.actions().perform(Verb::RemoveVolume, QStringLiteral("notes_data"));
         }},
        {QStringLiteral("work-pull"), Category::Images, pulling},
        {QStringLiteral("work-up"), Category::Projects, [](Stage &stage) {
             upping(stage);
             // storefront's card is near the end of the list.
             stage.store().setFilter(QStringLiteral("storefront"));
         }},
        {QStringLiteral("work-backup"), Category::Volumes, [](Stage &stage) {
             stage.engine->hold(FakeEngine::Call::Action);
             const auto &volumes = stage.store().volumes();
             stage.store().backUp(*std::find_if(volumes.cbegin(), volumes.cend(), [](const DockerVolume &v) { return v.name == QLatin1String("website_assets"); }),
                                  QDir::home().filePath(QStringLiteral("website_assets.tar")));
             waitUntil([&] { return stage.store().work().list().value(0).moved.bytes > 0; });
         }},
        {QStringLiteral("work-delete"), Category::Projects, [](Stage &stage) {
             auto *deletion = caught<ProjectDeletion>(stage.actions(), &Actions::deletionRequested,
                                                      [&] { stage.actions().perform(Verb::DeleteProject, website); });
             deletion->setTrashDirectory(true);
             waitUntil([&] { return deletion->planned(); });
             // The containers go; the first volume's removal is under way.
             stage.engine->hold(EngineAction::Kind::RemoveVolume);
             deletion->confirm();
             waitUntil([&] { return stage.engine->calls(FakeEngine::Call::Action) >= 2; });
         }},
        {QStringLiteral("tray-panel-work"), Category::Projects, [](Stage &stage) {
             pulling(stage);
             upping(stage);
         }, {}, Target::Panel},
        {QStringLiteral("tray-panel"), Category::Projects, [](Stage &stage) { stage.showTools(true); }, {}, Target::Panel},
        {QStringLiteral("tray-panel-stale"), Category::Projects, stale, {}, Target::Panel},
        {QStringLiteral("tray-panel-empty"), Category::Projects, [](Stage &stage) {
             for (const auto &p : stage.store().projects())
                 stage.store().forget(p);
             auto holdings = SampleData::holdings(stage.root);
             holdings.containers.clear();
             stage.engine->setHoldings(holdings);
             QCoro::waitFor(stage.store().refresh());
         }, {}, Target::Panel},
        {QStringLiteral("settings"), Category::Projects, [](Stage &stage) { stage.showTools(true); }, QSize(640, 940), Target::Settings},
        {QStringLiteral("settings-linux"), Category::Projects, {}, QSize(640, 960), Target::HostSettings},
        {QStringLiteral("settings-job"), Category::Projects, [](Stage &stage) {
             stage.showTools(true);
             JobRun *run = nullptr;
             const auto connection = QObject::connect(&stage.session->settings(), &SettingsController::jobOpened,
                                                      [&](JobRun *opened) { run = opened; });
             stage.session->settings().runTool(QStringLiteral("container"));
             QObject::disconnect(connection);
             waitUntil([&] { return run && run->output().contains(QLatin1String("bottle")); });
         }, QSize(640, 760), Target::Settings},
    };
    return all;
}
}

int shoot(int &argc, char **argv, const QString &dir, double scale)
{
    if (scale != 1 && qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", QByteArray::number(scale));
    // No display and no GPU needed: the offscreen platform with the software renderer.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    Desktop::prepareApplication();

    QTextStream out(stdout);
    const QString target = dir.isEmpty() ? QStringLiteral("shots") : dir;
    if (!QDir().mkpath(target)) {
        out << "korvat: cannot create " << target << '\n';
        return 0;
    }

    // The sample state lives in settings of its own; the user's are never read or written.
    QTemporaryDir home;
    // Real directories, so the project cards read their state off the disk as they do live.
    const QString root = home.filePath(QStringLiteral("code"));
    SampleData::layOut(root);

    // Each scene is drawn in the light reading, then turned dark as the settings window turns
    // it: the window is built once per scene, and every scene shows a live change of reading.
    const auto draw = [&](const Scene &scene) -> bool {
        const QString file = home.filePath(scene.name + QStringLiteral(".conf"));
        QSettings settings(file, QSettings::IniFormat);
        Settings::checkUpdatesAtLaunch.write(settings, false);
        Settings::appearance.write(settings, QStringLiteral("light"));
        SampleData::registry(root).save(settings);

        Stage stage;
        stage.root = root;
        stage.engine = SampleData::engine(root);
        auto pulled = SampleData::holdings(root);
        pulled.repoDigests = SampleData::repoDigests();
        stage.engine->setHoldings(pulled);
        stage.listed = QDateTime(QDate::currentDate(), QTime(14, 5));
        stage.now = std::make_shared<QDateTime>(stage.listed);
        // Still pictures: no poll, no event stream; every scene lists when it needs to.
        PollTiming timing;
        timing.visiblePoll = timing.hiddenPoll = std::chrono::hours(1);
        timing.followEvents = false;
        timing.staleAfter = std::chrono::milliseconds(50);
        timing.clock = [now = stage.now] { return *now; };
        stage.tools->setBrew(scene.target != Target::HostSettings);
        stage.session = std::make_unique<Desktop::Session>(
            &settings, false, Desktop::Backends{stage.engine, timing, stage.tools, [now = stage.now] { return now->toUTC(); },
                                                &SampleData::hostEngines, std::make_shared<SampleData::Services>()});

        QQuickWindow *window = stage.session->window();
        if (!window) {
            out << "korvat: the main window could not be loaded\n";
            return false;
        }
        // The registries' last answers, read as a start reads them: nothing asks them anew.
        // The first reading waits for the engine's first listing.
        const QString ledger = home.filePath(QStringLiteral("newer-images.json"));
        NewerImages::writeLedger(ledger, SampleData::newerLedger(QDateTime::currentDateTimeUtc()));
        NewerImageWatch::Options newer;
        newer.settle = std::chrono::milliseconds(0);
        newer.ledgerPath = ledger;
        stage.store().newer().setOptions(newer);
        window->resize(scene.size);
        window->show();
        // Shown, the window starts the store, which picks its runtime before it lists.
        waitUntil([&] { return stage.store().runtime().has_value(); });
        QCoro::waitFor(stage.store().refresh());
        waitUntil([&] {
            const NewerImageWatch &watch = stage.store().newer();
            return !watch.checking() && watch.anyNewer();
        });
        stage.showTools(false);
        // The minute of machine use the rows would have read while the window was open, at
        // the pace it reads as many containers as these.
        UsageWatch &usage = stage.store().usage();
        const auto minute = SampleData::usage(stage.store().containers());
        const qsizetype every = std::max<qsizetype>(1, usage.cadence() / usage.timing().step);
        for (qsizetype s = (minute.size() - 1) % every; s < minute.size(); s += every)
            usage.see(minute[s], usage.now() - (minute.size() - 1 - s) * usage.timing().step.count());

        QQuickWindow *drawn = window;
        if (scene.target == Target::Panel) {
            drawn = stage.session->loadPanel();
            drawn->show();
        } else if (scene.target == Target::Settings || scene.target == Target::HostSettings) {
            stage.session->shell().openSettings();
            drawn = window->property("settingsWindow").value<QQuickWindow *>();
            if (scene.target == Target::HostSettings) {
                waitUntil([&] { return stage.session->hostEngines().surveyed(); });
                // The start a person asked for, refused by polkit.
                QCoro::waitFor(stage.session->hostEngines().act(QStringLiteral("Podman"), ServiceUnit::Scope::User, QStringLiteral("podman.socket")));
            }
        }
        // The panel takes the height of what it lists.
        if (scene.target != Target::Panel)
            drawn->resize(scene.size);
        if (scene.setUp)
            scene.setUp(stage);
        stage.session->shell().setCategory(int(scene.category));
        settle();
        if (auto *list = scene.focusList.isEmpty() ? nullptr : drawn->findChild<QQuickItem *>(scene.focusList)) {
            // Focus shows only in the window that has the keyboard.
            drawn->requestActivate();
            waitUntil([&] { return drawn->isActive(); });
            list->forceActiveFocus(Qt::TabFocusReason);
            for (const Qt::Key key : scene.keys) {
                QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
                QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
                QCoreApplication::sendEvent(drawn, &press);
                QCoreApplication::sendEvent(drawn, &release);
            }
            settle();
        }
        for (const QString &appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
            Theme::instance()->setAppearance(appearance);
            settle();
            // Offscreen, layouts polish only when a frame is drawn; what that changes (the
            // panel's height follows its content) shows in the frame after.
            drawn->grabWindow();
            settle();
            const QString picture = QDir(target).filePath(scene.name + u'-' + Theme::instance()->readingName() + QStringLiteral(".png"));
            if (drawn->grabWindow().save(picture))
                out << picture << '\n';
            else
                out << "korvat: could not write " << picture << '\n';
        }
        return true;
    };
    for (const Scene &scene : scenes()) {
        if (!draw(scene))
            return 0;
    }
    out.flush();
    return 0;
}

}
