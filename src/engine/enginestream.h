#pragma once

#include "linebacklog.h"

#include <QByteArray>
#include <QObject>
#include <utility>

class QProcess;

// A long-running engine output read as it comes: the event stream, a followed log. Made
// on the UI thread and read there; nothing runs before start().
class EngineStream : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void start() = 0;
    // Ends the output and whatever produces it; returns once it is gone, within seconds.
    virtual void stop() = 0;
    virtual bool running() const = 0;
    virtual QByteArray readAll() = 0;
    // What came since the last take. A stream that bounds what waits for its reader hands
    // over the newest whole lines and how many it passed over before them.
    virtual LineBatch take() { return {readAll(), 0}; }
    // The producing process, or 0 when there is none.
    virtual qint64 pid() const { return 0; }
    // Machine use read from the kernel's counters here, with no work for the engine.
    virtual bool readsCounters() const { return false; }

    // For a holder: ends the held stream now and forgets it; nothing it sends reaches the
    // listener after this.
    static void end(EngineStream *&stream, QObject *listener)
    {
        if (!stream)
            return;
        EngineStream *held = std::exchange(stream, nullptr);
        held->disconnect(listener);
        held->stop();
        delete held;
    }
    // Forgets a stream that ended by itself. Called from its own finished signal, so it is
    // deleted later.
    static void letGo(EngineStream *&stream, QObject *listener)
    {
        EngineStream *held = std::exchange(stream, nullptr);
        held->disconnect(listener);
        held->deleteLater();
    }

protected:
    // The child's life as this stream's signals: running or not, finished, failed to start.
    void follow(QProcess *child);

signals:
    void readyRead();
    void runningChanged();
    // It could not begin; finished follows.
    void failedToStart(const QString &message);
    // Ended by itself (or never began), not by stop().
    void finished();
};
