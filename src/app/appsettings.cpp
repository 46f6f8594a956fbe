#include "appsettings.h"

#include <QHash>

namespace AppSettings {

namespace {
QHash<QString, QVariant> &defaults()
{
    static QHash<QString, QVariant> map;
    return map;
}
}

void registerDefaults()
{
    defaults() = {{showMenuBar, true}, {appearance, QStringLiteral("auto")}, {checkUpdatesAtLaunch, true}};
}

QVariant value(const QSettings &settings, const QString &key)
{
    return settings.value(key, defaults().value(key));
}

}
