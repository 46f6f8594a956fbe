#pragma once

#include "ansi.h"
#include "engine.h"
#include "transcript.h"

#include <QObject>
#include <memory>
#include <optional>

// Follows the live log of a container or a project for as long as it exists; the engine's
// stream ends with it. What the stream writes is read into lines of the transcript.
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
    void readAvailable();
    void add(QStringView text);

    std::shared_ptr<const Engine> m_engine;
    LogSource m_source;
    std::optional<Runtime> m_runtime;
    std::unique_ptr<EngineStream> m_stream;
    Ansi::Parser m_parser;
    Transcript m_transcript;
};
