#include "runtimeselection.h"

#include "docker.h"

namespace RuntimeSelection {

QString label(const RuntimeEntry &entry)
{
    return entry.reachable ? entry.runtime.name : entry.runtime.name + QStringLiteral(" · offline");
}

QList<RuntimeEntry> rechecked(const Engine &engine, QList<RuntimeEntry> rows)
{
    for (auto &row : rows)
        row.reachable = engine.reachable(row);
    return rows;
}

std::optional<Handover> handover(const std::optional<Runtime> &from, const QList<RuntimeEntry> &rows)
{
    const auto to = Docker::handover(from, rows);
    if (!to)
        return std::nullopt;
    const QString was = from ? from->name : QString();
    return Handover{*to, was + QStringLiteral(" is not answering — switched to ") + to->name + u'.'};
}

}
