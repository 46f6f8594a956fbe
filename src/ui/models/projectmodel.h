#pragma once

#include "composeproject.h"
#include "containermodel.h"
#include "servicemodel.h"
#include "keyedlistmodel.h"
#include "workmodel.h"
#include "projectcard.h"
#include "projectdirectory.h"

#include <QHash>
#include <QtQml/qqmlregistration.h>

// A project as its card shows it: the project, and what the disk says about it. The one
// loose row gathers the containers that belong to no project, after every project.
struct ProjectRow {
    ComposeProject project;
    bool directoryExists = false;
    CardState card;
    bool loose = false;
    bool muted = false;   // told of no failure
    // Defined services without a container, as far as the files were read.
    QList<ProjectService> services = {};
    // What its last pull found, until recreated or dismissed.
    std::optional<PullSummary> pull = {};
    // Its services whose containers run an image the registry has a newer one of.
    QStringList newer = {};
    // Each running container's service and whether it comes back after a restart, once all
    // are read.
    QList<std::pair<QString, Comeback>> comebacks = {};

    // Its containers and the services compose would create: the inactive profiles' are not
    // counted, since nothing is missing while they are off.
    int total() const;

    QString key() const { return loose ? QStringLiteral("\x01loose") + project.engine : project.engine + u'\n' + project.name; }

    friend bool operator==(const ProjectRow &, const ProjectRow &) = default;
};

// Compose projects keyed by name, each with its own container model, so one container's
// change touches one row of one card.
class ProjectModel : public KeyedRowsModel<ProjectRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Projects come from the store")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        WorkingDirRole,
        DirectoryLineRole,
        DirectoryExistsRole,
        BadgeRole,
        HelpRole,
        ComposeEnabledRole,
        ContainersRole,
        RunningCountRole,
        TotalRole,
        LooseRole,
        DescriptionRole,
        MutedRole,
        // Its running containers' machine use added up, as far as their rows read it.
        UsageRole,
        // Its compose up under way: the WorkModel row, empty when none is.
        WorkRole,
        // Its services without a container: a ServiceModel.
        ServicesRole,
        // What its last pull found; empty when there is nothing to say.
        PullSummaryRole,
        // "Recreate 2 services"; empty when the pull found nothing newer.
        RecreateRole,
        // "2 services have newer images"; empty when none has.
        NewerLineRole,
        // "2 of 3 services come back after a restart"; empty when all do or until all are read.
        ComebackLineRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    // dirs: what the disk showed of the projects' directories. Loose containers make a last row.
    // muted: the projects told of no failure. definitions: what each directory's files
    // define; pulls: each project's last pull.
    void setProjects(const QList<ComposeProject> &projects, const QList<Container> &loose = {}, const DirectoryMap &dirs = {},
                     const QStringList &muted = {}, const QHash<QString, ResolvedProject> &definitions = {},
                     const QHash<QString, PullSummary> &pulls = {});
    // The same with the disk's answers given: they line up with projects.
    void setRows(const QList<ProjectRow> &rows);
    void setRuntime(const std::optional<Runtime> &runtime, const QString &endpoint = {});
    void setUsage(UsageWatch *usage);
    void setUsageOf(UsageOf usageOf);
    void setEngines(const QHash<QString, RuntimeEntry> &engines);
    void setWork(WorkModel *ups);
    // Where each container learns whether its image is behind, for its row and its card;
    // markNewer asks again.
    void setNewerOf(ContainerNewerOf newerOf);
    void markNewer();
    // Where each container learns whether it comes back after a restart, for its row and
    // its card; markComebacks asks again.
    void setComebackOf(ContainerComebackOf comebackOf);
    void markComebacks();
    // The rows of the project of that name (on that engine, when given), or of its row key.
    ContainerModel *containersOf(const QString &project, const std::optional<QString> &engine = {}) const
    {
        for (auto it = m_children.cbegin(); it != m_children.cend(); ++it) {
            // The loose row of that engine, or of any when none is named.
            const bool loose = project.startsWith(u'\x01') && it.key().startsWith(project) && (!engine || it.key() == project + *engine);
            if (it.key() == project || loose || (it.key().endsWith(u'\n' + project) && (!engine || it.key() == *engine + u'\n' + project)))
                return it.value();
        }
        return nullptr;
    }
    // Rows that are compose projects, the loose row left out.
    int projectCount() const;
    // How many rows each card shows, for the keyboard's walk through the cards: its
    // containers', and with services its services' after them.
    Q_INVOKABLE QList<int> rowCounts(bool withServices = false) const;

    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const ProjectRow &row, int role) const override;

private:
    void usageSampled(const QSet<QString> &containerIds);
    QStringList newerServices(const ProjectRow &row) const;
    QList<std::pair<QString, Comeback>> comebacksOf(const ProjectRow &row) const;

    QHash<QString, ContainerModel *> m_children;
    QHash<QString, ServiceModel *> m_services;
    UsageWatch *usageOf(const QString &engine) const;
    QHash<QString, RuntimeEntry> m_engines;
    UsageOf m_usageOf;
    ContainerNewerOf m_newerOf;
    ContainerComebackOf m_comebackOf;
    mutable QList<QPointer<UsageWatch>> m_watches;
    QPointer<WorkModel> m_ups;
    std::optional<Runtime> m_runtime;
    QString m_endpoint;
};
