#pragma once

#include "engine.h"
#include "transcript.h"

#include <QObject>
#include <memory>
#include <optional>

// The state behind the exec sheet: one `sh -c` at a time in a container, and the transcript
// of every command so far. Not a terminal: no standard input, no pseudo-terminal.
class ExecConsole : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString command READ command WRITE setCommand NOTIFY commandChanged)
    Q_PROPERTY(Transcript *transcript READ transcript CONSTANT)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(QString containerName READ containerName CONSTANT)

public:
    ExecConsole(std::shared_ptr<const Engine> engine, const Container &container, const std::optional<Runtime> &runtime,
                QObject *parent = nullptr);
    ~ExecConsole() override;

    const QString &command() const { return m_command; }
    void setCommand(const QString &command);
    Transcript *transcript() { return &m_transcript; }
    bool running() const { return m_running; }
    QString containerName() const { return m_container.name; }

    Q_INVOKABLE void run();

    // One command's transcript entry: its output, ending in a line break, then "[exit N]"
    // when it failed.
    static QString transcriptEntry(const ExecResult &result);

signals:
    void commandChanged();
    void runningChanged();

private:
    void setRunning(bool running);
    void add(const QString &text);

    std::shared_ptr<const Engine> m_engine;
    Container m_container;
    std::optional<Runtime> m_runtime;
    QString m_command;
    Transcript m_transcript;
    bool m_running = false;
    std::shared_ptr<std::atomic_bool> m_closed = std::make_shared<std::atomic_bool>(false);
};
