#include "projectservices.h"

#include <QSet>

namespace ProjectServices {

QList<ProjectService> missing(const ResolvedProject &defined, const QList<Container> &containers)
{
    QSet<QString> created;
    for (const Container &c : containers)
        created.insert(c.labels.value(QLatin1String(Labels::service)));
    QList<ProjectService> notCreated, inactive;
    for (const ServiceDefinition &s : defined.definitions) {
        if (created.contains(s.name))
            continue;
        const QString image = !s.image.isEmpty() || !s.builds ? s.image : QStringLiteral("builds its image");
        if (s.activeWith(defined.activeProfiles))
            notCreated.append({s.name, image, ProjectService::State::NotCreated, s.profiles});
        else
            inactive.append({s.name, image, ProjectService::State::Inactive, s.profiles});
    }
    return notCreated + inactive;
}

QString listed(const QString &reference)
{
    QString name = reference;
    for (const QLatin1String prefix : {QLatin1String("docker.io/library/"), QLatin1String("docker.io/"), QLatin1String("index.docker.io/library/")}) {
        if (name.startsWith(prefix)) {
            name = name.mid(prefix.size());
            break;
        }
    }
    // A colon after the last slash is a tag's; one before it belongs to a registry's port.
    return name.lastIndexOf(u':') > name.lastIndexOf(u'/') ? name : name + QStringLiteral(":latest");
}

namespace {
QString idOf(const QList<DockerImage> &images, const QString &name)
{
    for (const DockerImage &i : images) {
        if (i.repository + u':' + i.tag == name)
            return i.id;
    }
    return {};
}
}

PullSummary compare(const QList<ServiceDefinition> &pulled, const QList<DockerImage> &before, const QList<DockerImage> &after,
                    const QMap<QString, QString> &failed)
{
    PullSummary summary;
    for (const ServiceDefinition &s : pulled) {
        if (failed.contains(s.name)) {
            summary.failed.insert(s.name, failed.value(s.name));
            continue;
        }
        if (s.builds || s.image.isEmpty() || s.image.contains(u'@')) {
            summary.skipped.append(s.name);
            continue;
        }
        const QString name = listed(s.image);
        const QString now = idOf(after, name);
        if (!now.isEmpty() && now != idOf(before, name))
            summary.newer.append(s.name);
        else
            summary.upToDate.append(s.name);
    }
    return summary;
}

}
