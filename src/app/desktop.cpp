#include "desktop.h"
#include "mergedview.h"

#include "actions.h"
#include "appstore.h"
#include "cliengine.h"
#include "colorscheme.h"
#include "fonts.h"
#include "childprocess.h"
#include "quitsignals.h"
#include "settingscontroller.h"
#include "shell.h"
#include "theme.h"
#include "notifier.h"
#include "tray.h"
#include "toolchainstore.h"
#include "uiengine.h"

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QTextStream>
#include <QtQml/QQmlExtensionPlugin>

// The QML module is linked in statically; this makes its types known to every engine.
Q_IMPORT_QML_PLUGIN(KorvatPlugin)

namespace Desktop {

void prepareApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Korvat"));
    QCoreApplication::setApplicationName(QStringLiteral("Korvat"));
    // No display name of its own: Qt would add it to every window title ("Korvat Settings
    // — Korvat"), and the application name stands in wherever one is asked for.
    QGuiApplication::setDesktopFileName(QStringLiteral("korvat"));
    Fonts::registerShipped(Fonts::resourceDirectory() + QStringLiteral("/Fonts"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));
}

struct Session::Parts {
    Parts(QSettings *settings, bool followDesktop, Backends backends)
        : scheme(followDesktop ? std::make_unique<ColorScheme>() : nullptr), theme(settings, scheme.get()),
          store(settings, std::move(backends.engine), std::move(backends.timing)),
          toolchain(settings, std::move(backends.tools), std::move(backends.toolchainClock)), shell(&store, &toolchain, settings), actions(&store),
          hostEngines(std::move(backends.hostProbe), std::move(backends.services)),
          settingsController(&toolchain, settings, QCoreApplication::applicationFilePath(), &hostEngines, &store)
    {
        Theme::setInstance(&theme);
        window = UiEngine::loadMainWindow(engine, &store, &toolchain, &shell, &actions, &settingsController);
    }

    std::unique_ptr<Notifier> notifier;
    std::unique_ptr<ColorScheme> scheme;
    Theme theme;
    AppStore store;
    ToolchainStore toolchain;
    Shell shell;
    Actions actions;
    HostEngineStore hostEngines;
    SettingsController settingsController;
    // Destroyed first: the views let go of the stores before the stores go.
    QQmlApplicationEngine engine;
    QQuickWindow *window = nullptr;
};

Session::Session(QSettings *settings, bool followDesktop, Backends backends)
    : d(std::make_unique<Parts>(settings, followDesktop, std::move(backends)))
{
    d->notifier = std::make_unique<Notifier>([this](const FailureNotes::Note &note) { showLogs(note); }, [this](const QStringList &engines) { showImages(engines); });
    QObject::connect(&d->store.failures(), &FailureWatch::failed, d->notifier.get(), &Notifier::tell);
    QObject::connect(&d->store.newer(), &NewerImageWatch::newerFound, d->notifier.get(), &Notifier::tellNewer);
}
Session::~Session() = default;
AppStore &Session::store() { return d->store; }
ToolchainStore &Session::toolchain() { return d->toolchain; }
HostEngineStore &Session::hostEngines() { return d->hostEngines; }
Shell &Session::shell() { return d->shell; }
Notifier &Session::notifier() { return *d->notifier; }
Actions &Session::actions() { return d->actions; }
QQuickWindow *Session::window() { return d->window; }

void Session::showWindow()
{
    if (!d->scheme || d->scheme->settled()) {
        d->window->show();
        return;
    }
    QObject::connect(d->scheme.get(), &ColorScheme::settledChanged, d->window, &QWindow::show, Qt::SingleShotConnection);
}
SettingsController &Session::settings() { return d->settingsController; }

void Session::showLogs(const FailureNotes::Note &note)
{
    d->window->show();
    d->window->raise();
    d->window->requestActivate();
    // Events name a container by its whole id, listings by a prefix of it; the logs are
    // those of the engine it failed on.
    for (const EngineStore *engine : d->store.engines()) {
        if (!note.engine.isEmpty() && engine->name() != note.engine)
            continue;
        for (const Container &c : engine->containers()) {
            if (!c.id.isEmpty() && note.containerId.startsWith(c.id))
                return d->actions.perform(Verb::ContainerLogs, MergedView::rowKey(engine->name(), c.id));
        }
    }
    if (!note.project.isEmpty())
        d->actions.perform(Verb::ProjectLogs, MergedView::rowKey(note.engine, note.project));
}

void Session::showImages(const QStringList &engines)
{
    if (!d->store.showAll() && (engines.size() > 1 || !engines.contains(d->store.selected().name())))
        d->store.setShowAll(true);
    d->shell.setCategory(int(Category::Images));
    d->window->show();
    d->window->raise();
    d->window->requestActivate();
}

QQuickWindow *Session::loadPanel()
{
    return UiEngine::loadPanel(d->engine, &d->store, &d->toolchain, &d->shell, &d->actions);
}

int run(int &argc, char **argv)
{
    QApplication app(argc, argv);
    prepareApplication();
    const QuitSignals quitSignals;

    QSettings settings;
    Session session(&settings, true);
    if (!session.window()) {
        QTextStream(stderr) << "korvat: the main window could not be loaded\n";
        return 1;
    }
    // What the registries said is kept between runs, so a start does not ask them again;
    // tests and pictures keep it to themselves. The store starts when the window shows.
    NewerImageWatch::Options newer;
    newer.ledgerPath = NewerImages::ledgerPath();
    session.store().newer().setOptions(newer);
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/korvat/app/korvat.svg")));
    Tray tray(session);
    // Settings first, so a second signal cannot lose them; then no wait for a child, however
    // hung, holds the quit. The tray icon goes with the tray, the children with the session.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [&settings] {
        settings.sync();
        ChildProcess::quitting();
    });
    session.showWindow();
    return app.exec();
}

}
