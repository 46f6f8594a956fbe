#include "desktop.h"

#include "appsettings.h"
#include "appstore.h"
#include "colorscheme.h"
#include "fonts.h"
#include "sampledata.h"
#include "shell.h"
#include "theme.h"
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

namespace Desktop {

namespace {
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
    ColorScheme scheme;
    Theme theme(&settings, &scheme);
    Theme::setInstance(&theme);
    AppStore store(&settings);
    ToolchainStore toolchain(&settings);
    Shell shell(&store, &toolchain, &settings);

    QQmlApplicationEngine engine;
    QQuickWindow *window = UiEngine::loadMainWindow(engine, &store, &toolchain, &shell);
    if (!window) {
        QTextStream(stderr) << "korvat: the main window could not be loaded\n";
        return 1;
    }
    // Without a tray there is nothing to come back to once the window closes.
    QGuiApplication::setQuitOnLastWindowClosed(true);
    window->show();
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
    Theme theme(&settings, nullptr);
    Theme::setInstance(&theme);
    AppStore store(&settings);
    ToolchainStore toolchain(&settings);
    Shell shell(&store, &toolchain, &settings);
    const StorePreview sample = SampleData::store();
    store.preview(sample);

    QQmlApplicationEngine engine;
    QQuickWindow *window = UiEngine::loadMainWindow(engine, &store, &toolchain, &shell);
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
    };
    const auto plain = [&] {
        store.setFilter(QString());
        StorePreview state = sample;
        store.preview(state);
        toolchain.preview({}, {});
    };
    const QList<Scene> scenes = {
        {QStringLiteral("projects"), Category::Projects, plain},
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
    };
    for (const QString &appearance : {QStringLiteral("light"), QStringLiteral("dark")}) {
        theme.setAppearance(appearance);
        for (const Scene &scene : scenes) {
            scene.setUp();
            shell.setCategory(int(scene.category));
            settle();
            const QString file = QDir(target).filePath(scene.name + u'-' + theme.readingName() + QStringLiteral(".png"));
            if (window->grabWindow().save(file))
                out << file << '\n';
            else
                out << "korvat: could not write " << file << '\n';
        }
    }
    out.flush();
    return 0;
}

}
