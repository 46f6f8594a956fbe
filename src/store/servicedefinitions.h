#pragma once

#include "engine.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <memory>

class FileWatch;
class QThread;

// The services each project's files define, read with one `compose config` when a project
// is first seen and again only when its compose files or its .env change: never on a timer.
// A directory whose files compose cannot read has no entry, and its card shows what its
// containers show.
class ServiceDefinitions : public QObject {
    Q_OBJECT

public:
    explicit ServiceDefinitions(std::shared_ptr<Engine> engine, QObject *parent = nullptr);
    ~ServiceDefinitions() override;

    // The project directories to know. New ones are read; those no longer listed are
    // forgotten and no longer watched.
    void follow(const QStringList &dirs);
    // Reads the directory again now, as after a change of its files.
    void reread(const QString &dir);
    const QHash<QString, ResolvedProject> &read() const { return m_read; }
    // The directory's services as they stand: the reading held, unless its files changed
    // since or none was made yet; then read now. Nullopt when compose cannot read them.
    QCoro::Task<std::optional<ResolvedProject>> current(QString dir);
    // The `compose config` children started so far.
    int reads() const { return m_reads; }

signals:
    void changed();

private:
    QCoro::Task<> readQueued();

    std::shared_ptr<Engine> m_engine;
    QThread *m_thread;
    FileWatch *m_watch;
    QSet<QString> m_followed;
    QHash<QString, ResolvedProject> m_read;
    // Touched and waiting for the files to settle, then read one after another.
    QSet<QString> m_touched;
    QTimer m_settle;
    bool m_reading = false;
    int m_reads = 0;
};
