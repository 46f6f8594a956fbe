#include "projectmodel.h"

#include <QSet>

void ProjectModel::setProjects(const QList<ComposeProject> &projects)
{
    // Children exist before a row that shows them is inserted.
    QSet<QString> names;
    for (const ComposeProject &p : projects) {
        names.insert(p.name);
        ContainerModel *&child = m_children[p.name];
        if (!child)
            child = new ContainerModel(this);
        child->setContainers(p.containers);
    }
    sync(m_rows, projects, [](const ComposeProject &p) { return p.name; }, [](const ComposeProject &a, const ComposeProject &b) {
        QList<int> roles;
        if (a.workingDir != b.workingDir)
            roles << WorkingDirRole;
        if (a.runningCount() != b.runningCount())
            roles << RunningCountRole;
        if (a.containers.size() != b.containers.size())
            roles << TotalRole;
        return roles;
    });
    for (auto it = m_children.begin(); it != m_children.end();) {
        if (names.contains(it.key())) {
            ++it;
        } else {
            it.value()->deleteLater();
            it = m_children.erase(it);
        }
    }
}

QVariant ProjectModel::roleData(const ComposeProject &p, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return p.name;
    case WorkingDirRole:
        return p.workingDir.value_or(QString());
    case ContainersRole:
        return QVariant::fromValue<QObject *>(m_children.value(p.name));
    case RunningCountRole:
        return p.runningCount();
    case TotalRole:
        return int(p.containers.size());
    }
    return {};
}

QHash<int, QByteArray> ProjectModel::roleNames() const
{
    return {{NameRole, "name"}, {WorkingDirRole, "workingDir"}, {ContainersRole, "containers"},
            {RunningCountRole, "runningCount"}, {TotalRole, "total"}};
}
