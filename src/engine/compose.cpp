#include "docker.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace Docker {

namespace {
bool entryExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

void sortCodePoints(QStringList &list)
{
    std::stable_sort(list.begin(), list.end(), codePointLess);
}
}

std::optional<QString> composeFile(const QString &dir)
{
    for (const auto &name : composeFileNames) {
        if (entryExists(dir + u'/' + name))
            return name;
    }
    return std::nullopt;
}

QString missingComposeFileMessage(const QString &dir)
{
    return QStringLiteral("No compose file in ") + dir + QStringLiteral(" — looked for ")
        + composeFileNames.join(QStringLiteral(", ")) + u'.';
}

ResolvedProject parseComposeConfig(const QString &json, const QString &dir)
{
    const auto doc = QJsonDocument::fromJson(json.toUtf8());
    const auto name = doc.object().value(QLatin1String("name"));
    if (!doc.isObject() || !name.isString() || name.toString().isEmpty())
        throw DockerError(QStringLiteral("Could not read a compose project from ") + dir);
    ResolvedProject project{name.toString(), {}, {}, {}};
    project.services = doc.object().value(QLatin1String("services")).toObject().keys();
    sortCodePoints(project.services);
    const auto volumes = doc.object().value(QLatin1String("volumes")).toObject();
    for (auto it = volumes.begin(); it != volumes.end(); ++it) {
        // Compose's own name is the real, usually project-prefixed one.
        const auto real = it.value().toObject().value(QLatin1String("name"));
        project.volumes.append(real.isString() ? real.toString() : it.key());
        if (it.value().toObject().value(QLatin1String("external")).toBool())
            project.externalVolumes.append(project.volumes.constLast());
    }
    sortCodePoints(project.volumes);
    sortCodePoints(project.externalVolumes);
    return project;
}

} // namespace Docker
