#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTemporaryDir>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>

class QFileSystemWatcher;
class QProcess;

// Where an ssh:// endpoint leads: "ssh://deploy@build.example:2222".
struct SshTarget {
    QString user;
    QString host;
    int port = 0;
    friend bool operator==(const SshTarget &, const SshTarget &) = default;
};

// How a login that did not come up failed: for now (no answer: no route, refused, timed out),
// dropped by the host before the login (an overloaded server, or one that blocks this
// address), or for good until the user asks again (the key refused, the host key changed or
// unknown, a passphrase wanted).
enum class SshFailure { Transient, Dropped, Permanent };

namespace Docker {
std::optional<SshTarget> sshTarget(const QString &endpoint);
// The client's message with what to do about it where ssh could not log in: with no
// terminal, a key that needs a passphrase is one ssh cannot use.
QString withSshHint(const QString &message);
// The ssh options of a kept connection and of the client's connections over it; the
// configuration file named by KORVAT_SSH_CONFIG, where set, in place of the user's.
QStringList sshOptions();

// What ssh said when its login failed. A message not known to be for good is for now: it
// is retried, with backoff.
SshFailure sshFailure(const QString &message);
// The wait after the n-th failure in a row for now, from its end: 1 s, doubling, at most 30 s.
std::chrono::milliseconds sshBackoff(int failures);
// The shortest time between two logins to a host that refused or dropped one.
inline constexpr std::chrono::seconds sshRefusedSpacing{30};
// When the next login to a host may begin, from now: after `failures` failed ones in a row,
// the last failing as `kind`, begun `sinceBegan` and ended `sinceEnded` ago; `asked` when
// the user asked for the runtime again. None: not until the user asks.
std::optional<std::chrono::milliseconds> sshNextLogin(SshFailure kind, int failures, std::chrono::milliseconds sinceBegan,
                                                      std::chrono::milliseconds sinceEnded, bool asked);
}

// The one ssh connection Korvat keeps to a remote engine's host while its runtime is in use.
// Once it is up, the engine's socket on the host (as the host's own client resolves it) is
// forwarded to a local socket, and docker children talk to that: no ssh and no remote
// client process per connection. Until then, or where the host's engine is not on a unix
// socket, OpenSSH multiplexes every docker child's own ssh over it: the children find,
// first on their search path, an `ssh` stand-in that carries logins to this link's target
// (and no other host's) over the kept connection. No child ever logs in on its own: while
// the connection is being made a child waits for it (a bounded time), and while it is down
// a child fails at once with what ssh said. A failure for now is retried with backoff, one
// login at a time; a failure for good stops every attempt until retry(). Keep-alives tell
// within about 20 s that the host has gone. The connection ends with this object, or with
// Korvat, and leaves nothing behind.
class SshLink : public QObject {
    Q_OBJECT

public:
    enum class State { Connecting, Up, Waiting, Failed };

    SshLink(const QString &context, const QString &endpoint, QObject *parent = nullptr);
    ~SshLink() override;

    const QString &context() const { return m_context; }
    const QString &endpoint() const { return m_endpoint; }
    bool connected() const { return m_state == State::Up; }
    State state() const { return m_state; }
    // What ssh said when the last login failed; empty while none has.
    const QString &failure() const { return m_message; }

    // The user asked for the runtime again: a link that failed for good logs in once more,
    // no sooner than 30 s after its last login; one failing for now tries a little sooner.
    void retry();
    // A link not in use keeps no connection and makes no attempt: only one that failed for
    // good is kept out of use, so that its children still fail at once with its message.
    void setInUse(bool inUse);
    bool inUse() const { return m_inUse; }

    // The directory docker children of that context put first on their search path; empty
    // for a context without a kept connection. Safe from any thread.
    static QString shimFor(const QString &context);
    // The local socket forwarded to that context's engine, as a DOCKER_HOST value; empty
    // while there is none. Safe from any thread.
    static QString forwardFor(const QString &context);
    QString forwarded() const { return forwardFor(m_context); }

    // Every link's spacing, backoff and keep-alives, times `scale`: a test sees a minute of a
    // link's life in seconds. Korvat itself never changes it. Before any link is made.
    static void setTimeScale(double scale);

private:
    void attempt();
    void schedule(std::optional<std::chrono::milliseconds> wait);
    void ended();
    void lookForSocket();
    // Asks the host where its engine listens, then forwards that socket here.
    void forward();
    void setForward(const QString &host);
    void setFailed(const QString &message);
    QString targetKey() const;
    QStringList sshCommand(const QStringList &args) const;
    QProcess *sshChild(const QStringList &args, std::chrono::milliseconds deadline);
    bool writeShim();

    QString m_context;
    QString m_endpoint;
    std::optional<SshTarget> m_target;
    QTemporaryDir m_dir;
    QString m_ssh;
    std::unique_ptr<QProcess> m_master;
    QByteArray m_said;
    QPointer<QProcess> m_asking;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer m_retry;
    QTimer m_deadline;
    State m_state = State::Waiting;
    SshFailure m_kind = SshFailure::Transient;
    QString m_message;
    int m_failures = 0;
    std::chrono::steady_clock::time_point m_began = std::chrono::steady_clock::now() - std::chrono::hours(1);
    std::chrono::steady_clock::time_point m_ended = m_began;
    bool m_inUse = true;
    bool m_asked = false;
    // The user asked for this link since its last login: a wait for the spacing ends in one.
    bool m_userAsked = false;
    bool m_timedOut = false;
};
