#pragma once

#include "composeproject.h"
#include "containermodel.h"
#include "keyedlistmodel.h"

#include <QHash>
#include <QtQml/qqmlregistration.h>

// Compose projects keyed by name, each with its own container model, so one container's
// change touches one row of one card.
class ProjectModel : public KeyedListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Projects come from the store")

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        WorkingDirRole,
        ContainersRole,
        RunningCountRole,
        TotalRole,
    };
    Q_ENUM(Role)

    using KeyedListModel::KeyedListModel;

    void setProjects(const QList<ComposeProject> &projects);
    const QList<ComposeProject> &projects() const { return m_rows; }
    ContainerModel *containersOf(const QString &project) const { return m_children.value(project); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<ComposeProject> m_rows;
    QHash<QString, ContainerModel *> m_children;
};
