#include "appstore.h"

#include "dockererror.h"
#include "worktext.h"

#include <QCoroFuture>
#include <QtConcurrent>

QCoro::Task<DiskReading> AppStore::readDisk()
{
    QPointer<AppStore> self(this);
    const auto runtime = this->runtime();
    // The engine answers one disk report at a time: whoever asks while one is under way
    // shares its answer.
    if (!m_diskReading.isValid() || m_diskReading.isFinished() || m_diskRuntime != runtime) {
        m_diskRuntime = runtime;
        m_diskReading = QtConcurrent::run(workers(), [engine = m_engine, runtime]() -> DiskReading {
            try {
                return {engine->diskUsage(runtime), {}};
            } catch (const DockerError &e) {
                return {std::nullopt, e.message()};
            }
        });
    }
    auto future = m_diskReading;
    DiskReading read = co_await future;
    // A reading for a runtime no longer shown tells nothing of the one that is.
    if (self && read.usage && runtime == this->runtime())
        emit diskRead(*read.usage);
    co_return read;
}

ReclaimPlan AppStore::reclaimPlan(const DiskUsage &usage, const QList<DockerImage> &images)
{
    // The report names an image by one of its tags; the listing has them all.
    QMultiMap<QString, QString> tags;
    for (const DockerImage &i : images) {
        if (i.repository != QLatin1String("<none>") && i.tag != QLatin1String("<none>"))
            tags.insert(i.id.mid(i.id.indexOf(u':') + 1).left(12), i.repository + u':' + i.tag);
    }
    return Reclaim::plan(usage, tags);
}

QList<DeletionStep> AppStore::reclaimSteps(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen)
{
    // Containers go first: neither the image one was made from nor a volume one mounted can
    // go before it.
    static const QList<ReclaimPlan::Kind> order{ReclaimPlan::Kind::StoppedContainers, ReclaimPlan::Kind::DanglingImages, ReclaimPlan::Kind::UnusedImages,
                                                ReclaimPlan::Kind::AnonymousVolumes, ReclaimPlan::Kind::BuildCache};
    using Kind = ReclaimPlan::Kind;
    using StepKind = DeletionStep::Kind;
    QList<DeletionStep> steps;
    QList<ReclaimPlan::Category> categories = plan.chosen(chosen);
    std::stable_sort(categories.begin(), categories.end(), [](const auto &a, const auto &b) { return order.indexOf(a.kind) < order.indexOf(b.kind); });
    for (const ReclaimPlan::Category &c : categories) {
        const StepKind kind = c.kind == Kind::StoppedContainers  ? StepKind::Container
                            : c.kind == Kind::AnonymousVolumes   ? StepKind::Volume
                            : c.kind == Kind::BuildCache         ? StepKind::Cache
                                                                 : StepKind::Image;
        for (const ReclaimPlan::Item &i : c.items)
            steps.append({kind, i.id, DeletionStep::State::Pending, {}, i.name});
    }
    return steps;
}

QCoro::Task<std::optional<qint64>> AppStore::reclaim(ReclaimPlan plan, QList<ReclaimPlan::Kind> chosen, int workId)
{
    using Step = DeletionStep;
    using Kind = EngineAction::Kind;
    QPointer<AppStore> self(this);
    const int id = workId ? workId : m_work.begin(Work::Kind::Reclaim, runtime() ? runtime()->name : QString());
    QList<Step> steps = reclaimSteps(plan, chosen);
    QMap<QString, QStringList> tags;
    for (const ReclaimPlan::Category &c : plan.categories) {
        for (const ReclaimPlan::Item &i : c.items)
            tags.insert(i.id, i.tags);
    }
    const auto show = [&] { m_work.update(id, [&](Work &w) { w.steps = steps; }); };
    show();

    for (qsizetype i = 0; i < steps.size(); ++i) {
        // Stopping waits for the removal under way, which is one object: never half of one.
        if (m_work.stopped(id)) {
            for (qsizetype j = i; j < steps.size(); ++j)
                steps[j].state = Step::State::Skipped;
            break;
        }
        steps[i].state = Step::State::Running;
        show();
        const QString subject = steps[i].subject;
        EngineAction action;
        switch (steps[i].kind) {
        case Step::Kind::Container: action = EngineAction::on(Kind::ReclaimContainer, {subject}); break;
        case Step::Kind::Volume: action = EngineAction::on(Kind::RemoveVolume, {subject}); break;
        case Step::Kind::Cache: action = EngineAction::on(Kind::ReclaimCache, {subject}); break;
        default: action = EngineAction::reclaimImage(subject, tags.value(subject)); break;
        }
        // Named before it is awaited: GCC 12 destroys temporaries inside a co_await twice.
        auto future = attempt(action);
        const std::optional<QString> failure = co_await future;
        if (!self)
            co_return std::nullopt;
        steps[i].state = failure ? Step::State::Failed : Step::State::Done;
        steps[i].failure = failure.value_or(QString());
        show();
    }
    show();
    const bool stopped = m_work.stopped(id);
    if (stopped)
        m_state.setNotice(WorkText::stopped(*m_work.find(id)));
    m_work.end(id);
    co_await refresh();
    if (!self)
        co_return std::nullopt;
    // What was freed is the engine's own count, read again: layers shared between removed
    // images come free only with the last of them, so no sum of the plan's sizes says it.
    // Read after the lists, it is also the report a disk view shows for them.
    auto after = readDisk();
    const DiskReading read = co_await after;
    if (!read.usage || plan.before < 0 || read.usage->bytes() < 0)
        co_return std::nullopt;
    co_return std::max<qint64>(plan.before - read.usage->bytes(), 0);
}
