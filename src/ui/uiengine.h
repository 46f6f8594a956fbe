#pragma once

#include <QVariantMap>

class Actions;
class AppStore;
class QQmlApplicationEngine;
class QQmlEngine;
class QQuickWindow;
class SettingsController;
class Shell;
class ToolchainStore;

// What every engine that shows Korvat's QML needs, in the application, the screenshot mode
// and the tests alike.
namespace UiEngine {
// The module's import path and the icon provider.
void prepare(QQmlEngine &engine);
// Loads the main window over the given objects, not yet shown; null when loading failed.
QQuickWindow *loadMainWindow(QQmlApplicationEngine &engine, AppStore *store, ToolchainStore *toolchain, Shell *shell,
                             Actions *actions, SettingsController *settings);
// Loads the tray panel over the same objects, hidden.
QQuickWindow *loadPanel(QQmlApplicationEngine &engine, AppStore *store, ToolchainStore *toolchain, Shell *shell, Actions *actions);
}
