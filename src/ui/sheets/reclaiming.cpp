#include "reclaiming.h"

#include "appstore.h"
#include "disktext.h"
#include "volumesize.h"
#include "worktext.h"

namespace {
const char *const stateNames[] = {"pending", "running", "done", "failed", "skipped"};
const char *const stateIcons[] = {"circle", "arrow.triangle.2.circlepath", "checkmark", "exclamationmark.circle", "minus.circle"};

using DiskText::counted;
}

void ReclaimModel::setRows(const QList<ReclaimRow> &rows)
{
    sync(m_rows, rows, [](const ReclaimRow &r) { return r.key; }, [](const ReclaimRow &a, const ReclaimRow &b) {
        QList<int> roles;
        if (a.title != b.title)
            roles << TitleRole;
        if (a.size != b.size)
            roles << SizeRole;
        if (a.note != b.note)
            roles << NoteRole;
        if (a.chosen != b.chosen)
            roles << ChosenRole;
        if (a.state != b.state)
            roles << StateRole << IconRole;
        return roles;
    });
}

QVariant ReclaimModel::roleData(const ReclaimRow &r, int role) const
{
    switch (role) {
    case HeadingRole: return r.heading;
    case KindRole: return r.kind;
    case Qt::DisplayRole:
    case TitleRole: return r.title;
    case SizeRole: return r.size;
    case NoteRole: return r.note;
    case ChosenRole: return r.chosen;
    case StateRole: return r.state;
    case IconRole: {
        for (int i = 0; i < 5; ++i) {
            if (r.state == QLatin1String(stateNames[i]))
                return QString::fromLatin1(stateIcons[i]);
        }
        return QString();
    }
    }
    return {};
}

QHash<int, QByteArray> ReclaimModel::roleNames() const
{
    return {{HeadingRole, "heading"}, {KindRole, "kind"}, {TitleRole, "title"}, {SizeRole, "size"},
            {NoteRole, "note"},       {ChosenRole, "chosen"}, {StateRole, "outcome"}, {IconRole, "outcomeIcon"}};
}

Reclaiming::Reclaiming(AppStore *store, QObject *parent)
    : QObject(parent), m_store(store), m_runtime(store ? store->runtime() : std::nullopt),
      m_title(m_runtime ? QStringLiteral("Reclaim space on ") + m_runtime->name : QStringLiteral("Reclaim space"))
{
}

QString Reclaiming::label(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen)
{
    qsizetype items = 0;
    qint64 bytes = 0;
    for (const auto &c : plan.chosen(chosen)) {
        items += c.items.size();
        bytes += c.bytes();
    }
    if (items == 0)
        return QStringLiteral("Nothing to remove");
    return QStringLiteral("Remove %1 · %2").arg(counted(items, "item", "items"), VolumeSize::format(bytes));
}

QList<ReclaimRow> Reclaiming::rows(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen, const QList<DeletionStep> &steps)
{
    QHash<QString, const DeletionStep *> stepOf;
    for (const DeletionStep &s : steps)
        stepOf.insert(s.subject, &s);
    QList<ReclaimRow> list;
    for (const auto &c : plan.categories) {
        const bool on = chosen.contains(c.kind);
        const QString size = c.items.isEmpty() ? QStringLiteral("Nothing to remove")
                                               : QStringLiteral("%1 · %2").arg(c.items.size()).arg(VolumeSize::format(c.bytes()));
        list.append({ReclaimPlan::key(c.kind), true, int(c.kind), ReclaimPlan::title(c.kind), size, ReclaimPlan::warning(c.kind), on, {}});
        for (const auto &i : c.items) {
            const DeletionStep *step = stepOf.value(i.id);
            list.append({ReclaimPlan::key(c.kind) + u'/' + i.id, false, int(c.kind), i.name, DiskText::size(i.bytes),
                         step ? step->failure : QString(), on, step ? QString::fromLatin1(stateNames[int(step->state)]) : QString()});
        }
    }
    return list;
}

