#include "runtimeselection.h"

#include "docker.h"

#include <QSet>

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

bool isLocal(const RuntimeEntry &entry)
{
    return entry.runtime.isSocket() || entry.endpoint.startsWith(QLatin1String("unix://"));
}

QList<RuntimeEntry> watched(const QList<RuntimeEntry> &entries, const QStringList &remotesOn, const std::optional<Runtime> &selected)
{
    const auto wanted = [&](const RuntimeEntry &e) {
        return (selected && e.runtime == *selected) || (isLocal(e) ? e.reachable : remotesOn.contains(e.runtime.name));
    };
    // A socket picked by path need not be listed; its path says where it goes.
    QString selectedEndpoint = selected && selected->isSocket() ? QStringLiteral("unix://") + selected->path : QString();
    for (const RuntimeEntry &e : entries) {
        if (selected && e.runtime == *selected)
            selectedEndpoint = e.endpoint;
    }
    QList<RuntimeEntry> out;
    QSet<QString> endpoints;
    for (const RuntimeEntry &e : entries) {
        if (!wanted(e))
            continue;
        const bool isSelected = selected && e.runtime == *selected;
        // An empty endpoint says nothing of where it goes, so it is nobody's twin.
        if (!e.endpoint.isEmpty() && !isSelected && (endpoints.contains(e.endpoint) || e.endpoint == selectedEndpoint))
            continue;
        if (!e.endpoint.isEmpty())
            endpoints.insert(e.endpoint);
        out.append(e);
    }
    return out;
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
