#pragma once

#include <QByteArray>
#include <QObject>

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
    // The producing process, or 0 when there is none.
    virtual qint64 pid() const { return 0; }

signals:
    void readyRead();
    void runningChanged();
    // It could not begin; finished follows.
    void failedToStart(const QString &message);
    // Ended by itself (or never began), not by stop().
    void finished();
};
