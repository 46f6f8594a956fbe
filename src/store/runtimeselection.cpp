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

QString handedOver(const Runtime &from, const Runtime &to)
{
    return from.name + QStringLiteral(" is not answering — switched to ") + to.name + u'.';
}

QString cameBack(const Runtime &chosen, const Runtime &from)
{
    return chosen.name + QStringLiteral(" answers again — back from ") + from.name + u'.';
}

}
