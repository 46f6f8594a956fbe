#include "planreport.h"

#include <QJsonArray>

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

PlanReport gatherPlan(const Engine &engine, const QString &name, const std::optional<QString> &context)
{
    using Outcome = PlanReport::Outcome;
    const std::optional<Runtime> runtime = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    QList<Container> containers;
    try {
        containers = engine.containers(runtime);
    } catch (const DockerError &) {
        return {name, Outcome::CannotList};
    }
    const auto projects = Docker::group(containers);
    const auto project = std::find_if(projects.cbegin(), projects.cend(), [&](const ComposeProject &p) { return p.name == name; });
    if (project == projects.cend()) {
        PlanReport report{name, Outcome::NoSuchProject};
        for (const auto &p : projects)
            report.found << p.name;
        return report;
    }
    QList<DockerVolume> volumes;
    try {
        volumes = engine.volumes(runtime);
    } catch (const DockerError &) {
    }
    return {name, Outcome::Planned, Teardown::assemble(engine, *project, containers, volumes, runtime)};
}

void writePlan(const PlanReport &report, QTextStream &out)
{
    switch (report.outcome) {
    case PlanReport::Outcome::CannotList:
        out << "plan failed: cannot list containers\n";
        break;
    case PlanReport::Outcome::NoSuchProject:
        out << "no project named " << report.project << ". Found: " << report.found.join(QStringLiteral(", ")) << '\n';
        break;
    case PlanReport::Outcome::Planned:
        out << formatPlan(report.plan);
        break;
    }
}

QJsonObject planJson(const PlanReport &report)
{
    QJsonObject json{{"schema", 1}, {"project", report.project}};
    switch (report.outcome) {
    case PlanReport::Outcome::CannotList:
        json.insert("error", "cannot list containers");
        return json;
    case PlanReport::Outcome::NoSuchProject:
        json.insert("error", "no such project");
        json.insert("found", QJsonArray::fromStringList(report.found));
        return json;
    case PlanReport::Outcome::Planned:
        break;
    }
    const TeardownPlan &plan = report.plan;
    QJsonArray removeVolumes, keep;
    for (const auto &v : plan.removable())
        removeVolumes.append(QJsonObject{{"name", v.name}, {"size", v.size ? QJsonValue(*v.size) : QJsonValue()}});
    for (const auto &v : plan.kept())
        keep.append(QJsonObject{{"name", v.name}, {"reason", v.keptBecause()}, {"usedBy", QJsonArray::fromStringList(v.usedBy)}});
    json.insert("remove", QJsonObject{{"containers", QJsonArray::fromStringList(plan.containers)}, {"volumes", removeVolumes}});
    json.insert("keep", keep);
    json.insert("trash", plan.workingDir ? QJsonValue(*plan.workingDir) : QJsonValue());
    json.insert("error", QJsonValue());
    return json;
}