QString Reclaiming::outcome(const std::optional<qint64> &freed, const QList<DeletionStep> &steps)
{
    const auto failed = std::count_if(steps.cbegin(), steps.cend(), [](const DeletionStep &s) { return s.state == DeletionStep::State::Failed; });
    const auto skipped = std::count_if(steps.cbegin(), steps.cend(), [](const DeletionStep &s) { return s.state == DeletionStep::State::Skipped; });
    QString text = DiskText::freed(freed);
    if (failed > 0)
        text += u' ' + counted(failed, "item", "items") + (failed == 1 ? QStringLiteral(" could not be removed; its row says why.")
                                                                      : QStringLiteral(" could not be removed; their rows say why."));
    if (skipped > 0)
        text += QStringLiteral(" Stopped before %1.").arg(counted(skipped, "item", "items"));
    return text;
}

QString Reclaiming::label() const { return m_plan ? label(*m_plan, m_chosen) : QStringLiteral("Remove"); }

bool Reclaiming::canRemove() const
{
    if (!m_plan || m_working || m_done)
        return false;
    const auto chosen = m_plan->chosen(m_chosen);
    return std::any_of(chosen.cbegin(), chosen.cend(), [](const ReclaimPlan::Category &c) { return !c.items.isEmpty(); });
}

QString Reclaiming::progress() const
{
    if (m_done)
        return outcome(m_freed, m_work ? m_work->steps : QList<DeletionStep>());
    if (!m_work)
        return {};
    return m_work->stopping ? QStringLiteral("Stopping after this removal…") : WorkText::detail(*m_work);
}

void Reclaiming::update()
{
    if (m_plan)
        m_rows.setRows(rows(*m_plan, m_chosen, m_work ? m_work->steps : QList<DeletionStep>()));
    emit changed();
}

void Reclaiming::showPlan(const ReclaimPlan &plan)
{
    m_plan = plan;
    m_chosen.clear();
    for (const auto &c : plan.categories) {
        if (c.byDefault)
            m_chosen << c.kind;
    }
    update();
}

void Reclaiming::start()
{
    if (m_started || m_plan || !m_store)
        return;
    m_started = true;
    // The sheet reads, plans and removes on the engine it was opened on.
    [](QPointer<Reclaiming> self, QPointer<AppStore> store, std::optional<Runtime> runtime) -> QCoro::Task<> {
        auto reading = store->readDisk(runtime);
        const DiskReading read = co_await reading;
        if (!self || !store)
            co_return;
        if (!read.usage) {
            self->m_error = QStringLiteral("Could not read where the disk goes: ") + read.error;
            emit self->changed();
            co_return;
        }
        self->showPlan(AppStore::reclaimPlan(read));
    }(this, m_store, m_runtime);
}

void Reclaiming::setChosen(int kind, bool chosen)
{
    const auto k = ReclaimPlan::Kind(kind);
    if (m_working || m_done || m_chosen.contains(k) == chosen)
        return;
    if (chosen)
        m_chosen << k;
    else
        m_chosen.removeAll(k);
    update();
}

void Reclaiming::confirm()
{
    if (!canRemove())
        return;
    m_working = true;
    LongWork &work = m_store->work();
    m_workId = work.begin(Work::Kind::Reclaim, m_plan->runtime ? m_plan->runtime->name : QString());
    connect(&work, &LongWork::changed, this, [this](int id) {
        if (id != m_workId || !m_store)
            return;
        m_work = *m_store->work().find(id);
        update();
    });
    update();
    [](QPointer<Reclaiming> self, QPointer<AppStore> store, ReclaimPlan plan, QList<ReclaimPlan::Kind> chosen, int id) -> QCoro::Task<> {
        auto reclaiming = store->reclaim(plan, chosen, id);
        const std::optional<qint64> freed = co_await reclaiming;
        if (!self)
            co_return;
        self->m_working = false;
        self->m_done = true;
        self->m_workId = 0;
        self->m_freed = freed;
        self->update();
        emit self->reclaimed();
    }(this, m_store, *m_plan, m_chosen, m_workId);
}

void Reclaiming::stop()
{
    if (m_store && m_workId)
        m_store->work().stop(m_workId);
}
