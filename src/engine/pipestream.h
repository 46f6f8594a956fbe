#pragma once

#include "enginestream.h"
#include "linebacklog.h"

#include <QMutex>
#include <chrono>
#include <memory>
#include <thread>

class QProcess;

// A docker child whose standard output and error go, merged, into a pipe of ours, read on a
// thread of its own in large pieces and kept within a bound there: a log that floods costs a
// few reads a frame and holds only its newest lines, however far its reader falls behind.
// Stopping it ends the reading at once and the child's whole group without waiting for it.
class PipeStream : public EngineStream {
public:
    // More than a transcript holds before it trims: a log's first burst (the last 300 lines
    // of each of a project's services) is passed over only where the transcript would have
    // trimmed it anyway.
    static constexpr qsizetype kept = 256 * 1024;

    explicit PipeStream(std::unique_ptr<QProcess> child, std::chrono::milliseconds grace = std::chrono::seconds(3), qsizetype limit = kept);
    ~PipeStream() override;

    void start() override;
    void stop() override;
    bool running() const override;
    QByteArray readAll() override { return take().bytes; }
    LineBatch take() override;
    qint64 pid() const override;

private:
    // On the reader thread, until the last writer closes the pipe or stop() wakes it.
    void readUntilEnd(int from);
    void endReading();

    std::unique_ptr<QProcess> m_child;
    std::chrono::milliseconds m_grace;
    QMutex m_mutex;
    LineBacklog m_backlog;
    // A readyRead is on its way and nothing has been taken since.
    bool m_told = false;
    // Written once to end the reader's waits.
    int m_wake = -1;
    std::thread m_reader;
};
