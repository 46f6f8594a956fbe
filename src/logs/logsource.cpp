#include "logsource.h"

QStringList LogSource::args() const
{
    if (const auto *c = std::get_if<Container>(&subject))
        return {"logs", "-f", "--tail", "300", c->id};
    return {"compose", "logs", "-f", "--tail", "300"};
}

std::optional<QString> LogSource::workingDir() const
{
    if (const auto *p = std::get_if<ComposeProject>(&subject))
        return p->workingDir;
    return std::nullopt;
}

QString LogSource::header() const
{
    return isProject() ? QStringLiteral("PROJECT LOGS · LAST 300 PER SERVICE") : QStringLiteral("LOGS · LAST 300");
}
