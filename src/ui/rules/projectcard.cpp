#include "projectcard.h"

#include "docker.h"


namespace ProjectCard {

CardState state(const ComposeProject &project, bool directoryExists, bool hasComposeFile)
{
    const bool hasContainers = !project.containers.isEmpty();
    if (!project.workingDir || !directoryExists) {
        if (hasContainers)
            return {QStringLiteral("Dir missing"), QStringLiteral("compose up/down need the project directory; start/stop still work"), false};
        return {QStringLiteral("Dir missing"),
                QStringLiteral("Nothing to act on: no containers, and the directory compose would need is gone"), false};
    }
    if (!hasComposeFile)
        return {QStringLiteral("No compose file"),
                QStringLiteral("Nothing here for compose to read, and it would search the parent directories. "
                               "up/down are disabled; start/stop still work."),
                false};
    if (!hasContainers)
        return {QStringLiteral("Not running"), QStringLiteral("No containers. Up creates them from the compose file."), true};
    if (project.runningCount() == 0)
        return {QStringLiteral("Not running"), QString(), true};
    return {QString(), QString(), true};
}

QString spoken(const ComposeProject &project, const CardState &card, bool directoryExists)
{
    QStringList parts{card.badge};
    if (!project.containers.isEmpty())
        parts << QStringLiteral("%1 of %2 running").arg(project.runningCount()).arg(project.containers.size());
    parts << directoryLine(project, directoryExists) << card.help;
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" · "));
}

QString directoryLine(const ComposeProject &project, bool directoryExists)
{
    if (!project.workingDir || !directoryExists)
        return QStringLiteral("working directory no longer exists");
    return *project.workingDir;
}

QString downConfirmation(int containerCount)
{
    return QStringLiteral("Removes the ") + QString::number(containerCount)
        + (containerCount == 1 ? QStringLiteral(" container") : QStringLiteral(" containers"))
        + QStringLiteral(" and the project network. Named volumes are kept, and the project stays in Korvat so Up can bring it back.");
}

}
