#include "projectdeletion.h"

#include "appstore.h"
#include "worktext.h"

#include <QVariantMap>

ProjectDeletion::ProjectDeletion(AppStore *store, const ComposeProject &project, QObject *parent)
    : QObject(parent), m_store(store), m_project(project), m_runtime(store ? store->runtimeNamed(project.engine) : std::nullopt)
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

QVariantList ProjectDeletion::steps() const
{
    static const char *const states[] = {"pending", "running", "done", "failed", "skipped"};
    static const char *const icons[] = {"circle", "arrow.triangle.2.circlepath", "checkmark", "exclamationmark.circle", "minus.circle"};
    QVariantList list;
    if (!m_work)
        return list;
    for (const DeletionStep &step : m_work->steps) {
        list.append(QVariantMap{{QStringLiteral("text"), WorkText::stepText(step)},
                                {QStringLiteral("state"), QString::fromLatin1(states[int(step.state)])},
                                {QStringLiteral("icon"), QString::fromLatin1(icons[int(step.state)])},
                                {QStringLiteral("failure"), step.failure}});
    }
    return list;
}

QString ProjectDeletion::progress() const
{
    if (!m_work)
        return {};
    return m_work->stopping ? QStringLiteral("Stopping after this step…") : WorkText::detail(*m_work);
}

bool ProjectDeletion::stopping() const { return m_work && m_work->stopping; }

void ProjectDeletion::stop()
{
    if (m_store && m_workId)
        m_store->work().stop(m_workId);
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
    // A plan read from any engine but the one the sheet names removes nothing.
    if (!m_plan || m_working || !m_store || m_plan->runtime != m_runtime)
        return;
    m_working = true;
    m_backupProblem.clear();
    LongWork &work = m_store->work();
    m_workId = work.begin(Work::Kind::Deletion, m_project.name);
    connect(&work, &LongWork::changed, this, [this](int id) {
        if (id != m_workId || !m_store)
            return;
        m_work = *m_store->work().find(id);
        emit stepsChanged();
    });
    emit backupChanged();
    emit workingChanged();
    [](QPointer<ProjectDeletion> self, QPointer<AppStore> store, TeardownPlan plan, bool trash, QString folder, int id) -> QCoro::Task<> {
        auto deleting = store->deleteProject(plan, trash, folder, id);
        const std::optional<QString> backupProblem = co_await deleting;
        if (!self)
            co_return;
        self->m_working = false;
        self->m_workId = 0;
        emit self->workingChanged();
        if (backupProblem) {
            // Nothing was removed; the sheet stays for another choice.
            self->m_backupProblem = *backupProblem;
            self->m_work.reset();
            emit self->backupChanged();
            emit self->stepsChanged();
            co_return;
        }
        emit self->finished();
    }(this, m_store, *m_plan, m_trash, m_backupFolder, m_workId);
}
