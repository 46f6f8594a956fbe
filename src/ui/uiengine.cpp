#include "uiengine.h"

#include "actions.h"
#include "appstore.h"
#include "iconprovider.h"
#include "settingscontroller.h"
#include "shell.h"
#include "toolchainstore.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

namespace UiEngine {

void prepare(QQmlEngine &engine)
{
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.addImageProvider(QStringLiteral("icon"), new IconProvider);
}

QQuickWindow *loadMainWindow(QQmlApplicationEngine &engine, AppStore *store, ToolchainStore *toolchain, Shell *shell,
                             Actions *actions, SettingsController *settings)
{
    prepare(engine);
    engine.setInitialProperties({
        {QStringLiteral("store"), QVariant::fromValue(store)},
        {QStringLiteral("toolchain"), QVariant::fromValue(toolchain)},
        {QStringLiteral("shell"), QVariant::fromValue(shell)},
        {QStringLiteral("actions"), QVariant::fromValue(actions)},
        {QStringLiteral("settings"), QVariant::fromValue(settings)},
    });
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Korvat/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return nullptr;
    return qobject_cast<QQuickWindow *>(engine.rootObjects().constLast());
}

QQuickWindow *loadPanel(QQmlApplicationEngine &engine, AppStore *store, ToolchainStore *toolchain, Shell *shell, Actions *actions)
{
    engine.setInitialProperties({
        {QStringLiteral("store"), QVariant::fromValue(store)},
        {QStringLiteral("toolchain"), QVariant::fromValue(toolchain)},
        {QStringLiteral("shell"), QVariant::fromValue(shell)},
        {QStringLiteral("actions"), QVariant::fromValue(actions)},
    });
    const qsizetype before = engine.rootObjects().size();
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Korvat/MenuBarView.qml")));
    if (engine.rootObjects().size() == before)
        return nullptr;
    return qobject_cast<QQuickWindow *>(engine.rootObjects().constLast());
}

}
