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

namespace Docker {
std::optional<SshTarget> sshTarget(const QString &endpoint);
// The client's message with what to do about it where ssh could not log in: with no
// terminal, a key that needs a passphrase is one ssh cannot use.
QString withSshHint(const QString &message);
// The ssh options of a kept connection and of the client's connections over it; the
// configuration file named by KORVAT_SSH_CONFIG, where set, in place of the user's.
QStringList sshOptions();
}

// The one ssh connection Korvat keeps to a remote engine's host while its runtime is shown.
// Once it is up, the engine's socket on the host (as the host's own client resolves it) is
// forwarded to a local socket, and docker children talk to that: no ssh and no remote
// client process per connection. Until then, or where the host's engine is not on a unix
// socket, OpenSSH multiplexes every docker child's own ssh over it: the children find,
// first on their search path, an `ssh` that names this connection's control socket. Keep-alives tell
// within about 20 s that the host has gone; it is then connected again with backoff. The
// connection ends with this object, or with Korvat, and leaves nothing behind.
class SshLink : public QObject {
    Q_OBJECT

public:
    SshLink(const QString &context, const QString &endpoint, QObject *parent = nullptr);
    ~SshLink() override;

    const QString &context() const { return m_context; }
    const QString &endpoint() const { return m_endpoint; }
    bool connected() const { return m_connected; }

    // The directory docker children of that context put first on their search path; empty
    // for a context without a kept connection. Safe from any thread.
    static QString shimFor(const QString &context);
    // The local socket forwarded to that context's engine, as a DOCKER_HOST value; empty
    // while there is none. Safe from any thread.
    static QString forwardFor(const QString &context);
    QString forwarded() const { return forwardFor(m_context); }

private:
    void connect();
    void ended();
    void lookForSocket();
    // Asks the host where its engine listens, then forwards that socket here.
    void forward();
    void setForward(const QString &host);
    QStringList sshCommand(const QStringList &args) const;

    QString m_context;
    QString m_endpoint;
    std::optional<SshTarget> m_target;
    QTemporaryDir m_dir;
    QString m_ssh;
    std::unique_ptr<QProcess> m_master;
    QPointer<QProcess> m_asking;
    QFileSystemWatcher *m_watcher = nullptr;
    QTimer m_retry;
    std::chrono::milliseconds m_backoff{1000};
    bool m_connected = false;
};
