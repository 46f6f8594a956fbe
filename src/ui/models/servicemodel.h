#pragma once

#include "keyedlistmodel.h"
#include "projectservices.h"

#include <QtQml/qqmlregistration.h>

// A card's services that have no container, keyed by name, after its container rows.
class ServiceModel : public KeyedRowsModel<ProjectService> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Services come from the projects")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { ServiceNameRole = Qt::UserRole + 1, ImageRole, ServiceStateRole, NotCreatedRole, DescriptionRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setServices(const QList<ProjectService> &services);
    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const ProjectService &row, int role) const override;
};
