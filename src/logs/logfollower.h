#pragma once

#include "ansi.h"
#include "engine.h"
#include "linebacklog.h"
#include "transcript.h"

#include <QElapsedTimer>
#include <QFutureWatcher>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>

// Follows the live log of a container or a project for as long as it exists; the engine's
// stream ends with it. What the stream writes is taken in batches, at most one a frame, read
// into lines on a worker, and only appended to the transcript here.
class LogFollower : public QObject {
    Q_OBJECT
    Q_PROPERTY(Transcript *transcript READ transcript CONSTANT)
    Q_PROPERTY(QString header READ header CONSTANT)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(bool project READ project CONSTANT)
    // Each line with the engine's time for it; changing it reads the log again.
    Q_PROPERTY(bool timestamps READ timestamps WRITE setTimestamps NOTIFY timestampsChanged)

public:
    LogFollower(std::shared_ptr<const Engine> engine, const LogSource &source, const std::optional<Runtime> &runtime,
                QObject *parent = nullptr);
    ~LogFollower() override;

    Transcript *transcript() { return &m_transcript; }
    QString header() const { return header(m_source); }
    bool running() const { return m_stream && m_stream->running(); }
    bool project() const { return m_source.isProject(); }
    bool timestamps() const { return m_source.timestamps; }
    void setTimestamps(bool timestamps);

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

    static QString header(const LogSource &source);

signals:
    void runningChanged();
    void timestampsChanged();

private:
    // A batch at most once a frame; while the log floods, four a second: nobody reads that
    // fast, and each batch costs the window a layout of what it shows.
    static constexpr std::chrono::milliseconds frame{16};
    static constexpr std::chrono::milliseconds flooding{250};
    // Some ten thousand lines a second, or lines passed over: a flood.
    static constexpr qsizetype floodBytesPerSecond = 1024 * 1024;

    // What reading carries from one batch to the next.
    struct Reading {
        // However much a stream hands over at once, only what a transcript keeps is read.
        LineBacklog bound{Transcript::keep};
        Ansi::Parser parser;
        // The start of a line whose end has not come yet.
        QByteArray open;
    };
    struct Read {
        Reading reading;
        QList<LogLine> lines;
        qint64 passedOver = 0;
        int generation = 0;
    };
    // A batch into lines, the newest whole lines of it within what a transcript keeps.
    static Read read(Reading reading, LineBatch batch, bool prefixed, bool timestamped);

    void schedule();
    void takeBatch();
    void applyRead();

    std::shared_ptr<const Engine> m_engine;
    LogSource m_source;
    std::optional<Runtime> m_runtime;
    std::unique_ptr<EngineStream> m_stream;
    // With the worker while a batch is read.
    Reading m_reading;
    bool m_busy = false;
    // Results of a read begun before the log was read again are dropped.
    int m_generation = 0;
    QFutureWatcher<Read> m_reader;
    QTimer m_pace;
    QElapsedTimer m_lastBatch;
    std::chrono::milliseconds m_interval = frame;
    Transcript m_transcript;
};
