#pragma once

#include <QByteArray>
#include <QSettings>
#include <QStringList>
#include <QVariant>

// One per-user setting: its key, its type and the value it has until someone chooses
// another. A default is never written out, so a later release can change it.
template<typename T>
struct Setting {
    QString key;
    T fallback = {};

    T read(const QSettings &settings) const { return settings.value(key, QVariant::fromValue(fallback)).template value<T>(); }
    bool isSet(const QSettings &settings) const { return settings.contains(key); }
    // Writes only a change, so reading a setting back never rewrites the file.
    void write(QSettings &settings, const T &value) const
    {
        if (!settings.contains(key) || read(settings) != value)
            settings.setValue(key, QVariant::fromValue(value));
    }
};

// Every setting Korvat keeps, in ~/.config/Korvat/Korvat.conf; code takes the QSettings it
// is given, so tests pass one on a temporary file.
namespace Settings {
inline const Setting<bool> showMenuBar{QStringLiteral("showMenuBar"), true};
// "auto" follows the desktop; "light" and "dark" force a reading.
inline const Setting<QString> appearance{QStringLiteral("appearance"), QStringLiteral("auto")};
inline const Setting<bool> checkUpdatesAtLaunch{QStringLiteral("checkUpdatesAtLaunch"), true};
// The last sidebar section, by its stored name.
inline const Setting<QString> category{QStringLiteral("category"), {}};
// How each long list is sorted, by the order's stored name; unset, the store's order.
inline const Setting<QString> containersSort{QStringLiteral("containersSort"), {}};
inline const Setting<QString> imagesSort{QStringLiteral("imagesSort"), {}};
inline const Setting<QString> volumesSort{QStringLiteral("volumesSort"), {}};
// The project registry as UTF-8 JSON.
inline const Setting<QByteArray> knownProjects{QStringLiteral("knownProjects"), {}};
// A registry that could not be read is kept under this key (with a time stamp after the first).
inline const Setting<QByteArray> unreadableProjects{QStringLiteral("knownProjects.unreadable"), {}};
// Seconds since the epoch; zero: never.
inline const Setting<double> toolchainLastChecked{QStringLiteral("toolchainLastChecked"), 0.0};
inline const Setting<QStringList> dismissedToolUpdates{QStringLiteral("dismissedToolUpdates"), {}};
// A desktop notification when a container fails, except for the muted projects.
inline const Setting<bool> notifyOnFailure{QStringLiteral("notifyOnFailure"), true};
inline const Setting<QStringList> mutedProjects{QStringLiteral("mutedProjects"), {}};
// Runtimes of other machines (ssh://, tcp://) watched beside this machine's, by name.
inline const Setting<QStringList> watchedRemotes{QStringLiteral("watchedRemotes"), {}};
// The window shows every watched engine, or only the selected runtime.
inline const Setting<bool> showAllEngines{QStringLiteral("showAllEngines"), true};
// How often the registries are asked whether the images run here moved on: "off", "daily",
// "6h", "hourly".
inline const Setting<QString> newerImagesSchedule{QStringLiteral("newerImagesSchedule"), QStringLiteral("6h")};
// A desktop notification when a newer image is found for a container, except muted projects'.
inline const Setting<bool> notifyNewerImages{QStringLiteral("notifyNewerImages"), true};
}
