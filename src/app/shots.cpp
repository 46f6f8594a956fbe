#include "shots.h"
#include "settings.h"

#include "desktop.h"
#include "execconsole.h"
#include "fakeengine.h"
#include "jobrun.h"
#include "logfollower.h"
#include "projectcard.h"
#include "projectdeletion.h"
#include "sampledata.h"
#include "shell.h"
#include "theme.h"
#include "toolchainstore.h"

#include <QApplication>
#include <QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>

namespace Shots {

namespace {
void settle()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// The fake answers at once, but on the store's workers; a picture waits for the result.
bool waitUntil(const std::function<bool()> &done)
{
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

std::optional<ComposeProject> projectNamed(const AppStore &store, const QString &name)
{
    for (const auto &p : store.projects()) {
        if (p.name == name)
            return p;
    }
    return std::nullopt;
}

struct Scene {
    QString name;
    Category category;
    std::function<void()> setUp;
    QSize size = QSize(1080, 700);
    // Another window to draw instead of the main one.
    std::function<QQuickWindow *()> target = {};
};
}

int shoot(int &argc, char **argv, const QString &dir)
{
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
    QSettings settings(home.filePath(QStringLiteral("shot.conf")), QSettings::IniFormat);
    Settings::checkUpdatesAtLaunch.write(settings, false);
    // Real directories, so the project cards read their state off the disk as they do live.
    const QString root = home.filePath(QStringLiteral("code"));
    SampleData::layOut(root);
    SampleData::registry(root).save(settings);
    const auto engine = SampleData::engine(root);

    // A clock the pictures set: the lists were last read at 14:05.
    const QDateTime listed(QDate::currentDate(), QTime(14, 5));
    auto now = std::make_shared<QDateTime>(listed);
    PollTiming timing;
    timing.staleAfter = std::chrono::milliseconds(50);
    timing.clock = [now] { return *now; };
    const auto tools = std::make_shared<SampleData::Toolchain>();
    Desktop::Session session(&settings, false, {engine, timing, tools, [now] { return now->toUTC(); }});
    AppStore &store = session.store();
    ToolchainStore &toolchain = session.toolchain();
    Shell &shell = session.shell();
    Theme &theme = *Theme::instance();

    QQuickWindow *window = session.window();
    if (!window) {
        out << "korvat: the main window could not be loaded\n";
        return 0;
    }
    window->resize(1080, 700);
    window->show();
    store.start();
    waitUntil([&] { return !store.containers().isEmpty(); });

    QPointer<QQuickWindow> panel;
    const auto panelWindow = [&]() -> QQuickWindow * {
        if (!panel)
            panel = session.loadPanel();
        panel->show();
        return panel;
    };
    const auto settingsWindow = [&]() -> QQuickWindow * {
        QMetaObject::invokeMethod(window, "openSettings");
        return window->property("settingsWindow").value<QQuickWindow *>();
    };
    const auto sheet = [&](const char *name) { return window->findChild<QObject *>(QLatin1String(name)); };
    const auto closeSheets = [&] {
        for (const char *name : {"logsSheet", "execSheet", "commitSheet", "deleteSheet", "confirmDown"})
            QMetaObject::invokeMethod(sheet(name), "close");
    };
    const auto showTools = [&](bool sample) {
        tools->setEmpty(!sample);
        QCoro::waitFor(toolchain.check());
    };
    const auto plain = [&] {
        engine->release(FakeEngine::Call::Listing);
        engine->failWith(FakeEngine::Call::Listing, std::nullopt, QStringLiteral("staging"));
        engine->setHoldings(SampleData::holdings(root));
        *now = listed;
        store.setFilter(QString());
        if (store.runtime() != Runtime::context(QStringLiteral("default")))
            store.select(Runtime::context(QStringLiteral("default")));
        QCoro::waitFor(store.refresh());
        store.dismissError();
        store.dismissNotice();
        showTools(false);
    };
    // The engine keeps the lists waiting; the window says for how long.
    const auto stale = [&] {
        plain();
        engine->hold(FakeEngine::Call::Listing);
        store.refresh();
        *now = listed.addSecs(12);
        waitUntil([&] { return store.stale(); });
    };
    const Container website = *std::find_if(store.containers().cbegin(), store.containers().cend(),
                                            [](const Container &c) { return c.name == QLatin1String("website-frontend-1"); });
    const QList<Scene> scenes = {
        {QStringLiteral("projects"), Category::Projects, plain},
        {QStringLiteral("projects-all"), Category::Projects, plain, QSize(1080, 1720)},
        {QStringLiteral("containers"), Category::Containers, plain},
        {QStringLiteral("images"), Category::Images, plain},
        {QStringLiteral("volumes"), Category::Volumes, plain},
        {QStringLiteral("banners"), Category::Containers, [&] {
             plain();
             // staging does not answer, so the store hands over to default and says so.
             engine->failWith(FakeEngine::Call::Listing, QStringLiteral("error during connect: ssh: connect to host staging: timed out"),
                              QStringLiteral("staging"));
             store.select(Runtime::context(QStringLiteral("staging")));
             waitUntil([&] { return !store.noticeText().isEmpty() && !store.containers().isEmpty(); });
             store.reportError(QStringLiteral("Error response from daemon: cannot stop container: storefront-db-1: permission denied"));
             showTools(true);
         }},
        {QStringLiteral("stale"), Category::Projects, stale},
        {QStringLiteral("empty-filter"), Category::Containers, [&] {
             plain();
             store.setFilter(QStringLiteral("kafka"));
         }},
        {QStringLiteral("empty-section"), Category::Volumes, [&] {
             plain();
             auto holdings = SampleData::holdings(root);
             holdings.volumes.clear();
             engine->setHoldings(holdings);
             QCoro::waitFor(store.refresh());
         }},
        {QStringLiteral("sheet-logs"), Category::Projects, [&] {
             plain();
             engine->setLogOutput(SampleData::logText().toUtf8());
             auto *follower = new LogFollower(engine, LogSource::project(*projectNamed(store, QStringLiteral("website"))),
                                              store.runtime(), window);
             QMetaObject::invokeMethod(sheet("logsSheet"), "show", Q_ARG(LogFollower *, follower), Q_ARG(QString, QStringLiteral("website")));
             waitUntil([&] { return !follower->text().isEmpty(); });
         }},
        {QStringLiteral("sheet-exec"), Category::Containers, [&] {
             plain();
             const auto commands = SampleData::commands();
             engine->setExec([commands](const QString &, const QString &command) {
                 for (const auto &[typed, result] : commands) {
                     if (typed == command)
                         return result;
                 }
                 return ExecResult{true, {}, 0, {}};
             });
             auto *console = new ExecConsole(engine, website, store.runtime(), window);
             for (const auto &[typed, result] : commands) {
                 console->setCommand(typed);
                 console->run();
                 waitUntil([&] { return !console->running(); });
             }
             QMetaObject::invokeMethod(sheet("execSheet"), "show", Q_ARG(ExecConsole *, console));
         }},
        {QStringLiteral("sheet-exec-empty"), Category::Containers, [&] {
             plain();
             QMetaObject::invokeMethod(sheet("execSheet"), "show",
                                       Q_ARG(ExecConsole *, new ExecConsole(engine, website, store.runtime(), window)));
         }},
        {QStringLiteral("sheet-commit"), Category::Containers, [&] {
             plain();
             QMetaObject::invokeMethod(sheet("commitSheet"), "show", Q_ARG(QString, website.id), Q_ARG(QString, website.name));
         }},
        {QStringLiteral("sheet-delete"), Category::Projects, [&] {
             plain();
             auto *deletion = new ProjectDeletion(&store, *projectNamed(store, QStringLiteral("website")), window);
             deletion->setTrashDirectory(true);
             QMetaObject::invokeMethod(sheet("deleteSheet"), "show", Q_ARG(ProjectDeletion *, deletion));
             waitUntil([&] { return deletion->planned(); });
         }},
        {QStringLiteral("tray-panel"), Category::Projects, [&] {
             plain();
             showTools(true);
         }, QSize(340, 600), panelWindow},
        {QStringLiteral("tray-panel-stale"), Category::Projects, stale, QSize(340, 600), panelWindow},
        {QStringLiteral("settings"), Category::Projects, [&] {
             plain();
             showTools(true);
         }, QSize(640, 940), settingsWindow},
        {QStringLiteral("settings-job"), Category::Projects, [&] {
             plain();
             showTools(true);
             auto *run = new JobRun(ToolJob::upgrade({QStringLiteral("container")}), tools, window);
             run->start();
             waitUntil([&] { return run->output().contains(QLatin1String("bottle")); });
             QObject *sheet = settingsWindow()->findChild<QObject *>(QStringLiteral("runSheet"));
             QMetaObject::invokeMethod(sheet, "show", Q_ARG(JobRun *, run));
         }, QSize(640, 760), settingsWindow},
        {QStringLiteral("sheet-down"), Category::Projects, [&] {
             plain();
             QObject *confirm = sheet("confirmDown");
             confirm->setProperty("project", QStringLiteral("storefront"));
             confirm->setProperty("message", ProjectCard::downConfirmation(3));
             QMetaObject::invokeMethod(confirm, "open");
         }},
        // Last: the registry it empties is not put back.
        {QStringLiteral("tray-panel-empty"), Category::Projects, [&] {
             plain();
             for (const auto &p : store.projects())
                 store.forget(p);
             auto holdings = SampleData::holdings(root);
             holdings.containers.clear();
             engine->setHoldings(holdings);
             QCoro::waitFor(store.refresh());
         }, QSize(340, 260), panelWindow},
    };
    const auto draw = [&](const Scene &scene) {
        closeSheets();
        if (QQuickWindow *settings = window->property("settingsWindow").value<QQuickWindow *>()) {
            if (QObject *sheet = settings->findChild<QObject *>(QStringLiteral("runSheet")))
                QMetaObject::invokeMethod(sheet, "close");
            settings->hide();
        }
        if (panel)
            panel->hide();
        window->resize(scene.size);
        scene.setUp();
        shell.setCategory(int(scene.category));
        QQuickWindow *drawn = scene.target ? scene.target() : window;
        drawn->resize(scene.size);
        settle();
        const QString file = QDir(target).filePath(scene.name + u'-' + theme.readingName() + QStringLiteral(".png"));
        if (drawn->grabWindow().save(file))
            out << file << '\n';
        else
            out << "korvat: could not write " << file << '\n';
    };
    // Every scene in one reading, then in the other; the emptied registry comes last in both.
    for (const QString &appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
        theme.setAppearance(appearance);
        for (qsizetype i = 0; i + 1 < scenes.size(); ++i)
            draw(scenes.at(i));
    }
    for (const QString &appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
        theme.setAppearance(appearance);
        draw(scenes.constLast());
    }
    closeSheets();
    engine->release(FakeEngine::Call::Listing);
    out.flush();
    return 0;
}

}
