#pragma once

#include "container.h"
#include "engineevent.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <chrono>
#include <functional>
#include <optional>

class QSettings;

// A container that failed without anyone asking it to stop.
struct Failure {
    enum class Why { Exited, OutOfMemory, Unhealthy };
    QString id;
    QString name;
    QString project;
    Why why = Why::Exited;
    int exitCode = 0;
    // The runtime it ran on, by name: where its logs are read.
    QString engine = {};

    friend bool operator==(const Failure &, const Failure &) = default;
};

// Reads the event stream for failures worth a desktop notification: a container that dies
// with a non-zero exit code when nothing asked it to (a kill with a signal that ends it, as
// every stop, restart, removal and compose down sends, Korvat's own included; or a stop
// the engine tells of after the death, whatever its signal), one the out-of-memory killer
// hits, one whose health check turns unhealthy. A signal that does not end a container (a
// reload's SIGHUP) excuses nothing. While the stream is down, a listing finds what died
// meanwhile. One per container per quietPeriod at most; failures that come together are
// told together once the burst falls quiet; muted projects and a setting turned off are
// told nothing.
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

    // The runtime whose containers it watches, named in every failure it reports.
    void setEngine(const QString &name) { m_engine = name; }
    void see(const ContainerChange &change);
    // A listing of every container. After a gap in the event stream, a container that was
    // running at the listing before and has exited since with a code no stop gives is a
    // failure; the first listing of a runtime only sets what later ones are compared with.
    void listed(const QList<Container> &containers, bool afterGap);
    // Another runtime: its containers are new.
    void forgetListing();
    // The signals a stop sends to end a container: SIGINT, SIGKILL, SIGTERM; 0 (not said).
    static bool ends(int signal);
    // The exit code of an exited container, from the client's words: "Exited (3) 2 min ago".
    static std::optional<int> exitCode(const Container &container);

    // Failures are being gathered into a burst not yet told.
    bool gathering() const { return m_quiet.isActive(); }
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
    // A death a stop asked for after all: taken back while its burst is still gathering.
    void retract(const QString &id);
    void flush();

    QSettings *m_settings;
    QString m_engine;
    Clock m_clock;
    Timing m_timing;
    // Containers a kill was sent to since they last started.
    QSet<QString> m_killed;
    QHash<QString, QDateTime> m_lastTold;
    // Full ids of the containers running at the last listing; none before the first.
    std::optional<QSet<QString>> m_running;
    QList<Failure> m_burst;
    QTimer m_quiet;
};
