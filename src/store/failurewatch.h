#pragma once

#include "engineevent.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <chrono>
#include <functional>

class QSettings;

// A container that failed without anyone asking it to stop.
struct Failure {
    enum class Why { Exited, OutOfMemory, Unhealthy };
    QString id;
    QString name;
    QString project;
    Why why = Why::Exited;
    int exitCode = 0;

    friend bool operator==(const Failure &, const Failure &) = default;
};

// Reads the event stream for failures worth a desktop notification: a container that dies
// with a non-zero exit code when no kill came since it started (every stop, restart and
// compose down sends one, Korvat's own included), one the out-of-memory killer hits, one
// whose health check turns unhealthy. One per container per quietPeriod at most; failures
// that come together are told together once the burst falls quiet; muted projects and a
// setting turned off are told nothing.
class FailureWatch : public QObject {
    Q_OBJECT

public:
    using Clock = std::function<QDateTime()>;

    struct Timing {
        std::chrono::milliseconds burst{1500};
        std::chrono::seconds quietPeriod{300};
    };

    FailureWatch(QSettings *settings, Clock clock, Timing timing, QObject *parent = nullptr);
    explicit FailureWatch(QSettings *settings, QObject *parent = nullptr);

    void see(const ContainerChange &change);

    bool enabled() const;
    void setEnabled(bool on);
    bool muted(const QString &project) const;
    void setMuted(const QString &project, bool muted);

signals:
    // A burst's failures, in the order they came.
    void failed(const QList<Failure> &failures);
    void mutedChanged();

private:
    void report(Failure failure);
    void flush();

    QSettings *m_settings;
    Clock m_clock;
    Timing m_timing;
    // Containers a kill was sent to since they last started.
    QSet<QString> m_killed;
    QHash<QString, QDateTime> m_lastTold;
    QList<Failure> m_burst;
    QTimer m_quiet;
};
