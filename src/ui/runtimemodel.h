#pragma once

#include "keyedlistmodel.h"
#include "runtime.h"

#include <QtQml/qqmlregistration.h>
#include <optional>

// The runtime picker's rows, keyed by runtime, with the selected one marked.
class RuntimeModel : public KeyedListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Runtimes come from the store")
    Q_PROPERTY(int selectedRow READ selectedRow NOTIFY selectedRowChanged)

public:
    enum Role { LabelRole = Qt::UserRole + 1, RuntimeNameRole, EndpointRole, ReachableRole, SelectedRole };
    Q_ENUM(Role)

    struct Row {
        RuntimeEntry entry;
        bool selected = false;
        friend bool operator==(const Row &, const Row &) = default;
    };

    using KeyedListModel::KeyedListModel;

    void setRuntimes(const QList<RuntimeEntry> &runtimes, const std::optional<Runtime> &selected);
    int selectedRow() const;
    std::optional<Runtime> runtimeAt(int row) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void selectedRowChanged();

private:
    QList<Row> m_rows;
};
