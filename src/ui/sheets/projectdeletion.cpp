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
    emit workingChanged();
    [](QPointer<ProjectDeletion> self, QPointer<AppStore> store, TeardownPlan plan, bool trash) -> QCoro::Task<> {
        auto deleting = store->deleteProject(plan, trash);
        co_await deleting;
        if (!self)
            co_return;
        self->m_working = false;
        emit self->workingChanged();
        emit self->finished();
    }(this, m_store, *m_plan, m_trash);
}
