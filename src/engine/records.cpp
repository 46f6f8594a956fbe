#include "composeproject.h"
#include "container.h"
#include "dockervolume.h"
#include "runtime.h"

#include <algorithm>

std::optional<QString> Container::project() const
{
    const auto it = labels.constFind(QString::fromLatin1(Labels::project));
    if (it == labels.cend())
        return std::nullopt;
    return *it;
}

std::optional<QString> Container::workingDir() const
{
    for (const char *key : {Labels::workingDir, Labels::workingDirHyphen}) {
        const auto it = labels.constFind(QString::fromLatin1(key));
        if (it != labels.cend())
            return *it;
    }
    return std::nullopt;
}

bool Container::hasFailed() const
{
    return state == QLatin1String("exited") && !status.contains(QLatin1String("(0)"));
}

int ComposeProject::runningCount() const
{
    return int(std::count_if(containers.cbegin(), containers.cend(), [](const Container &c) { return c.isRunning(); }));
}

bool DockerVolume::isAnonymous(const QString &name, const QMap<QString, QString> &labels)
{
    if (labels.contains(QStringLiteral("com.docker.volume.anonymous")))
        return true;
    return name.size() == 64 && std::all_of(name.cbegin(), name.cend(), [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f');
    });
}
