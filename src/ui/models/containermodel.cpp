#include "containermodel.h"

#include "containerrules.h"

#include "docker.h"
#include "portlinks.h"
#include "terminal.h"
#include "usagetext.h"
#include "usagewatch.h"

void ContainerModel::setContainers(const QList<Container> &containers)
{
    sync(m_rows, containers, [](const Container &c) { return c.id; }, [](const Container &a, const Container &b) {
        QList<int> roles;
        if (a.name != b.name)
            roles << NameRole << TerminalCommandRole;
        if (a.image != b.image)
            roles << ImageRole;
        if (a.state != b.state)
            roles << ContainerStateRole << DotRole << RunningRole << ActionLabelRole << UsageRole << UsageSpokenRole << TrendRole;
        if (a.status != b.status)
            roles << StatusRole;
        if (a.state != b.state || a.status != b.status)
            roles << FailedRole;
        if (a.ports != b.ports)
            roles << PortsRole << LinksRole;
        if (a.project() != b.project())
            roles << ProjectRole << ServiceRole;
        if (a.status != b.status || a.image != b.image || a.ports != b.ports)
            roles << DescriptionRole;
        return roles;
    });
    askForUsage();
}

ContainerModel::~ContainerModel()
{
    if (m_usage)
        m_usage->want(this, {});
}

void ContainerModel::setUsage(UsageWatch *usage)
{
    if (m_usage == usage)
        return;
    if (m_usage) {
        m_usage->want(this, {});
        m_usage->disconnect(this);
    }
    m_usage = usage;
    if (m_usage)
        connect(m_usage, &UsageWatch::sampled, this, &ContainerModel::usageSampled);
    askForUsage();
}

void ContainerModel::onScreen(const QString &containerId, bool shown)
{
    int &count = m_onScreen[containerId];
    count += shown ? 1 : -1;
    if (count <= 0)
        m_onScreen.remove(containerId);
    askForUsage();
}

void ContainerModel::askForUsage()
{
    if (!m_usage)
        return;
    QSet<QString> ids;
    for (const Container &c : std::as_const(m_rows)) {
        if (c.isRunning() && m_onScreen.contains(c.id))
            ids << c.id;
    }
    m_usage->want(this, ids);
}

void ContainerModel::usageSampled(const QSet<QString> &containerIds)
{
    for (int i = 0; i < m_rows.size(); ++i) {
        if (containerIds.contains(m_rows[i].id))
            emit dataChanged(index(i), index(i), {UsageRole, UsageSpokenRole, TrendRole});
    }
}

void ContainerModel::setRuntime(const std::optional<Runtime> &runtime, const QString &endpoint)
{
    QList<int> roles;
    if (m_runtime != runtime)
        roles << TerminalCommandRole;
    if (m_endpoint != endpoint)
        roles << LinksRole;
    m_runtime = runtime;
    m_endpoint = endpoint;
    if (!m_rows.isEmpty() && !roles.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), roles);
}

QString ContainerModel::dot(const Container &c)
{
    if (c.state == QLatin1String("running") || c.state == QLatin1String("paused") || c.state == QLatin1String("exited"))
        return c.state;
    return QStringLiteral("other");
}

QVariant ContainerModel::roleData(const Container &c, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return c.name;
    case ContainerIdRole:
        return c.id;
    case ImageRole:
        return c.image;
    case ContainerStateRole:
        return c.state;
    case StatusRole:
        return c.status;
    case PortsRole:
        return Docker::shortPorts(c.ports);
    case ProjectRole:
        return c.project().value_or(QString());
    case ServiceRole:
        return c.labels.value(QLatin1String(Labels::service));
    case DotRole:
        return dot(c);
    case RunningRole:
        return c.isRunning();
    case FailedRole:
        return c.hasFailed();
    case ActionLabelRole:
        return ContainerRules::label(ContainerRules::primary(c));
    case PrimaryQuietRole:
        // Stopping is the quiet one; starting and resuming are what the row invites.
        return ContainerRules::primary(c) == ContainerRules::Primary::Stop;
    case PauseLabelRole:
        return ContainerRules::pauseLabel(c).value_or(QString());
    case TerminalCommandRole:
        return Terminal::commandLine(m_runtime, c.name);
    case DescriptionRole:
        return ContainerRules::spoken(c);
    case LinksRole: {
        QVariantList links;
        for (const PortLinks::Link &link : PortLinks::links(Docker::parsePorts(c.ports), m_endpoint))
            links.append(QVariantMap{{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.url.toString()}});
        return links;
    }
    case UsageRole:
    case UsageSpokenRole:
    case TrendRole: {
        // A stopped container's last minute says nothing about now.
        if (!m_usage || !c.isRunning())
            return role == TrendRole ? QVariant::fromValue(QList<qreal>()) : QVariant(QString());
        const UsageHistory *history = m_usage->history(c.id);
        if (role == TrendRole)
            return QVariant::fromValue(UsageText::trend(history, m_usage->now(), m_usage->timing().span.count(), m_usage->timing().step.count()));
        const UsageText::Now now = UsageText::latest(history);
        return role == UsageRole ? UsageText::line(now) : UsageText::spoken(now);
    }
    }
    return {};
}

QHash<int, QByteArray> ContainerModel::roleNames() const
{
    return {
        {ContainerIdRole, "containerId"}, {NameRole, "name"}, {ImageRole, "image"},
        {ContainerStateRole, "containerState"}, {StatusRole, "status"}, {PortsRole, "ports"},
        {ProjectRole, "project"}, {DotRole, "dot"}, {RunningRole, "running"}, {FailedRole, "failed"},
        {ActionLabelRole, "actionLabel"}, {PrimaryQuietRole, "primaryQuiet"}, {PauseLabelRole, "pauseLabel"},
        {TerminalCommandRole, "terminalCommand"}, {DescriptionRole, "description"}, {LinksRole, "links"},
        {UsageRole, "usage"}, {UsageSpokenRole, "usageSpoken"}, {TrendRole, "trend"}, {ServiceRole, "service"},
    };
}
