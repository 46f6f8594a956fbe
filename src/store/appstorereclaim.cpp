#include "appstore.h"
#include "listed.h"

#include "dockererror.h"
#include "worktext.h"

#include <QCoroFuture>
#include <QtConcurrent>

QCoro::Task<DiskReading> AppStore::readDisk()
{
    return readDisk(runtime());
}

QCoro::Task<DiskReading> AppStore::readDisk(std::optional<Runtime> runtime)
{
    QPointer<AppStore> self(this);
    const QString key = runtime ? runtime->name : QString();
    // The engine answers one disk report at a time: whoever asks while one is under way
    // shares its answer.
    QFuture<DiskReading> &reading = m_diskReadings[key];
    if (!reading.isValid() || reading.isFinished()) {
        reading = QtConcurrent::run(workers(), [engine = m_engine, runtime]() -> DiskReading {
            try {
                // The listings name what the report holds; read beside it, from the same engine.
                auto images = listOnWorker<DockerImage>([engine, runtime] { return engine->images(runtime); });
                auto containers = listOnWorker<Container>([engine, runtime] { return engine->containers(runtime); });
                DiskUsage usage = engine->diskUsage(runtime);
                const QList<DockerImage> listed = images.result().take();
                usage = Docker::withListedNames(std::move(usage), listed, containers.result().take());
                return {std::move(usage), {}, runtime, listed};
            } catch (const DockerError &e) {
                return {std::nullopt, e.message(), runtime};
            }
        });
    }
    auto future = reading;
    DiskReading read = co_await future;
    // Whoever shows that engine's disk hears of it, whoever asked.
    if (self && read.usage)
        emit diskRead(*read.usage, key);
    co_return read;
}

ReclaimPlan AppStore::reclaimPlan(const DiskReading &read)
{
    ReclaimPlan plan = Reclaim::plan(read.usage.value_or(DiskUsage{}), read.images);
    plan.runtime = read.runtime;
    return plan;
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
    // The plan was read from one engine, and everything it removes goes there.
    const OnEngine on = m_holds.hold(plan.runtime);
    const int id = workId ? workId : m_work.begin(Work::Kind::Reclaim, on.name());
    m_work.update(id, [&](Work &w) { w.engine = on.name(); });
    QList<Step> steps = reclaimSteps(plan, chosen);
    QMap<QString, QStringList> tags;
    for (const ReclaimPlan::Category &c : plan.categories) {
        for (const ReclaimPlan::Item &i : c.items)
            tags.insert(i.id, i.tags);
    }
    const auto show = [&] { m_work.update(id, [&](Work &w) { w.steps = steps; }); };
    show();

    for (qsizetype i = 0; i < steps.size(); ++i) {
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
        // A stop ends the removal under way; the engine finishes or leaves whole what it had.
        auto future = attempt(on, action, Watch{m_work.cancel(id), {}, {}});
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
    co_await refreshOn(on);
    if (!self)
        co_return std::nullopt;
    // What was freed is the engine's own count, read again: layers shared between removed
    // images come free only with the last of them, so no sum of the plan's sizes says it.
    // Read after the lists, it is also the report a disk view shows for them.
    auto after = readDisk(on.runtime);
    const DiskReading read = co_await after;
    if (!read.usage || plan.before < 0 || read.usage->bytes() < 0)
        co_return std::nullopt;
    co_return std::max<qint64>(plan.before - read.usage->bytes(), 0);
}
