#include "projectmodel.h"

#include "docker.h"
#include "newertext.h"
#include "restarttext.h"
#include "usagetext.h"

#include <QSet>

namespace {
// A card's own models go with it; QML may still hold them until the row is gone.
template <typename Model>
void dropUnlisted(QHash<QString, Model *> &models, const QSet<QString> &names)
{
    for (auto it = models.begin(); it != models.end();) {
        if (names.contains(it.key())) {
            ++it;
        } else {
            it.value()->deleteLater();
            it = models.erase(it);
        }
    }
}
}

int ProjectRow::total() const
{
    return int(project.containers.size() + std::count_if(services.cbegin(), services.cend(), [](const ProjectService &s) {
                   return s.state == ProjectService::State::NotCreated;
               }));
}

void ProjectModel::setProjects(const QList<ComposeProject> &projects, const QList<Container> &loose, const DirectoryMap &dirs,
                               const QStringList &muted, const QHash<QString, ResolvedProject> &definitions,
                               const QHash<QString, PullSummary> &pulls)
{
    QList<ProjectRow> rows;
    rows.reserve(projects.size() + 1);
    // Each engine's loose containers follow its projects, so rows stay grouped by engine.
    const auto looseOf = [&](const QString &engine) {
        QList<Container> of;
        std::copy_if(loose.cbegin(), loose.cend(), std::back_inserter(of), [&](const Container &c) { return c.engine == engine; });
        if (!of.isEmpty())
            rows.append({ComposeProject{QStringLiteral("Not in a project"), std::nullopt, of, 0, {}, engine}, false, {}, true});
    };
    QStringList engines;
    for (const ComposeProject &p : projects) {
        if (!engines.contains(p.engine))
            engines.append(p.engine);
    }
    for (const Container &c : loose) {
        if (!engines.contains(c.engine))
            engines.append(c.engine);
    }
    for (const ComposeProject &p : projects) {
        if (!rows.isEmpty() && !rows.constLast().loose && rows.constLast().project.engine != p.engine)
            looseOf(rows.constLast().project.engine);
        const DirectoryFacts facts = p.workingDir ? ProjectDirectory::factsOf(dirs, *p.workingDir) : DirectoryFacts{};
        ProjectRow row{p, facts.exists, ProjectCard::state(p, facts.exists, facts.composeFile), false, muted.contains(p.name)};
        // Where the directory or its file has gone, the card shows what its containers show.
        const auto defined = p.workingDir && facts.composeFile ? definitions.constFind(*p.workingDir) : definitions.cend();
        if (defined != definitions.cend() && defined->name == p.name)
            row.services = ProjectServices::missing(*defined, p.containers);
        // Pulls are told by project on its engine.
        if (const auto pull = pulls.constFind(p.engine.isEmpty() ? p.name : p.engine + QChar(0x1f) + p.name); pull != pulls.cend())
            row.pull = *pull;
        row.newer = newerServices(row);
        row.comebacks = comebacksOf(row);
        rows.append(row);
    }
    // The engines not yet closed: the last one with projects, and those with loose rows only.
    for (const QString &engine : std::as_const(engines)) {
        const bool closed = std::any_of(rows.cbegin(), rows.cend(), [&](const ProjectRow &r) { return r.loose && r.project.engine == engine; });
        if (!closed)
            looseOf(engine);
    }
    setRows(rows);
}

QStringList ProjectModel::newerServices(const ProjectRow &row) const
{
    QStringList services;
    if (row.loose || !m_newerOf)
        return services;
    for (const Container &c : row.project.containers) {
        const std::optional<ImageFreshness> freshness = m_newerOf(c);
        if (!freshness || freshness->state != ImageFreshness::State::Newer)
            continue;
        if (const QString service = c.labels.value(QLatin1String(Labels::service), c.name); !services.contains(service))
            services.append(service);
    }
    return services;
}

QList<std::pair<QString, Comeback>> ProjectModel::comebacksOf(const ProjectRow &row) const
{
    QList<std::pair<QString, Comeback>> comebacks;
    if (row.loose || !m_comebackOf)
        return comebacks;
    for (const Container &c : row.project.containers) {
        const std::optional<Comeback> comeback = m_comebackOf(c);
        // Said of all or not at all: a count of what was read so far would mislead.
        if (!comeback)
            return {};
        // What is stopped now loses nothing at a restart.
        if (AfterRestart::runsNow(c.state))
            comebacks.append({c.labels.value(QLatin1String(Labels::service), c.name), *comeback});
    }
    return comebacks;
}

void ProjectModel::setComebackOf(ContainerComebackOf comebackOf)
{
    m_comebackOf = std::move(comebackOf);
    for (ContainerModel *child : std::as_const(m_children))
        child->setComebackOf(m_comebackOf);
    markComebacks();
}

