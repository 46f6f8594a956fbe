#pragma once

#include "engine.h"
#include "progress.h"

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <memory>

// One step of a project's deletion or of a reclaim, in the order they run.
struct DeletionStep {
    enum class Kind { Backup, Containers, Volume, Directory, Image, Container, Cache };
    enum class State { Pending, Running, Done, Failed, Skipped };
    Kind kind = Kind::Containers;
    // The volume backed up or removed, the directory trashed; the project for containers;
    // the object's id in a reclaim.
    QString subject;
    State state = State::Pending;
    QString failure;
    // What a person reads, where the subject is an id.
    QString name;
    friend bool operator==(const DeletionStep &, const DeletionStep &) = default;
};

// A long action under way and how far it got.
struct Work {
    enum class Kind { Pull, Up, Deletion, Backup, Restore, Reclaim, ProjectPull };

    int id = 0;
    Kind kind = Kind::Pull;
    // The image, project or volume it acts on; a reclaim's runtime.
    QString subject;
    // The runtime it runs on, whatever is selected meanwhile.
    QString engine = {};
    QDateTime startedAt;
    // Asked to stop; it ends at the next point where stopping loses nothing.
    bool stopping = false;
    PullProgress pull;
    ComposeProgress compose;
    Transferred moved;
    QList<DeletionStep> steps;
    friend bool operator==(const Work &, const Work &) = default;
};

// The long actions under way, for every view that shows them. Changes only on the UI
// thread; an action's worker reports through the Watch it is given, whose lines are read
// there and handed over at most one hand-over ahead, however fast the CLI prints.
class LongWork : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    int begin(Work::Kind kind, const QString &subject, QDateTime at = QDateTime::currentDateTimeUtc());
    // The Watch for the action's worker: progress read into the work, stop carried to the child.
    Watch watch(int id, const QString &project = {});
    // Only the stop, for work whose steps print nothing worth reading.
    Cancel cancel(int id) const { return m_cancels.value(id); }
    void update(int id, const std::function<void(Work &)> &change);
    // Sets the work's cancel; the action ends the child and says how far it got.
    Q_INVOKABLE void stop(int id);
    bool stopped(int id) const;
    // Takes what the worker read last into the work now. Its hand-over may still be queued
    // when the worker's result arrives, and what is said at the end must not miss the
    // client's last line.
    void settle(int id);
    void end(int id);

    const QList<Work> &list() const { return m_list; }
    const Work *find(int id) const;

signals:
    void added(int id);
    void changed(int id);
    void removed(int id);

private:
    struct Relay;
    void take(int id, Relay &relay);
    QList<Work> m_list;
    QMap<int, std::shared_ptr<Relay>> m_relays;
    QMap<int, std::shared_ptr<std::atomic_bool>> m_cancels;
    int m_next = 1;
};
