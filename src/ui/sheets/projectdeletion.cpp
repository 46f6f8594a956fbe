#include "projectdeletion.h"

#include "appstore.h"

#include <QVariantMap>

ProjectDeletion::ProjectDeletion(AppStore *store, const ComposeProject &project, QObject *parent)
    : QObject(parent), m_store(store), m_project(project)
{
    connect(this, &ProjectDeletion::planChanged, this, &ProjectDeletion::labelChanged);
    connect(this, &ProjectDeletion::trashDirectoryChanged, this, &ProjectDeletion::labelChanged);
}

QString ProjectDeletion::label(const std::optional<TeardownPlan> &plan, bool trashDirectory)
{
    if (!plan)
        return QStringLiteral("Delete");
    const auto counted = [](qsizetype n, const QString &noun) {
        return QString::number(n) + u' ' + noun + (n == 1 ? QString() : QStringLiteral("s"));
    };
    QStringList pieces;
    if (!plan->containers.isEmpty())
        pieces << counted(plan->containers.size(), QStringLiteral("container"));
    if (const qsizetype volumes = plan->removable().size())
        pieces << counted(volumes, QStringLiteral("volume"));
    if (trashDirectory)
        pieces << QStringLiteral("files");
    if (pieces.isEmpty())
        return QStringLiteral("Remove from Korvat");
    return QStringLiteral("Delete ") + pieces.join(QStringLiteral(" + "));
}

QString ProjectDeletion::keptDetail(const TeardownPlan &plan)
{
    const auto kept = plan.kept();
    const bool allInUse = std::all_of(kept.cbegin(), kept.cend(), [](const VolumeUse &v) { return !v.usedBy.isEmpty(); });
    if (allInUse)
        return QStringLiteral("Mounted by containers outside this project, so they are left alone.");
    const bool noneInUse = std::none_of(kept.cbegin(), kept.cend(), [](const VolumeUse &v) { return !v.usedBy.isEmpty(); });
    if (noneInUse)
        return QStringLiteral("Not this project’s to remove, so they are left alone.");
    return QStringLiteral("Mounted by containers outside this project, or not this project’s to remove, so they are left alone.");
}

QStringList ProjectDeletion::containers() const { return m_plan ? m_plan->containers : QStringList(); }

QVariantList ProjectDeletion::removable() const
{
    QVariantList list;
    if (m_plan) {
        for (const VolumeUse &v : m_plan->removable())
            list.append(QVariantMap{{QStringLiteral("name"), v.name}, {QStringLiteral("trailing"), v.size.value_or(QString())}});
    }
    return list;
}

QVariantList ProjectDeletion::kept() const
{
    QVariantList list;
    if (m_plan) {
        for (const VolumeUse &v : m_plan->kept())
            list.append(QVariantMap{{QStringLiteral("name"), v.name}, {QStringLiteral("trailing"), v.keptBecause()}});
    }
    return list;
}

QString ProjectDeletion::workingDir() const { return m_plan ? m_plan->workingDir.value_or(QString()) : QString(); }

void ProjectDeletion::setTrashDirectory(bool trash)
{
    if (m_trash == trash)
        return;
    m_trash = trash;
    emit trashDirectoryChanged();
}

void ProjectDeletion::setBackupFolder(const QString &folder)
{
    if (m_backupFolder == folder)
        return;
    m_backupFolder = folder;
    m_backupProblem.clear();
    emit backupChanged();
}

QString ProjectDeletion::backupLine() const
{
    if (!m_backupProblem.isEmpty())
        return QStringLiteral("Nothing was removed: ") + m_backupProblem;
    return m_backupFolder.isEmpty() ? QString() : QStringLiteral("Each volume is saved to ") + m_backupFolder + QStringLiteral(" before anything is removed.");
}

QString ProjectDeletion::backupFile(const QString &folder, const QString &volume, const QDateTime &at)
{
    return folder + u'/' + volume + at.toString(QStringLiteral(" yyyy-MM-dd HHmm")) + QStringLiteral(".tar");
}

void ProjectDeletion::start()
{
    if (m_started || m_plan || !m_store)
        return;
    m_started = true;
    [](QPointer<ProjectDeletion> self, QPointer<AppStore> store, ComposeProject project) -> QCoro::Task<> {
        auto planning = store->teardownPlan(project);
        TeardownPlan plan = co_await planning;
        if (!self)
            co_return;
        self->m_plan = std::move(plan);
        emit self->planChanged();
    }(this, m_store, m_project);
}

void ProjectDeletion::confirm()
{
    if (!m_plan || m_working || !m_store)
        return;
    m_working = true;
    m_backupProblem.clear();
    emit backupChanged();
    emit workingChanged();
    [](QPointer<ProjectDeletion> self, QPointer<AppStore> store, TeardownPlan plan, bool trash, QString folder) -> QCoro::Task<> {
        // Every backup first; one that fails stops the deletion before anything goes.
        const QDateTime at = QDateTime::currentDateTime();
        for (const VolumeUse &v : plan.removable()) {
            if (folder.isEmpty() || !store)
                break;
            auto backingUp = store->backUpNow(v.name, backupFile(folder, v.name, at));
            const std::optional<QString> problem = co_await backingUp;
            if (!self)
                co_return;
            if (problem) {
                self->m_backupProblem = QStringLiteral("the backup of %1 failed: %2").arg(v.name, *problem);
                self->m_working = false;
                emit self->backupChanged();
                emit self->workingChanged();
                co_return;
            }
        }
        if (!store)
            co_return;
        auto deleting = store->deleteProject(plan, trash);
        co_await deleting;
        if (!self)
            co_return;
        self->m_working = false;
        emit self->workingChanged();
        emit self->finished();
    }(this, m_store, *m_plan, m_trash, m_backupFolder);
}
