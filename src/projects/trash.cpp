#include "trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Trash {

std::optional<QString> moveToTrash(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return QStringLiteral("Could not move ") + path + QStringLiteral(" to the trash: it no longer exists.");
    // Without these, Qt writes files/ and info/ into the working directory instead.
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
    for (const char *sub : {"/files", "/info"}) {
        const QString dir = trash + QLatin1String(sub);
        if (!QDir().mkpath(dir))
            return QStringLiteral("Could not move ") + path + QStringLiteral(" to the trash: cannot create ") + dir + u'.';
        QFile::setPermissions(trash, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QFile file(path);
    if (file.moveToTrash())
        return std::nullopt;
    const QString reason = file.errorString();
    return QStringLiteral("Could not move ") + path + QStringLiteral(" to the trash")
        + (reason.isEmpty() || reason == QLatin1String("Unknown error") ? QString() : QStringLiteral(": ") + reason) + u'.';
}

} // namespace Trash
