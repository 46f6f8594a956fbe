#pragma once

#include "composeproject.h"
#include "containermodel.h"
#include "keyedlistmodel.h"

#include <QHash>
#include <QtQml/qqmlregistration.h>

// Compose projects keyed by name, each with its own container model, so one container's
// change touches one row of one card.
class ProjectModel : public KeyedRowsModel<ComposeProject> {
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

    using KeyedRowsModel::KeyedRowsModel;

    void setProjects(const QList<ComposeProject> &projects);
    const QList<ComposeProject> &projects() const { return m_rows; }
    ContainerModel *containersOf(const QString &project) const { return m_children.value(project); }

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const ComposeProject &row, int role) const override;

private:
    QHash<QString, ContainerModel *> m_children;
};
