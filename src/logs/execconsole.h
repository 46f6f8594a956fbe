#pragma once

#include "container.h"
#include "runtime.h"

#include <QObject>
#include <optional>

// The state behind the exec sheet: one `sh -c` at a time in a container, and the transcript
// of every command so far. Not a terminal: no standard input, no pseudo-terminal.
class ExecConsole : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString command READ command WRITE setCommand NOTIFY commandChanged)
    Q_PROPERTY(QString output READ output NOTIFY outputChanged)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(QString containerName READ containerName CONSTANT)

public:
    ExecConsole(const Container &container, const std::optional<Runtime> &runtime, QObject *parent = nullptr);

    const QString &command() const { return m_command; }
    void setCommand(const QString &command);
    const QString &output() const { return m_output; }
    bool running() const { return m_running; }
    QString containerName() const { return m_container.name; }

    Q_INVOKABLE void run();
    // Shows a transcript without running anything, as a screenshot wants it.
    void preview(const QString &transcript);

    // One command's transcript entry, run to its end. Blocking; for a worker thread.
    static QString execute(const QString &containerId, const std::optional<Runtime> &runtime, const QString &command);

signals:
    void commandChanged();
    void outputChanged();
    void runningChanged();

private:
    void setRunning(bool running);

    Container m_container;
    std::optional<Runtime> m_runtime;
    QString m_command;
    QString m_output;
    bool m_running = false;
};
