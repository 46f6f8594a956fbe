#include "containermodel.h"

#include "containerrules.h"
#include "restarttext.h"

#include "docker.h"
#include "portlinks.h"
#include "terminal.h"
#include "usagetext.h"
#include "usagewatch.h"

namespace {
QString containerKey(const Container &c)
{
    return c.engine + u'\n' + c.id;
}
}

void ContainerModel::setContainers(const QList<Container> &containers)
{
    sync(m_rows, containers, containerKey, [](const Container &a, const Container &b) {
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
    markNewer();
    markComebacks();
    askForUsage();
}

void ContainerModel::setComebackOf(ContainerComebackOf comebackOf)
{
    m_comebackOf = std::move(comebackOf);
    markComebacks();
}

void ContainerModel::markComebacks()
{
    const auto reasonOf = [this](const Container &c) {
        const std::optional<Comeback> comeback = m_comebackOf ? m_comebackOf(c) : std::nullopt;
        return comeback && RestartText::marked(c.state, *comeback) ? comeback->reason : QString();
    };
    for (int i : m_stays.update(m_rows, containerKey, reasonOf))
        emit dataChanged(index(i), index(i), {StaysRole, StaysReasonRole, KeepableRole, DescriptionRole});
}

void ContainerModel::setNewerOf(ContainerNewerOf newerOf)
{
    m_newerOf = std::move(newerOf);
    markNewer();
}

void ContainerModel::markNewer()
{
    for (int i : m_newer.update(m_rows, containerKey, [this](const auto &row) { return newerReason(m_newerOf, row); }))
        emit dataChanged(index(i), index(i), {NewerRole, NewerReasonRole, DescriptionRole});
}

ContainerModel::~ContainerModel()
{
    for (const QPointer<UsageWatch> &watch : std::as_const(m_watches)) {
        if (watch)
            watch->want(this, {});
    }
}

void ContainerModel::setUsage(UsageWatch *usage)
{
    QPointer<UsageWatch> one(usage);
    setUsageOf(usage ? UsageOf([one](const QString &) { return one.data(); }) : UsageOf());
}

void ContainerModel::setUsageOf(UsageOf usageOf)
{
    for (const QPointer<UsageWatch> &watch : std::as_const(m_watches)) {
        if (watch) {
            watch->want(this, {});
            watch->disconnect(this);
        }
    }
    m_watches.clear();
    m_usageOf = std::move(usageOf);
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
    if (!m_usageOf)
        return;
    QHash<UsageWatch *, QSet<QString>> wanted;
    for (const Container &c : std::as_const(m_rows)) {
        UsageWatch *watch = m_usageOf(c.engine);
        if (!watch)
            continue;
        QSet<QString> &ids = wanted[watch];
        if (c.isRunning() && m_onScreen.contains(sharedRole(KeyRole, c.engine, c.id, {}).toString()))
            ids << c.id;
    }
    // A watch no row needs any more is told so once, then forgotten.
    m_watches.removeIf([&](const QPointer<UsageWatch> &watch) {
        if (!watch)
            return true;
        if (wanted.contains(watch.data()))
            return false;
        watch->want(this, {});
        watch->disconnect(this);
        return true;
    });
    for (auto it = wanted.cbegin(); it != wanted.cend(); ++it) {
        if (!m_watches.contains(it.key())) {
            m_watches.append(it.key());
            connect(it.key(), &UsageWatch::sampled, this, &ContainerModel::usageSampled);
        }
        it.key()->want(this, it.value());
    }
}

void ContainerModel::usageSampled(const QSet<QString> &containerIds)
{
    for (int i = 0; i < m_rows.size(); ++i) {
        if (containerIds.contains(m_rows[i].id))
            emit dataChanged(index(i), index(i), {UsageRole, UsageSpokenRole, TrendRole});
    }
}

void ContainerModel::setEngines(const QHash<QString, RuntimeEntry> &engines)
{
    if (m_engines == engines)
        return;
    m_engines = engines;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {TerminalCommandRole, LinksRole});
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
    if (role >= KeyRole)
        return sharedRole(role, c.engine, c.id, c.name);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return c.name;
    case ContainerIdRole:
        return sharedRole(KeyRole, c.engine, c.id, c.name);
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
        // A row of another engine than the selected one is reached through its own.
        if (const auto engine = m_engines.constFind(c.engine); engine != m_engines.cend())
            return Terminal::commandLine(engine->runtime, c.name);
        return Terminal::commandLine(m_runtime, c.name);
    case DescriptionRole: {
        QString spoken = ContainerRules::spoken(c);
        if (m_newer.marked(containerKey(c)))
            spoken += QStringLiteral(" · Newer image");
        if (m_stays.marked(containerKey(c)))
            spoken += QStringLiteral(" · ") + m_stays.reason(containerKey(c));
        return spoken;
    }
    case StaysRole: {
        if (!m_stays.marked(containerKey(c)))
            return QString();
        const std::optional<Comeback> comeback = m_comebackOf ? m_comebackOf(c) : std::nullopt;
        return RestartText::markLabel(comeback ? comeback->kind : Comeback::Kind::No);
    }
    case StaysReasonRole:
        return m_stays.reason(containerKey(c));
    case KeepableRole: {
        const std::optional<Comeback> comeback = m_stays.marked(containerKey(c)) && m_comebackOf ? m_comebackOf(c) : std::nullopt;
        return comeback && comeback->fixable;
    }
    case NewerRole:
        return m_newer.marked(containerKey(c));
    case NewerReasonRole:
        return m_newer.reason(containerKey(c));
    case LinksRole: {
        QVariantList links;
        const auto engine = m_engines.constFind(c.engine);
        for (const PortLinks::Link &link : PortLinks::links(Docker::parsePorts(c.ports), engine != m_engines.cend() ? engine->endpoint : m_endpoint))
            links.append(QVariantMap{{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.url.toString()}});
        return links;
    }
    case UsageRole:
    case UsageSpokenRole:
    case TrendRole: {
        // A stopped container's last minute says nothing about now.
        const UsageWatch *usage = m_usageOf ? m_usageOf(c.engine) : nullptr;
        if (!usage || !c.isRunning())
            return role == TrendRole ? QVariant::fromValue(QList<qreal>()) : QVariant(QString());
        const UsageHistory *history = usage->history(c.id);
        if (role == TrendRole)
            return QVariant::fromValue(UsageText::trend(history, usage->now(), usage->timing().span.count(), usage->timing().step.count()));
        const UsageText::Now now = UsageText::latest(history);
        return role == UsageRole ? UsageText::line(now) : UsageText::spoken(now);
    }
    }
    return {};
}

QHash<int, QByteArray> ContainerModel::roleNames() const
{
    QHash<int, QByteArray> names {
        {ContainerIdRole, "containerId"}, {NameRole, "name"}, {ImageRole, "image"},
        {ContainerStateRole, "containerState"}, {StatusRole, "status"}, {PortsRole, "ports"},
        {ProjectRole, "project"}, {DotRole, "dot"}, {RunningRole, "running"}, {FailedRole, "failed"},
        {ActionLabelRole, "actionLabel"}, {PrimaryQuietRole, "primaryQuiet"}, {PauseLabelRole, "pauseLabel"},
        {TerminalCommandRole, "terminalCommand"}, {DescriptionRole, "description"}, {LinksRole, "links"},
        {UsageRole, "usage"}, {UsageSpokenRole, "usageSpoken"}, {TrendRole, "trend"}, {ServiceRole, "service"},
        {NewerRole, "newer"}, {NewerReasonRole, "newerReason"}, {StaysRole, "stays"}, {StaysReasonRole, "staysReason"}, {KeepableRole, "keepable"},
    };
    names.insert(sharedRoleNames());
    return names;
}
