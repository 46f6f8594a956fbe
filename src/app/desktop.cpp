#include "desktop.h"

#include "actions.h"
#include "appsettings.h"
#include "appstore.h"
#include "colorscheme.h"
#include "execconsole.h"
#include "jobrun.h"
#include "logfollower.h"
#include "projectcard.h"
#include "projectdeletion.h"
#include "fonts.h"
#include "sampledata.h"
#include "settingscontroller.h"
#include "shell.h"
#include "theme.h"
#include "tray.h"
#include "toolchainstore.h"
#include "uiengine.h"

#include <QApplication>
#include <QDir>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtQml/QQmlExtensionPlugin>

// The QML module is linked in statically; this makes its types known to every engine.
Q_IMPORT_QML_PLUGIN(KorvatPlugin)

namespace Desktop {

void prepareApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Korvat"));
    QCoreApplication::setApplicationName(QStringLiteral("Korvat"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Korvat"));
    QGuiApplication::setDesktopFileName(QStringLiteral("korvat"));
    AppSettings::registerDefaults();
    Fonts::registerShipped(Fonts::resourceDirectory() + QStringLiteral("/Fonts"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));
}

struct Session::Parts {
    Parts(QSettings *settings, bool followDesktop)
        : scheme(followDesktop ? std::make_unique<ColorScheme>() : nullptr), theme(settings, scheme.get()),
          store(settings), toolchain(settings), shell(&store, &toolchain, settings), actions(&store),
          settingsController(&toolchain, settings, QCoreApplication::applicationFilePath())
    {
        Theme::setInstance(&theme);
        window = UiEngine::loadMainWindow(engine, &store, &toolchain, &shell, &actions, &settingsController);
    }

    std::unique_ptr<ColorScheme> scheme;
    Theme theme;
    AppStore store;
    ToolchainStore toolchain;
    Shell shell;
    Actions actions;
    SettingsController settingsController;
    // Destroyed first: the views let go of the stores before the stores go.
    QQmlApplicationEngine engine;
    QQuickWindow *window = nullptr;
};

Session::Session(QSettings *settings, bool followDesktop) : d(std::make_unique<Parts>(settings, followDesktop)) {}
Session::~Session() = default;
AppStore &Session::store() { return d->store; }
ToolchainStore &Session::toolchain() { return d->toolchain; }
Shell &Session::shell() { return d->shell; }
QQuickWindow *Session::window() { return d->window; }
SettingsController &Session::settings() { return d->settingsController; }

QQuickWindow *Session::loadPanel()
{
    return UiEngine::loadPanel(d->engine, &d->store, &d->toolchain, &d->shell, &d->actions);
}

namespace {
void settle()
{
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}
}

int run(int &argc, char **argv)
{
    QApplication app(argc, argv);
    prepareApplication();

    QSettings settings;
    Session session(&settings, true);
    if (!session.window()) {
        QTextStream(stderr) << "korvat: the main window could not be loaded\n";
        return 1;
    }
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/korvat/app/korvat.svg")));
    Tray tray(session);
    session.window()->show();
    return app.exec();
}

int shoot(int &argc, char **argv, const QString &dir)
{
    // No display and no GPU needed: the offscreen platform with the software renderer.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    prepareApplication();

    QTextStream out(stdout);
    const QString target = dir.isEmpty() ? QStringLiteral("shots") : dir;
    if (!QDir().mkpath(target)) {
        out << "korvat: cannot create " << target << '\n';
        return 0;
    }

    // The sample state lives in settings of its own; the user's are never read or written.
    QTemporaryDir home;
    QSettings settings(home.filePath(QStringLiteral("shot.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    Session session(&settings, false);
    AppStore &store = session.store();
    ToolchainStore &toolchain = session.toolchain();
    Shell &shell = session.shell();
    Theme &theme = *Theme::instance();
    // Real directories, so the project cards read their state off the disk as they do live.
    const QString root = home.filePath(QStringLiteral("code"));
    SampleData::layOut(root);
    const StorePreview sample = SampleData::store(root);
    store.preview(sample);

    QQuickWindow *window = session.window();
    if (!window) {
        out << "korvat: the main window could not be loaded\n";
        return 0;
    }
    window->resize(1080, 700);
    window->show();

    struct Scene {
        QString name;
        Category category;
        std::function<void()> setUp;
        QSize size = QSize(1080, 700);
        // Another window to draw instead of the main one.
        std::function<QQuickWindow *()> target = {};
    };
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
    const Container &website = *std::find_if(sample.containers.cbegin(), sample.containers.cend(),
                                             [](const Container &c) { return c.name == QLatin1String("website-frontend-1"); });
    const auto plain = [&] {
        store.setFilter(QString());
        StorePreview state = sample;
        store.preview(state);
        toolchain.preview({}, {});
    };
    const QList<Scene> scenes = {
        {QStringLiteral("projects"), Category::Projects, plain},
        {QStringLiteral("projects-all"), Category::Projects, plain, QSize(1080, 1720)},
        {QStringLiteral("containers"), Category::Containers, plain},
        {QStringLiteral("images"), Category::Images, plain},
        {QStringLiteral("volumes"), Category::Volumes, plain},
        {QStringLiteral("banners"), Category::Containers, [&] {
             plain();
             StorePreview state = sample;
             state.error = QStringLiteral("Error response from daemon: cannot stop container: storefront-db-1: permission denied");
             state.notice = QStringLiteral("staging is not answering — switched to default.");
             store.preview(state);
             toolchain.preview(SampleData::tools(), {});
         }},
        {QStringLiteral("stale"), Category::Projects, [&] {
             plain();
             store.preview(SampleData::stale(sample));
         }},
        {QStringLiteral("empty-filter"), Category::Containers, [&] {
             plain();
             store.setFilter(QStringLiteral("kafka"));
         }},
        {QStringLiteral("empty-section"), Category::Volumes, [&] {
             plain();
             StorePreview state = sample;
             state.volumes.clear();
             store.preview(state);
         }},
        {QStringLiteral("sheet-logs"), Category::Projects, [&] {
             plain();
             auto *follower = new LogFollower(LogSource::project({QStringLiteral("website"), std::nullopt, {}, 0}), std::nullopt, window);
             follower->preview(SampleData::logText());
             QMetaObject::invokeMethod(sheet("logsSheet"), "show", Q_ARG(LogFollower *, follower), Q_ARG(QString, QStringLiteral("website")));
         }},
        {QStringLiteral("sheet-exec"), Category::Containers, [&] {
             plain();
             auto *console = new ExecConsole(website, std::nullopt, window);
             console->preview(SampleData::transcript());
             QMetaObject::invokeMethod(sheet("execSheet"), "show", Q_ARG(ExecConsole *, console));
         }},
        {QStringLiteral("sheet-exec-empty"), Category::Containers, [&] {
             plain();
             QMetaObject::invokeMethod(sheet("execSheet"), "show", Q_ARG(ExecConsole *, new ExecConsole(website, std::nullopt, window)));
         }},
        {QStringLiteral("sheet-commit"), Category::Containers, [&] {
             plain();
             QMetaObject::invokeMethod(sheet("commitSheet"), "show", Q_ARG(QString, website.id), Q_ARG(QString, website.name));
         }},
        {QStringLiteral("sheet-delete"), Category::Projects, [&] {
             plain();
             auto *deletion = new ProjectDeletion(&store, {QStringLiteral("website"), root + QStringLiteral("/website"), {}, 0},
                                                  SampleData::websitePlan(root), window);
             deletion->setTrashDirectory(true);
             QMetaObject::invokeMethod(sheet("deleteSheet"), "show", Q_ARG(ProjectDeletion *, deletion));
         }},
        {QStringLiteral("tray-panel"), Category::Projects, [&] {
             plain();
             toolchain.preview(SampleData::tools(), SampleData::status());
         }, QSize(340, 600), panelWindow},
        {QStringLiteral("tray-panel-stale"), Category::Projects, [&] {
             plain();
             store.preview(SampleData::stale(sample));
         }, QSize(340, 600), panelWindow},
        {QStringLiteral("tray-panel-empty"), Category::Projects, [&] {
             plain();
             StorePreview state = sample;
             state.containers.clear();
             state.registry = ProjectRegistry();
             store.preview(state);
         }, QSize(340, 260), panelWindow},
        {QStringLiteral("settings"), Category::Projects, [&] {
             plain();
             toolchain.preview(SampleData::tools(), SampleData::status());
         }, QSize(640, 940), settingsWindow},
        {QStringLiteral("settings-job"), Category::Projects, [&] {
             plain();
             toolchain.preview(SampleData::tools(), SampleData::status());
             auto *run = new JobRun(ToolJob::upgrade({QStringLiteral("container")}), window);
             run->preview(SampleData::jobOutput());
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
    };
    for (const QString &appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
        theme.setAppearance(appearance);
        for (const Scene &scene : scenes) {
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
        }
    }
    closeSheets();
    out.flush();
    return 0;
}

}
