#include "servicemodel.h"

#include "projectcard.h"

void ServiceModel::setServices(const QList<ProjectService> &services)
{
    sync(m_rows, services, [](const ProjectService &s) { return s.name; }, [](const ProjectService &a, const ProjectService &b) {
        QList<int> roles;
        if (a.image != b.image)
            roles << ImageRole;
        if (a.state != b.state || a.profiles != b.profiles)
            roles << ServiceStateRole << NotCreatedRole;
        if (ProjectCard::serviceSpoken(a) != ProjectCard::serviceSpoken(b))
            roles << DescriptionRole;
        return roles;
    });
}

QVariant ServiceModel::roleData(const ProjectService &s, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case ServiceNameRole: return s.name;
    case ImageRole: return s.image;
    case ServiceStateRole: return ProjectCard::serviceState(s);
    case NotCreatedRole: return s.state == ProjectService::State::NotCreated;
    case DescriptionRole: return ProjectCard::serviceSpoken(s);
    }
    return {};
}

QHash<int, QByteArray> ServiceModel::roleNames() const
{
    return {{ServiceNameRole, "serviceName"}, {ImageRole, "image"}, {ServiceStateRole, "serviceState"},
            {NotCreatedRole, "notCreated"}, {DescriptionRole, "description"}};
}
