#pragma once

#include "appstore.h"

#include <QString>
#include <memory>

class QQuickWindow;
class QSettings;
class SettingsController;
class Shell;
class ToolchainStore;

// The desktop interface: the main window over the real stores and the tray.
namespace Desktop {

// What the application object sets up before any window: names, default settings,
// the shipped fonts and the controls' style. Needs the QApplication.
void prepareApplication();

// The stores, the theme and the main window over one settings object, made in the order
// the views need them. The window is loaded, not yet shown.
class Session {
public:
    // followDesktop: follow the desktop portal's colour scheme under "auto".
    Session(QSettings *settings, bool followDesktop, std::shared_ptr<Engine> engine, PollTiming timing = {});
    ~Session();

    AppStore &store();
    ToolchainStore &toolchain();
    Shell &shell();
    SettingsController &settings();
    QQuickWindow *window();
    // The tray panel, loaded on first use into the same engine; hidden.
    QQuickWindow *loadPanel();

private:
    struct Parts;
    std::unique_ptr<Parts> d;
};

int run(int &argc, char **argv);
}
