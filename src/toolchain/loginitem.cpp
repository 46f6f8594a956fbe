#include "loginitem.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>

namespace LoginItem {

QString entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart/korvat.desktop");
}

QString state()
{
    const QString path = entryPath();
    if (!QFile::exists(path))
        return QStringLiteral("off");
    QSettings entry(path, QSettings::IniFormat);
    const bool hidden = entry.value(QStringLiteral("Desktop Entry/Hidden")).toString() == QLatin1String("true");
    return hidden ? QStringLiteral("off") : QStringLiteral("on");
}

bool enable(const QString &executable)
{
    const QString path = entryPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    // Written by hand: QSettings would escape the keys and reorder the group.
    file.write("[Desktop Entry]\nType=Application\nName=Korvat\nComment=Containers, images, volumes and compose projects\nExec=\""
               + executable.toUtf8() + "\"\nIcon=korvat\nTerminal=false\nX-GNOME-Autostart-enabled=true\n");
    return file.error() == QFile::NoError;
}

bool disable()
{
    return !QFile::exists(entryPath()) || QFile::remove(entryPath());
}

} // namespace LoginItem
