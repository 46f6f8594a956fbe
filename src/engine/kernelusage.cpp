#include "kernelusage.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QThreadPool>

KernelUsageStream::KernelUsageStream(Locate locate, Fallback fallback, UsageRead read, QObject *parent)
    : EngineStream(parent), m_locate(std::move(locate)), m_fallback(std::move(fallback)), m_read(read)
{
    m_timer.setInterval(1000);
    connect(&m_timer, &QTimer::timeout, this, &KernelUsageStream::tick);
}

KernelUsageStream::~KernelUsageStream()
{
    *m_alive = false;
    stop();
}

void KernelUsageStream::start()
{
    if (m_running || m_inner)
        return;
    m_running = true;
    emit runningChanged();
    // Finding the groups asks the engine for each container's process once: off this thread,
    // and let go of if the stream stops or goes first. On the application's own pool, which
    // is waited for before Qt itself goes.
    QPointer<KernelUsageStream> self(this);
    const int generation = ++m_generation;
    QThreadPool::globalInstance()->start([self, locate = m_locate, alive = m_alive, generation] {
        std::optional<Found> found;
        try {
            found = locate();
        } catch (...) {
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, alive, found, generation] {
                if (*alive && self && self->m_generation == generation && self->m_running)
                    self->located(found);
            },
            Qt::QueuedConnection);
    });
}

void KernelUsageStream::located(std::optional<Found> found)
{
    if (!found || found->groups.isEmpty())
        return fallBack();
    m_found = std::move(found);
    m_last.clear();
    for (const Group &g : m_found->groups)
        m_last.append(Cgroup::read(g.paths));
    if (std::any_of(m_last.cbegin(), m_last.cend(), [](const auto &c) { return !c; })) {
        m_found.reset();
        return fallBack();
    }
    m_clock.start();
    m_lastAt = 0;
    m_timer.start();
}

void KernelUsageStream::fallBack()
{
    m_inner = m_fallback();
    connect(m_inner.get(), &EngineStream::readyRead, this, &EngineStream::readyRead);
    connect(m_inner.get(), &EngineStream::runningChanged, this, &EngineStream::runningChanged);
    connect(m_inner.get(), &EngineStream::failedToStart, this, &EngineStream::failedToStart);
    connect(m_inner.get(), &EngineStream::finished, this, &EngineStream::finished);
    m_running = false;
    m_inner->start();
}

void KernelUsageStream::tick()
{
    const qint64 at = m_clock.nsecsElapsed();
    for (qsizetype i = 0; i < m_found->groups.size(); ++i) {
        const Group &g = m_found->groups.at(i);
        const std::optional<Cgroup::Counters> now = Cgroup::read(g.paths);
        // Its group is gone with it: the container stopped.
        if (!now)
            return end();
        const std::optional<qint64> limit = now->memoryLimit ? now->memoryLimit : m_found->machineMemory;
        m_pending += line(g.id, Cgroup::cpuPercent(*m_last[i], *now, at - m_lastAt), now->memoryBytes, limit);
        m_last[i] = now;
    }
    m_lastAt = at;
    emit readyRead();
    if (m_read == UsageRead::Once)
        end();
}

void KernelUsageStream::end()
{
    m_timer.stop();
    m_running = false;
    emit runningChanged();
    emit finished();
}

void KernelUsageStream::stop()
{
    ++m_generation;
    m_timer.stop();
    if (m_inner)
        m_inner->stop();
    if (m_running) {
        m_running = false;
        emit runningChanged();
    }
}

bool KernelUsageStream::running() const
{
    return m_inner ? m_inner->running() : m_running;
}

QByteArray KernelUsageStream::readAll()
{
    return m_inner ? m_inner->readAll() : std::exchange(m_pending, {});
}

QByteArray KernelUsageStream::line(const QString &id, double cpuPercent, qint64 memoryBytes, std::optional<qint64> limit)
{
    const QString memory = QString::number(memoryBytes) + QStringLiteral("B / ") + (limit ? QString::number(*limit) + u'B' : QStringLiteral("--"));
    return QJsonDocument(QJsonObject{{QStringLiteral("ID"), id},
                                     {QStringLiteral("CPUPerc"), QString::number(cpuPercent, 'f', 2) + u'%'},
                                     {QStringLiteral("MemUsage"), memory}})
               .toJson(QJsonDocument::Compact)
        + '\n';
}
