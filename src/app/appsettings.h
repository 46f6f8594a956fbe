#pragma once

#include <QSettings>
#include <QVariant>

// The per-user settings that exist before the user changes anything. They are never
// written out: a value nobody chose stays a default, so a later release can change it.
namespace AppSettings {
inline const QString showMenuBar = QStringLiteral("showMenuBar");
inline const QString appearance = QStringLiteral("appearance");
inline const QString checkUpdatesAtLaunch = QStringLiteral("checkUpdatesAtLaunch");

void registerDefaults();
QVariant value(const QSettings &settings, const QString &key);
}
