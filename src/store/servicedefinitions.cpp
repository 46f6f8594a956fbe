#include "servicedefinitions.h"

#include "docker.h"

#include <QCoroFuture>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QPointer>
#include <QThread>
#include <QtConcurrent>

// Watches the project directories on a thread of its own: a directory on a hung network
// mount holds that thread, never the window. A directory is told as touched only when one
// of the files compose reads has changed, not for every editor's swap file beside them.
class FileWatch : public QObject {
    Q_OBJECT

public:
    FileWatch()
    {
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &FileWatch::look);
        connect(m_watcher, &QFileSystemWatcher::fileChanged, this, [this](const QString &path) { look(QFileInfo(path).path()); });
    }

    // On the watch's thread.
    void setDirectories(const QStringList &dirs)
    {
        for (auto it = m_prints.begin(); it != m_prints.end();) {
            if (dirs.contains(it.key())) {
                ++it;
                continue;
            }
            const QStringList watched = m_watcher->files() + m_watcher->directories();
            for (const QString &path : watched) {
                if (path == it.key() || QFileInfo(path).path() == it.key())
                    m_watcher->removePath(path);
            }
            it = m_prints.erase(it);
        }
        for (const QString &dir : dirs) {
            if (!m_prints.contains(dir))
                m_prints.insert(dir, watch(dir));
        }
    }

signals:
    void touched(const QString &dir);

private:
    // The files' sizes and times: what compose would read differently.
    QString watch(const QString &dir)
    {
        if (QFileInfo(dir).isDir() && !m_watcher->directories().contains(dir))
            m_watcher->addPath(dir);
        QString print;
        const QStringList read = Docker::composeFiles(dir) << dir + QStringLiteral("/.env");
        for (const QString &path : read) {
            const QFileInfo info(path);
            if (!info.exists())
                continue;
            // An editor that saves by renaming leaves the old file's watch behind.
            if (!m_watcher->files().contains(path))
                m_watcher->addPath(path);
            print += QStringLiteral("%1 %2 %3\n").arg(path).arg(info.size()).arg(info.lastModified().toMSecsSinceEpoch());
        }
        return print;
    }

    void look(const QString &dir)
    {
        const auto known = m_prints.find(dir);
        if (known == m_prints.end())
            return;
        const QString print = watch(dir);
        if (print == *known)
            return;
        *known = print;
        emit touched(dir);
    }

    // A child, so it moves to the watch's thread with it.
    QFileSystemWatcher *m_watcher = new QFileSystemWatcher(this);
    QHash<QString, QString> m_prints;
};

namespace {
std::optional<ResolvedProject> readServices(const std::shared_ptr<Engine> &engine, const QString &dir)
{
    try {
        return engine->composeServices(dir);
    } catch (const DockerError &) {
        return std::nullopt;
    }
}
}

ServiceDefinitions::ServiceDefinitions(std::shared_ptr<Engine> engine, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_thread(new QThread(this)), m_watch(new FileWatch)
{
    m_thread->setObjectName(QStringLiteral("korvat-filewatch"));
    m_watch->moveToThread(m_thread);
    connect(m_watch, &FileWatch::touched, this, &ServiceDefinitions::reread);
    m_thread->start();
    // Editors write a file in more than one step; the read waits for the last.
    m_settle.setSingleShot(true);
    m_settle.setInterval(300);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        if (!m_reading)
            readQueued();
    });
}

ServiceDefinitions::~ServiceDefinitions()
{
    // Deleted on its own thread, as the thread ends: its watcher's notifier lives there.
    m_watch->deleteLater();
    m_thread->quit();
    // A hung mount may hold the thread; it is let go rather than waited for without end.
    if (!m_thread->wait(2000))
        m_thread->setParent(nullptr);
}

void ServiceDefinitions::follow(const QStringList &dirs)
{
    QSet<QString> next;
    for (const QString &dir : dirs) {
        if (!dir.isEmpty())
            next.insert(dir);
    }
    if (next == m_followed)
        return;
    for (const QString &dir : next) {
        if (!m_followed.contains(dir))
            m_touched.insert(dir);
    }
    bool forgot = false;
    for (auto it = m_read.begin(); it != m_read.end();) {
        if (next.contains(it.key())) {
            ++it;
        } else {
            it = m_read.erase(it);
            forgot = true;
        }
    }
    m_followed = next;
    QMetaObject::invokeMethod(m_watch, [watch = m_watch, dirs = QStringList(next.cbegin(), next.cend())] { watch->setDirectories(dirs); });
    if (forgot)
        emit changed();
    if (!m_reading && !m_touched.isEmpty())
        readQueued();
}

void ServiceDefinitions::reread(const QString &dir)
{
    if (!m_followed.contains(dir))
        return;
    m_touched.insert(dir);
    m_settle.start();
}

QCoro::Task<std::optional<ResolvedProject>> ServiceDefinitions::current(QString dir)
{
    if (const auto held = m_read.constFind(dir); held != m_read.cend() && !m_touched.contains(dir))
        co_return *held;
    ++m_reads;
    auto future = QtConcurrent::run(readServices, m_engine, dir);
    co_return co_await future;
}

QCoro::Task<> ServiceDefinitions::readQueued()
{
    QPointer<ServiceDefinitions> self(this);
    m_reading = true;
    while (!m_touched.isEmpty()) {
        const QString dir = *m_touched.cbegin();
        m_touched.remove(dir);
        ++m_reads;
        auto future = QtConcurrent::run(readServices, m_engine, dir);
        const std::optional<ResolvedProject> project = co_await future;
        if (!self)
            co_return;
        if (!m_followed.contains(dir))
            continue;
        if (project && m_read.value(dir) != *project) {
            m_read.insert(dir, *project);
            emit changed();
        } else if (!project && m_read.remove(dir)) {
            emit changed();
        }
    }
    m_reading = false;
}

#include "servicedefinitions.moc"
