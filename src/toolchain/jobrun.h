#pragma once

#include "toolchainsource.h"
#include "tooljob.h"

#include <QObject>
#include <QProcess>
#include <QStringDecoder>
#include <memory>

// One toolchain job running with live output. Lives on the UI thread; its script runs in a
// process group of its own, so cancelling or closing reaches brew and everything it started.
class JobRun : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString output READ output NOTIFY outputChanged)
    Q_PROPERTY(bool running READ running NOTIFY stateChanged)
    Q_PROPERTY(bool finished READ finished NOTIFY stateChanged)
    Q_PROPERTY(bool succeeded READ succeeded NOTIFY stateChanged)
    Q_PROPERTY(int exitStatus READ exitStatus NOTIFY stateChanged)

public:
    enum class State { Idle, Running, Finished, FailedToStart };

    JobRun(const ToolJob &job, std::shared_ptr<const ToolchainSource> source, QObject *parent = nullptr);
    // Closing the view while the job runs ends it.
    ~JobRun() override;

    const ToolJob &job() const { return m_job; }
    QString title() const { return m_job.title(); }
    const QString &output() const { return m_output; }
    State state() const { return m_state; }
    bool running() const { return m_state == State::Running; }
    bool finished() const { return m_state == State::Finished || m_state == State::FailedToStart; }
    bool succeeded() const { return m_state == State::Finished && m_exitStatus == 0; }
    int exitStatus() const { return m_exitStatus; }

    Q_INVOKABLE void start();
    // An interrupt, as Ctrl-C in a terminal would send.
    Q_INVOKABLE void cancel();

signals:
    void outputChanged();
    void stateChanged();

private:
    void readAvailable();
    void signalGroup(int signal);
    void setState(State state);

    ToolJob m_job;
    std::shared_ptr<const ToolchainSource> m_source;
    std::unique_ptr<QProcess> m_process;
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    QString m_output;
    State m_state = State::Idle;
    int m_exitStatus = -1;
};
