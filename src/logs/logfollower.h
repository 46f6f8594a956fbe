#pragma once

#include "logsource.h"
#include "runtime.h"

#include <QObject>
#include <QProcess>
#include <memory>
#include <optional>

// Follows the live log of a container or a project for as long as it exists. The docker
// child runs in a process group of its own, so stopping reaches compose's plugin as well.
class LogFollower : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString text READ text NOTIFY textChanged)
    Q_PROPERTY(QString header READ header CONSTANT)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)

public:
    static constexpr qsizetype trimAt = 200001;
    static constexpr qsizetype keep = 150000;

    LogFollower(const LogSource &source, const std::optional<Runtime> &runtime, QObject *parent = nullptr);
    ~LogFollower() override;

    const QString &text() const { return m_text; }
    QString header() const { return m_source.header(); }
    bool running() const { return m_process && m_process->state() != QProcess::NotRunning; }

    Q_INVOKABLE void start();
    // Shows text without a child, as a screenshot wants it; start() then does nothing.
    void preview(const QString &text);
    Q_INVOKABLE void stop();

    // The buffer after one more chunk: once it reaches trimAt characters only the last
    // keep remain, so it trims in large steps rather than on every chunk.
    static QString appended(QString text, const QString &chunk);

signals:
    void textChanged();
    void runningChanged();

private:
    void readAvailable();

    LogSource m_source;
    std::optional<Runtime> m_runtime;
    std::unique_ptr<QProcess> m_process;
    QString m_text;
    bool m_preview = false;
};
