#pragma once

#include "dockernetwork.h"
#include "keyedlistmodel.h"

#include <QtQml/qqmlregistration.h>

// Networks keyed by id.
class NetworkModel : public KeyedRowsModel<DockerNetwork> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Networks come from the store")

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        DetailRole,
        MembersRole,
        ProjectRole,
        RemovableRole,
        KeptRole,
        DescriptionRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setNetworks(const QList<DockerNetwork> &networks);

    // "bridge · local · 172.31.250.0/24"
    static QString detail(const DockerNetwork &network);
    // "d-net-a 172.31.250.2, d-net-b 172.31.250.3", or "No containers".
    static QString members(const DockerNetwork &network);
    // What its row says to a screen reader after the name.
    static QString spoken(const DockerNetwork &network);

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const DockerNetwork &row, int role) const override;
};
