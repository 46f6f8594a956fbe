#pragma once

#include "container.h"
#include "keyedlistmodel.h"
#include "runtime.h"

#include <optional>

#include <QtQml/qqmlregistration.h>

// Containers keyed by id: the Containers section, and each project card's own rows.
class ContainerModel : public KeyedRowsModel<Container> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Containers come from the store")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        ContainerIdRole = Qt::UserRole + 1,
        NameRole,
        ImageRole,
        ContainerStateRole,
        StatusRole,
        PortsRole,
        ProjectRole,
        DotRole,
        RunningRole,
        FailedRole,
        ActionLabelRole,
        PrimaryQuietRole,
        PauseLabelRole,
        TerminalCommandRole,
        DescriptionRole,
        LinksRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setContainers(const QList<Container> &containers);
    // The runtime the terminal command of each row names, and its endpoint, which says
    // where the rows' ports are reached.
    void setRuntime(const std::optional<Runtime> &runtime, const QString &endpoint = {});
    const QList<Container> &containers() const { return m_rows; }

    // "running", "paused", "exited" or "other": which colour the status dot takes.
    static QString dot(const Container &c);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const Container &row, int role) const override;

private:
    std::optional<Runtime> m_runtime;
    QString m_endpoint;
};
