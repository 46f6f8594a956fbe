#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <chrono>
#include <functional>
#include <memory>

class QProcess;

// Helpers shared by the test executables: the private engine, fixtures and fake tools.
namespace TestSupport {

struct Result {
    int status = -1;
    QString out;
    QString err;
};

// Runs the real docker client against the private engine, bypassing the code under test.
Result docker(const QStringList &args, const QString &dir = {});
// Fails the calling test unless the private engine answers; live tests never skip.
bool engineAnswers(QString *why);
QString engineImage();
QString engineSocket();
QString engineContext();
// The second private engine: same image, no default bridge, and a network namespace of its
// own, so nothing it publishes can be reached from here.
QString secondEngineSocket();
QString secondEngineContext();

// A name no other test run uses, safe for containers, volumes and compose projects.
QString uniqueName(const QString &prefix);

QString fixture(const QString &name);

// Writes an executable script and returns its path.
QString writeExecutable(const QString &path, const QByteArray &script);
void writeFile(const QString &path, const QByteArray &content);
// A loopback port nothing listens on.
int freePort();
// Waits up to `timeout` for `done`, like QTest::qWaitFor, but never sleeps between looks:
// qWaitFor's 10 ms naps hold up every question a process outside asks this one (a screen
// reader over the accessibility bus), ten milliseconds at a time.
bool waitAnswering(const std::function<bool()> &done, std::chrono::milliseconds timeout);

// A compose project directory with the given compose file and optional .env.
struct ComposeDir {
    explicit ComposeDir(const QByteArray &compose, const QByteArray &env = {}, const QString &fileName = QStringLiteral("compose.yaml"));
    QString path() const { return dir.path(); }
    QTemporaryDir dir;
};

// A long-running command that still stops at once: a bare sleep as PID 1 ignores SIGTERM,
// and every stop would wait out docker's ten-second grace period.
QStringList sleeper();
QByteArray sleeperJson();

// A one-service compose file running the test image.
QByteArray sleeperCompose(const QString &service = QStringLiteral("app"), const QByteArray &extra = {});

// What a live test made on the private engine, removed when this goes, however the test
// ended. Compose projects are named by their directory's last part.
struct Leftovers {
    QStringList containers, volumes, images, networks, contexts, composeDirs;
    Leftovers() = default;
    Leftovers(const Leftovers &) = delete;
    ~Leftovers() { clear(); }
    void clear();
    // Runs the test image under a fresh name made from prefix; the container is one of these.
    QString run(const QString &prefix, const QStringList &options = {}, const QStringList &command = sleeper());
};

// A real image registry (Debian's docker-registry) on a free loopback port, which the
// private engine pushes to and pulls from without any insecure-registry setting.
// SignIn makes it ask for its one account (user(), password()) with HTTP Basic, as
// registries behind htpasswd do. Its access log is kept, so a test sees what it was asked.
class LocalRegistry {
public:
    enum class Access { Open, SignIn };
    explicit LocalRegistry(Access access = Access::Open);
    ~LocalRegistry();
    // False, with why(), when it is not installed or does not answer.
    bool start();
    int port() const { return m_port; }
    // "127.0.0.1:<port>"
    QString host() const;
    // "127.0.0.1:<port>/name"
    QString reference(const QString &name) const;
    QString why() const { return m_why; }
    static QString user();
    static QString password();
    // Its access log's request lines so far, oldest first: "HEAD /v2/app/manifests/1". The
    // registry writes a line only once it has answered, so a test lets it go quiet first.
    QStringList requests() const;

private:
    QTemporaryDir m_dir;
    Access m_access;
    int m_port = 0;
    std::unique_ptr<QProcess> m_process;
    QString m_why;
};

// A real OpenSSH server on a free loopback port in front of the private engine: a session's
// docker reaches the engine through DOCKER_HOST set by the server, so nothing of the
// account's own ssh set-up is read or changed. The client's side is a configuration file of
// its own, named in KORVAT_SSH_CONFIG while this lives, under the host name "korvat-ssh".
// The same configuration also names the server "korvat-other", as another host would be.
class SshServer {
public:
    SshServer();
    ~SshServer();
    bool start();
    // Ends the server and every session it serves, as a host going away would.
    void stop();
    bool running() const;
    // "ssh://root@korvat-ssh"
    QString endpoint() const;
    // The client's configuration file (KORVAT_SSH_CONFIG).
    QString config() const;
    // Whether the server accepts the client's key; read by the server at each login.
    void setKeyAccepted(bool accepted);
    // Connections the server accepted so far: every login attempt, failed or not.
    int connections() const;
    QString log() const;
    QString why() const { return m_why; }

private:
    QTemporaryDir m_dir;
    int m_port = 0;
    std::unique_ptr<QProcess> m_process;
    QString m_why;
};

} // namespace TestSupport

#define REQUIRE_ENGINE()                                  \
    do {                                                  \
        QString why_;                                     \
        if (!TestSupport::engineAnswers(&why_))           \
            QFAIL(qPrintable(why_));                      \
    } while (false)
