#include "projectcard.h"

#include "docker.h"
#include "worktext.h"


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

QString spoken(const ComposeProject &project, const CardState &card, bool directoryExists, int total)
{
    QStringList parts{card.badge};
    total = std::max(total, int(project.containers.size()));
    if (total > 0)
        parts << QStringLiteral("%1 of %2 running").arg(project.runningCount()).arg(total);
    if (total > project.containers.size())
        parts << QStringLiteral("%1 not created").arg(total - project.containers.size());
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

QString serviceState(const ProjectService &service)
{
    if (service.state == ProjectService::State::NotCreated)
        return QStringLiteral("Not created");
    return (service.profiles.size() == 1 ? QStringLiteral("Profile ") : QStringLiteral("Profiles "))
        + service.profiles.join(QStringLiteral(" or "));
}

QString serviceSpoken(const ProjectService &service)
{
    QStringList parts{service.name, serviceState(service), service.image};
    parts.removeAll(QString());
    return parts.join(QStringLiteral(", "));
}

QString pullSummary(const PullSummary &summary)
{
    QStringList sentences;
    if (!summary.newer.isEmpty())
        sentences << (summary.newer.size() == 1 ? QStringLiteral("Newer image for ") : QStringLiteral("Newer images for "))
                + WorkText::listed(summary.newer) + u'.';
    if (!summary.upToDate.isEmpty()) {
        if (summary.newer.isEmpty() && summary.failed.isEmpty())
            sentences << (summary.upToDate.size() == 1 ? QStringLiteral("The image is up to date.")
                                                       : QStringLiteral("All %1 images are up to date.").arg(summary.upToDate.size()));
        else
            sentences << QStringLiteral("Up to date: ") + WorkText::listed(summary.upToDate) + u'.';
    }
    for (auto it = summary.failed.cbegin(); it != summary.failed.cend(); ++it) {
        QString why = it.value().trimmed().isEmpty() ? QStringLiteral("compose gave no reason") : it.value().trimmed();
        if (!why.endsWith(u'.'))
            why += u'.';
        sentences << QStringLiteral("%1 could not be pulled: %2").arg(it.key(), why);
    }
    if (!summary.skipped.isEmpty())
        sentences << QStringLiteral("Not pulled: ") + WorkText::listed(summary.skipped) + QStringLiteral(", built here or pinned by digest.");
    if (sentences.isEmpty())
        return QStringLiteral("No service has an image to pull.");
    return sentences.join(u' ');
}

QString recreateLabel(int services)
{
    return services == 1 ? QStringLiteral("Recreate 1 service") : QStringLiteral("Recreate %1 services").arg(services);
}

}
