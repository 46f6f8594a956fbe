#include "reclaimreport.h"

#include "docker.h"
#include "volumesize.h"

#include <QJsonArray>

namespace {
QString size(qint64 bytes)
{
    return bytes >= 0 ? VolumeSize::format(bytes) : QStringLiteral("size unknown");
}

QList<ReclaimPlan::Category> shown(const ReclaimReport &report)
{
    QList<ReclaimPlan::Category> list;
    for (const auto &c : report.plan.categories) {
        if (report.all || c.byDefault)
            list.append(c);
    }
    return list;
}
}

ReclaimReport gatherReclaim(const Engine &engine, const std::optional<QString> &context, bool all)
{
    const std::optional<Runtime> runtime = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    ReclaimReport report{context, all};
    try {
        const QList<DockerImage> images = engine.images(runtime);
        report.plan = Reclaim::plan(Docker::withListedNames(engine.diskUsage(runtime), images, engine.containers(runtime)), images);
        report.plan.runtime = runtime;
    } catch (const DockerError &e) {
        report.error = e.message();
    }
    return report;
}

void writeReclaim(const ReclaimReport &report, QTextStream &out)
{
    if (!report.error.isEmpty()) {
        out << "reclaim failed: " << report.error << '\n';
        return;
    }
    qint64 total = 0;
    const auto categories = shown(report);
    for (const auto &c : categories)
        total += c.bytes();
    out << "reclaim would free " << VolumeSize::format(total) << ":\n";
    for (const auto &c : categories) {
        if (c.items.isEmpty()) {
            out << "  " << ReclaimPlan::title(c.kind) << ": none\n";
            continue;
        }
        out << "  " << ReclaimPlan::title(c.kind) << " (" << c.items.size() << ", " << VolumeSize::format(c.bytes()) << ")";
        if (const QString warning = ReclaimPlan::warning(c.kind); !warning.isEmpty())
            out << " — " << warning;
        out << '\n';
        for (const auto &i : c.items)
            out << "    remove  " << i.name << "  (" << size(i.bytes) << ")\n";
    }
    if (!report.all)
        out << "  (--all also lists images no container uses, stopped containers outside projects and anonymous volumes)\n";
    out << "never removed:\n";
    for (const QString &line : ReclaimPlan::never())
        out << "  " << line << '\n';
}

QJsonObject reclaimJson(const ReclaimReport &report)
{
    QJsonObject json{{"schema", 1}, {"context", report.context ? QJsonValue(*report.context) : QJsonValue()}, {"all", report.all}};
    if (!report.error.isEmpty()) {
        json.insert("error", report.error);
        return json;
    }
    QJsonArray categories;
    for (const auto &c : shown(report)) {
        QJsonArray items;
        for (const auto &i : c.items)
            items.append(QJsonObject{{"id", i.id}, {"name", i.name}, {"bytes", i.bytes >= 0 ? QJsonValue(i.bytes) : QJsonValue()}});
        categories.append(QJsonObject{{"kind", ReclaimPlan::key(c.kind)}, {"selected", c.byDefault}, {"bytes", c.bytes()}, {"items", items}});
    }
    json.insert("categories", categories);
    json.insert("never", QJsonArray::fromStringList(ReclaimPlan::never()));
    json.insert("error", QJsonValue());
    return json;
}