void ProjectModel::markComebacks()
{
    QList<ProjectRow> rows = m_rows;
    for (ProjectRow &row : rows)
        row.comebacks = comebacksOf(row);
    setRows(rows);
}

void ProjectModel::setNewerOf(ContainerNewerOf newerOf)
{
    m_newerOf = std::move(newerOf);
    for (ContainerModel *child : std::as_const(m_children))
        child->setNewerOf(m_newerOf);
    markNewer();
}

void ProjectModel::markNewer()
{
    QList<ProjectRow> rows = m_rows;
    for (ProjectRow &row : rows)
        row.newer = newerServices(row);
    // Each card's own rows look again as they are given their containers.
    setRows(rows);
}

void ProjectModel::setRows(const QList<ProjectRow> &rows)
{
    // Children exist before a row that shows them is inserted.
    QSet<QString> names;
    for (const ProjectRow &r : rows) {
        names.insert(r.key());
        ContainerModel *&child = m_children[r.key()];
        if (!child) {
            child = new ContainerModel(this);
            child->setRuntime(m_runtime, m_endpoint);
            child->setUsageOf(m_usageOf);
            child->setEngines(m_engines);
            child->setNewerOf(m_newerOf);
            child->setComebackOf(m_comebackOf);
        }
        child->setContainers(r.project.containers);
        ServiceModel *&services = m_services[r.key()];
        if (!services)
            services = new ServiceModel(this);
        services->setServices(r.services);
    }
    sync(m_rows, rows, [](const ProjectRow &r) { return r.key(); }, [](const ProjectRow &a, const ProjectRow &b) {
        QList<int> roles;
        if (a.project.workingDir != b.project.workingDir)
            roles << WorkingDirRole;
        if (a.project.workingDir != b.project.workingDir || a.directoryExists != b.directoryExists)
            roles << DirectoryLineRole << DirectoryExistsRole;
        if (a.card.badge != b.card.badge)
            roles << BadgeRole;
        if (a.card.help != b.card.help)
            roles << HelpRole;
        if (a.card.composeEnabled != b.card.composeEnabled)
            roles << ComposeEnabledRole;
        if (a.project.runningCount() != b.project.runningCount())
            roles << RunningCountRole << UsageRole;
        if (a.total() != b.total())
            roles << TotalRole;
        if (a.pull != b.pull)
            roles << PullSummaryRole << RecreateRole;
        if (a.muted != b.muted)
            roles << MutedRole;
        if (a.newer != b.newer)
            roles << NewerLineRole;
        if (a.comebacks != b.comebacks)
            roles << ComebackLineRole;
        if (a.total() != b.total() || a.newer != b.newer || a.comebacks != b.comebacks
            || ProjectCard::spoken(a.project, a.card, a.directoryExists) != ProjectCard::spoken(b.project, b.card, b.directoryExists))
            roles << DescriptionRole;
        return roles;
    });
    dropUnlisted(m_children, names);
    dropUnlisted(m_services, names);
}

int ProjectModel::projectCount() const
{
    return int(std::count_if(m_rows.cbegin(), m_rows.cend(), [](const ProjectRow &r) { return !r.loose; }));
}

QList<int> ProjectModel::rowCounts(bool withServices) const
{
    QList<int> counts;
    counts.reserve(m_rows.size());
    for (const ProjectRow &row : m_rows) {
        const ContainerModel *child = m_children.value(row.key());
        const ServiceModel *services = m_services.value(row.key());
        counts.append((child ? child->rowCount() : 0) + (withServices && services ? services->rowCount() : 0));
    }
    return counts;
}

void ProjectModel::setRuntime(const std::optional<Runtime> &runtime, const QString &endpoint)
{
    m_runtime = runtime;
    m_endpoint = endpoint;
    for (ContainerModel *child : std::as_const(m_children))
        child->setRuntime(runtime, endpoint);
}

void ProjectModel::setUsage(UsageWatch *usage)
{
    QPointer<UsageWatch> one(usage);
    setUsageOf(usage ? UsageOf([one](const QString &) { return one.data(); }) : UsageOf());
}

void ProjectModel::setUsageOf(UsageOf usageOf)
{
    for (const QPointer<UsageWatch> &watch : std::as_const(m_watches)) {
        if (watch)
            watch->disconnect(this);
    }
    m_watches.clear();
    m_usageOf = std::move(usageOf);
    for (ContainerModel *child : std::as_const(m_children))
        child->setUsageOf(m_usageOf);
}

void ProjectModel::setEngines(const QHash<QString, RuntimeEntry> &engines)
{
    m_engines = engines;
    for (ContainerModel *child : std::as_const(m_children))
        child->setEngines(engines);
}

