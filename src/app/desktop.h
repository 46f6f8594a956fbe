#pragma once

#include "failurenotes.h"

#include "appstore.h"
#include "cliengine.h"
#include "hostenginestore.h"
#include "toolchainstore.h"

#include <QMap>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

class QQuickWindow;
class Actions;
class QSettings;
class SettingsController;
class Shell;

// The desktop interface: the main window over the real stores and the tray.
class Notifier;

namespace Desktop {

// What the application object sets up before any window: names, default settings,
// the shipped fonts and the controls' style. Needs the QApplication.
void prepareApplication();

// What a session runs on; the defaults are what ships.
struct Backends {
    std::shared_ptr<Engine> engine = std::make_shared<CliEngine>();
    PollTiming timing = {};
    std::shared_ptr<const ToolchainSource> tools = std::make_shared<HomebrewToolchain>();
    ToolchainStore::Clock toolchainClock = &QDateTime::currentDateTimeUtc;
    HostEngineStore::Probe hostProbe = &HostEngines::probe;
    std::shared_ptr<const ServiceManager> services = std::make_shared<SystemdManager>();
};

// The stores, the theme and the main window over one settings object, made in the order
// the views need them. The window is loaded, not yet shown.
class Session {
public:
    // followDesktop: follow the desktop portal's colour scheme under "auto".
    Session(QSettings *settings, bool followDesktop, Backends backends = {});
    ~Session();

    AppStore &store();
    ToolchainStore &toolchain();
    HostEngineStore &hostEngines();
    Shell &shell();
    Actions &actions();
    Notifier &notifier();
    SettingsController &settings();
    QQuickWindow *window();
    // Shows the window once the desktop's colour scheme is known (or given up on), so its
    // first frame is drawn in the reading it keeps.
    void showWindow();
    // Raises the main window on the logs of what a notification told of.
    void showLogs(const FailureNotes::Note &note);
    // Raises the main window on the images of these engines, which a newer image's
    // notification told of: every engine is shown if one of them would not be.
    void showImages(const QStringList &engines);
    // The tray panel, loaded on first use into the same engine; hidden.
    QQuickWindow *loadPanel();

private:
    struct Parts;
    std::unique_ptr<Parts> d;
};

int run(int &argc, char **argv);

// Whether a local display socket answers; replaced in tests.
using SocketAnswers = std::function<bool(const QString &path)>;
// Why the window could not open in this environment (no DISPLAY nor WAYLAND_DISPLAY, or
// nothing answers on the one named), or nothing when it can, or Qt is asked for a platform
// that needs no display.
std::optional<QString> missingDisplay(const QMap<QString, QString> &env, const SocketAnswers &answers = {});
}
