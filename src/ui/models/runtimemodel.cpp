#include "runtimemodel.h"
#include "runtimeselection.h"

void RuntimeModel::setRuntimes(const QList<RuntimeEntry> &runtimes, const std::optional<Runtime> &selected, int watched, bool all)
{
    const int before = selectedRow();
    QList<RuntimeRow> next;
    next.reserve(runtimes.size() + 1);
    const bool offerAll = watched > 1;
    if (offerAll)
        next.append({RuntimeEntry{Runtime::context(QStringLiteral("All engines")), {}, true}, all, true});
    for (const RuntimeEntry &e : runtimes)
        next.append({e, !(offerAll && all) && selected && *selected == e.runtime});
    const auto key = [](const RuntimeRow &r) {
        return r.all ? QStringLiteral("\x01all") : QString::number(int(r.entry.runtime.kind)) + u'\n' + r.entry.runtime.name + u'\n' + r.entry.runtime.path;
    };
    sync(m_rows, next, key, [](const RuntimeRow &a, const RuntimeRow &b) {
        QList<int> roles;
        if (a.entry.reachable != b.entry.reachable)
            roles << ReachableRole << LabelRole;
        if (a.entry.endpoint != b.entry.endpoint)
            roles << EndpointRole;
        if (a.selected != b.selected)
            roles << SelectedRole;
        return roles;
    });
    if (selectedRow() != before)
        emit selectedRowChanged();
}

int RuntimeModel::selectedRow() const
{
    for (int i = 0; i < int(m_rows.size()); ++i) {
        if (m_rows[i].selected)
            return i;
    }
    return -1;
}

std::optional<Runtime> RuntimeModel::runtimeAt(int row) const
{
    if (row < 0 || row >= int(m_rows.size()) || m_rows[row].all)
        return std::nullopt;
    return m_rows[row].entry.runtime;
}

QVariant RuntimeModel::roleData(const RuntimeRow &r, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case LabelRole:
        return r.all ? r.entry.runtime.name : RuntimeSelection::label(r.entry);
    case RuntimeNameRole:
        return r.entry.runtime.name;
    case EndpointRole:
        return r.entry.endpoint;
    case ReachableRole:
        return r.entry.reachable;
    case SelectedRole:
        return r.selected;
    }
    return {};
}

QHash<int, QByteArray> RuntimeModel::roleNames() const
{
    return {{LabelRole, "label"}, {RuntimeNameRole, "runtimeName"}, {EndpointRole, "endpoint"},
            {ReachableRole, "reachable"}, {SelectedRole, "selected"}};
}
