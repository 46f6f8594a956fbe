#pragma once

#include "engine.h"

#include <QObject>
#include <memory>
#include <optional>

// Follows the live log of a container or a project for as long as it exists; the engine's
// stream ends with it.
class LogFollower : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString text READ text NOTIFY textChanged)
    Q_PROPERTY(QString header READ header CONSTANT)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)

public:
    static constexpr qsizetype trimAt = 200001;
    static constexpr qsizetype keep = 150000;

    LogFollower(std::shared_ptr<const Engine> engine, const LogSource &source, const std::optional<Runtime> &runtime,
                QObject *parent = nullptr);
    ~LogFollower() override;

    const QString &text() const { return m_text; }
    QString header() const { return header(m_source); }
    bool running() const { return m_stream && m_stream->running(); }

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

    static QString header(const LogSource &source);
    // The buffer after one more chunk: once it reaches trimAt characters only the last
    // keep remain, so it trims in large steps rather than on every chunk.
    static QString appended(QString text, const QString &chunk);

signals:
    void textChanged();
    void runningChanged();

private:
    void readAvailable();

    std::shared_ptr<const Engine> m_engine;
    LogSource m_source;
    std::optional<Runtime> m_runtime;
    std::unique_ptr<EngineStream> m_stream;
    QString m_text;
};
