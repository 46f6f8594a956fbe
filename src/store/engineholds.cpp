#include "engineholds.h"

#include <QPointer>
#include <QThread>

OnEngine EngineHolds::hold(const std::optional<Runtime> &runtime)
{
    if (!runtime)
        return {};
    if (m_count[*runtime]++ == 0)
        emit changed();
    QPointer<EngineHolds> self(this);
    const Runtime held = *runtime;
    std::shared_ptr<const void> lease(nullptr, [self, held](const void *) {
        if (!self)
            return;
        if (QThread::currentThread() == self->thread())
            self->release(held);
        else
            QMetaObject::invokeMethod(self.data(), [self, held] { if (self) self->release(held); }, Qt::QueuedConnection);
    });
    return {runtime, std::move(lease)};
}

void EngineHolds::release(const Runtime &runtime)
{
    const auto it = m_count.find(runtime);
    if (it == m_count.end())
        return;
    if (--*it > 0)
        return;
    m_count.erase(it);
    emit changed();
}
