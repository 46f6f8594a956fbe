#include "longwork.h"

#include <QMutex>
#include <QPointer>

int LongWork::begin(Work::Kind kind, const QString &subject, QDateTime at)
{
    const int id = m_next++;
    Work work;
    work.id = id;
    work.kind = kind;
    work.subject = subject;
    work.startedAt = std::move(at);
    m_list.append(work);
    m_cancels.insert(id, std::make_shared<std::atomic_bool>(false));
    emit added(id);
    return id;
}

const Work *LongWork::find(int id) const
{
    for (const Work &w : m_list) {
        if (w.id == id)
            return &w;
    }
    return nullptr;
}

void LongWork::update(int id, const std::function<void(Work &)> &change)
{
    for (Work &w : m_list) {
        if (w.id != id)
            continue;
        Work changed = w;
        change(changed);
        if (changed == w)
            return;
        w = std::move(changed);
        emit this->changed(id);
        return;
    }
}

void LongWork::stop(int id)
{
    if (const auto cancel = m_cancels.value(id))
        *cancel = true;
    update(id, [](Work &w) { w.stopping = true; });
}

bool LongWork::stopped(int id) const
{
    const auto cancel = m_cancels.value(id);
    return cancel && *cancel;
}

void LongWork::end(int id)
{
    m_cancels.remove(id);
    m_relays.remove(id);
    if (m_list.removeIf([id](const Work &w) { return w.id == id; }) > 0)
        emit removed(id);
}

// Read on the worker, handed over on the UI thread: the worker keeps the latest reading,
// and asks for one hand-over only when none is already on its way.
struct LongWork::Relay {
    QMutex mutex;
    PullProgress pull;
    ComposeProgress compose;
    Transferred moved;
    bool queued = false;
};

void LongWork::take(int id, Relay &relay)
{
    QMutexLocker lock(&relay.mutex);
    relay.queued = false;
    const auto pull = relay.pull;
    const auto compose = relay.compose;
    const auto moved = relay.moved;
    lock.unlock();
    update(id, [&](Work &w) {
        w.pull = pull;
        w.compose = compose;
        w.moved = moved;
    });
}

void LongWork::settle(int id)
{
    if (const auto relay = m_relays.value(id))
        take(id, *relay);
}

Watch LongWork::watch(int id, const QString &project)
{
    auto relay = std::make_shared<Relay>();
    m_relays.insert(id, relay);
    QPointer<LongWork> self(this);
    const auto handOver = [relay, self, id] {
        // Called with the relay locked.
        if (relay->queued)
            return;
        relay->queued = true;
        QMetaObject::invokeMethod(self.data(), [relay, self, id] {
            if (self)
                self->take(id, *relay);
        }, Qt::QueuedConnection);
    };
    Watch watch;
    watch.cancel = m_cancels.value(id);
    watch.line = [relay, handOver, project](const QString &line) {
        QMutexLocker lock(&relay->mutex);
        const bool read = project.isNull() ? Docker::readPull(relay->pull, line) : Docker::readCompose(relay->compose, line, project);
        if (read)
            handOver();
    };
    watch.moved = [relay, handOver](const Transferred &moved) {
        QMutexLocker lock(&relay->mutex);
        if (relay->moved == moved)
            return;
        relay->moved = moved;
        handOver();
    };
    return watch;
}
