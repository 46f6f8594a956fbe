#pragma once

#include "projectdirectory.h"

#include <QCoroTask>
#include <QObject>

class QThreadPool;

// Looks at project directories off the interface thread and keeps what it found. A
// directory on a hung network mount holds one thread of a pool of its own, never the
// window nor the threads that talk to the engine; until it answers, the window shows what
// was found before.
class DirectoryChecks : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    const DirectoryMap &found() const { return m_found; }
    // Looks at these again. One look runs at a time; what is asked for meanwhile is looked
    // at once it ends.
    void look(const QStringList &dirs);
    // A look of one directory now, for an action that must not act on a guess.
    static QCoro::Task<DirectoryFacts> lookNow(QString dir);

signals:
    void changed();

private:
    static QThreadPool *pool();
    QCoro::Task<> lookQueued();

    DirectoryMap m_found;
    QStringList m_queued;
    bool m_looking = false;
};
