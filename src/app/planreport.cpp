#include "planreport.h"

QString formatPlan(const TeardownPlan &plan)
{
    QString text;
    QTextStream out(&text);
    const auto label = [](const char *label) { return QString::fromLatin1(label).leftJustified(20); };
    out << "delete " << plan.project << " would:\n";
    for (const auto &c : plan.containers)
        out << label("  remove container") << c << '\n';
    for (const auto &v : plan.removable())
        out << label("  remove volume") << v.name << (v.size ? "  (" + *v.size + ")" : QString()) << '\n';
    for (const auto &v : plan.kept())
        out << label("  KEEP volume") << v.name << QStringLiteral("  — ") << v.keptBecause() << '\n';
    if (plan.workingDir)
        out << label("  offer to trash") << *plan.workingDir << '\n';
    if (plan.containers.isEmpty() && plan.volumes.isEmpty())
        out << "  nothing\n";
    out.flush();
    return text;
}

void runPlan(const Engine &engine, const QString &name, const std::optional<QString> &context, QTextStream &out)
{
    const std::optional<Runtime> runtime = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    QList<Container> containers;
    try {
        containers = engine.containers(runtime);
    } catch (const DockerError &) {
        out << "plan failed: cannot list containers\n";
        return;
    }
    const auto projects = Docker::group(containers);
    const auto project = std::find_if(projects.cbegin(), projects.cend(), [&](const ComposeProject &p) { return p.name == name; });
    if (project == projects.cend()) {
        QStringList found;
        for (const auto &p : projects)
            found << p.name;
        out << "no project named " << name << ". Found: " << found.join(QStringLiteral(", ")) << '\n';
        return;
    }
    QList<DockerVolume> volumes;
    try {
        volumes = engine.volumes(runtime);
    } catch (const DockerError &) {
    }
    out << formatPlan(Teardown::assemble(engine, *project, containers, volumes, runtime));
}
