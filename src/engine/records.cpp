#include "composeproject.h"
#include "container.h"
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