UsageWatch *ProjectModel::usageOf(const QString &engine) const
{
    UsageWatch *watch = m_usageOf ? m_usageOf(engine) : nullptr;
    // Heard from once asked for: a card's figure changes with its containers' readings.
    if (watch && !m_watches.contains(watch)) {
        m_watches.append(watch);
        connect(watch, &UsageWatch::sampled, this, &ProjectModel::usageSampled);
    }
    return watch;
}

void ProjectModel::setWork(WorkModel *ups)
{
    m_ups = ups;
    // A handful of cards: each is told, and only the one whose up changed redraws.
    const auto changed = [this] {
        if (!m_rows.isEmpty())
            emit dataChanged(index(0), index(int(m_rows.size()) - 1), {WorkRole});
    };
    connect(ups, &QAbstractItemModel::dataChanged, this, changed);
    connect(ups, &QAbstractItemModel::rowsInserted, this, changed);
    connect(ups, &QAbstractItemModel::rowsRemoved, this, changed);
}

void ProjectModel::usageSampled(const QSet<QString> &containerIds)
{
    for (int i = 0; i < m_rows.size(); ++i) {
        const auto &containers = m_rows[i].project.containers;
        if (std::any_of(containers.cbegin(), containers.cend(), [&](const Container &c) { return containerIds.contains(c.id); }))
            emit dataChanged(index(i), index(i), {UsageRole});
    }
}

QVariant ProjectModel::roleData(const ProjectRow &r, int role) const
{
    const ComposeProject &p = r.project;
    if (role >= KeyRole)
        return role == KeyRole && r.loose ? QVariant(r.key()) : sharedRole(role, p.engine, p.name, p.name);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return p.name;
    case WorkingDirRole:
        return p.workingDir.value_or(QString());
    case DirectoryLineRole:
        return ProjectCard::directoryLine(p, r.directoryExists);
    case DirectoryExistsRole:
        return r.directoryExists;
    case BadgeRole:
        return r.card.badge;
    case HelpRole:
        return r.card.help;
    case ComposeEnabledRole:
        return r.card.composeEnabled;
    case ContainersRole:
        return QVariant::fromValue<QObject *>(m_children.value(r.key()));
    case RunningCountRole:
        return p.runningCount();
    case TotalRole:
        return r.total();
    case ServicesRole:
        return QVariant::fromValue<QObject *>(m_services.value(r.key()));
    case PullSummaryRole:
        return r.pull ? ProjectCard::pullSummary(*r.pull) : QString();
    case RecreateRole:
        return r.pull && !r.pull->newer.isEmpty() ? ProjectCard::recreateLabel(int(r.pull->newer.size())) : QString();
    case LooseRole:
        return r.loose;
    case DescriptionRole: {
        if (r.loose)
            return QString();
        QString spoken = ProjectCard::spoken(p, r.card, r.directoryExists, r.total());
        if (!r.newer.isEmpty())
            spoken += QStringLiteral(" · ") + NewerText::servicesLine(int(r.newer.size()));
        if (const QString comeback = RestartText::servicesLine(r.comebacks); !comeback.isEmpty())
            spoken += QStringLiteral(" · ") + comeback;
        return spoken;
    }
    case NewerLineRole:
        return NewerText::servicesLine(int(r.newer.size()));
    case ComebackLineRole:
        return RestartText::servicesLine(r.comebacks);
    case MutedRole:
        return r.muted;
    case UsageRole: {
        QList<UsageText::Now> parts;
        for (const Container &c : p.containers) {
            const UsageWatch *usage = usageOf(c.engine);
            if (usage && c.isRunning())
                parts << UsageText::latest(usage->history(c.id));
        }
        return UsageText::line(UsageText::sum(parts));
    }
    case WorkRole:
        return m_ups && !r.loose ? m_ups->of(p.name, p.engine) : QVariantMap();
    }
    return {};
}

QHash<int, QByteArray> ProjectModel::roleNames() const
{
    QHash<int, QByteArray> names {{NameRole, "name"}, {WorkingDirRole, "workingDir"}, {DirectoryLineRole, "directoryLine"},
            {DirectoryExistsRole, "directoryExists"}, {BadgeRole, "badge"}, {HelpRole, "help"},
            {ComposeEnabledRole, "composeEnabled"}, {ContainersRole, "containers"},
            {RunningCountRole, "runningCount"}, {TotalRole, "total"}, {LooseRole, "loose"},
            {DescriptionRole, "description"}, {MutedRole, "muted"}, {UsageRole, "usage"}, {WorkRole, "work"},
            {ServicesRole, "services"}, {PullSummaryRole, "pullSummary"}, {RecreateRole, "recreateLabel"},
            {NewerLineRole, "newerLine"}, {ComebackLineRole, "comebackLine"}};
    names.insert(sharedRoleNames());
    return names;
}
