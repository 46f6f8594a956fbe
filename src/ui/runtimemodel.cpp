#include "runtimemodel.h"

void RuntimeModel::setRuntimes(const QList<RuntimeEntry> &runtimes, const std::optional<Runtime> &selected)
{
    const int before = selectedRow();
    QList<Row> next;
    next.reserve(runtimes.size());
    for (const RuntimeEntry &e : runtimes)
        next.append({e, selected && *selected == e.runtime});
    const auto key = [](const Row &r) {
        return QString::number(int(r.entry.runtime.kind)) + u'\n' + r.entry.runtime.name + u'\n' + r.entry.runtime.path;
    };
    sync(m_rows, next, key, [](const Row &a, const Row &b) {
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
    if (row < 0 || row >= int(m_rows.size()))
        return std::nullopt;
    return m_rows[row].entry.runtime;
}

int RuntimeModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant RuntimeModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &r = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case LabelRole:
        return r.entry.label();
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
