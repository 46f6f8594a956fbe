#include "fonts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFontDatabase>

namespace Fonts {

QString resourceDirectory()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/korvat"));
}

int registerShipped(const QString &dir)
{
    int loaded = 0;
    const QDir fonts(dir);
    for (const QFileInfo &file : fonts.entryInfoList(QDir::Files, QDir::Name)) {
        const QString suffix = file.suffix();
        if (suffix != QLatin1String("ttf") && suffix != QLatin1String("ttc"))
            continue;
        if (QFontDatabase::addApplicationFont(file.absoluteFilePath()) >= 0)
            ++loaded;
    }
    return loaded;
}

}
