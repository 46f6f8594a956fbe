#include "directorychecks.h"

#include <QCoroFuture>
#include <QPointer>
#include <QThreadPool>
#include <QtConcurrent>

QThreadPool *DirectoryChecks::pool()
{
    static QThreadPool *p = [] {
        auto *threads = new QThreadPool;
        threads->setMaxThreadCount(4);
        return threads;
    }();
    return p;
}

void DirectoryChecks::look(const QStringList &dirs)
{
    for (const QString &dir : dirs) {
        if (!dir.isEmpty() && !m_queued.contains(dir))
            m_queued.append(dir);
    }
    if (!m_looking && !m_queued.isEmpty())
        lookQueued();
}

QCoro::Task<DirectoryFacts> DirectoryChecks::lookNow(QString dir)
{
    auto future = QtConcurrent::run(pool(), [dir] { return ProjectDirectory::lookAt(dir); });
    co_return co_await future;
}

QCoro::Task<> DirectoryChecks::lookQueued()
{
    QPointer<DirectoryChecks> self(this);
    m_looking = true;
    auto future = QtConcurrent::run(pool(), [dirs = std::exchange(m_queued, {})] { return ProjectDirectory::lookAt(dirs); });
    const DirectoryMap answered = co_await future;
    if (!self)
        co_return;
    m_looking = false;
    DirectoryMap next = m_found;
    next.insert(answered);
    if (next != m_found) {
        m_found = std::move(next);
        emit changed();
    }
    if (!m_queued.isEmpty())
        lookQueued();
}
