#include "dumpreport.h"
#include "runtimeselection.h"

#include "docker.h"

#include <QFileInfo>

QString runtimeLine(const RuntimeEntry &entry, const std::optional<Runtime> &current)
{
    return QStringLiteral("runtime: ") + RuntimeSelection::label(entry) + QStringLiteral("  ") + entry.endpoint
        + (current && entry.runtime == *current ? QStringLiteral("  [opens here]") : QString());
}

void runDump(const Engine &engine, const std::optional<QString> &context, QTextStream &out)
{
    const std::optional<Runtime> target = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    try {
        const auto runtimes = engine.runtimes();
        for (const auto &entry : runtimes.list) {
            out << runtimeLine(entry, runtimes.current) << '\n';
        }
    } catch (const DockerError &) {
        // Without a runtime list the rest of the report still says what is wrong.
    }

    QList<Container> containers;
    try {
        containers = engine.containers(target);
    } catch (const DockerError &e) {
        out << "dump failed: " << e.message() << '\n';
        return;
    }
    out << "runtime: " << context.value_or(QStringLiteral("(current)")) << "  containers: " << containers.size() << '\n';

    for (const auto &project : Docker::group(containers)) {
        QString suffix;
        if (!project.workingDir || !QFileInfo::exists(*project.workingDir))
            suffix = QStringLiteral("  [workdir missing - compose disabled]");
        else if (!Docker::composeFile(*project.workingDir))
            suffix = QStringLiteral("  [no compose file - compose disabled]");
        out << "  project " << project.name << "  " << project.runningCount() << '/' << project.containers.size() << suffix << '\n';
        if (suffix.isEmpty()) {
            const auto check = engine.checkCompose(*project.workingDir);
            if (!check.valid)
                out << "    compose config: INVALID - " << check.message << '\n';
            else if (check.warning)
                out << "    compose config: ok - WARNING\n      " << *check.warning << '\n';
            else
                out << "    compose config: ok\n";
        }
        for (const auto &c : project.containers)
            out << "    - " << c.name << "  [" << c.state << "]  " << c.image << '\n';
    }
    for (const auto &c : Docker::ungrouped(containers))
        out << "  (no project) " << c.name << "  [" << c.state << "]\n";

    try {
        const auto images = engine.images(target);
        const auto volumes = engine.volumes(target);
        out << "images: " << images.size() << "  volumes: " << volumes.size() << '\n';
    } catch (const DockerError &e) {
        out << "dump failed: " << e.message() << '\n';
    }
}
