#pragma once

#include "keyedlistmodel.h"
#include "runtime.h"

#include <QtQml/qqmlregistration.h>
#include <optional>

// One row of the picker: a runtime and whether it is the selected one.
struct RuntimeRow {
    RuntimeEntry entry;
    bool selected = false;
    // "All engines": every watched engine's rows at once.
    bool all = false;
    friend bool operator==(const RuntimeRow &, const RuntimeRow &) = default;
};

// The runtime picker's rows, keyed by runtime, with the selected one marked.
class RuntimeModel : public KeyedRowsModel<RuntimeRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Runtimes come from the store")
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedRowChanged)

public:
    enum Role { LabelRole = Qt::UserRole + 1, RuntimeNameRole, EndpointRole, ReachableRole, SelectedRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    // With more than one engine watched, "All engines" leads the list, chosen while all shows.
    void setRuntimes(const QList<RuntimeEntry> &runtimes, const std::optional<Runtime> &selected, int watched = 1, bool all = false);
    // The row is "All engines".
    bool isAll(int row) const { return row >= 0 && row < int(m_rows.size()) && m_rows[row].all; }
    int selectedRow() const;
    std::optional<Runtime> runtimeAt(int row) const;

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const RuntimeRow &row, int role) const override;

signals:
    void selectedRowChanged();
};
