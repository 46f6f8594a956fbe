#include "testsupport.h"

#include <QDir>
#include <QEventLoop>
#include <QMultiHash>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <csignal>
#include <sys/prctl.h>

namespace TestSupport {

namespace {
// A server a test starts is a child of the test that dies with it, however the test ends: a
// crashed or aborted suite leaves no server behind for the next one.
std::unique_ptr<QProcess> serverProcess()
{
    auto process = std::make_unique<QProcess>();
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->setStandardInputFile(QProcess::nullDevice());
    return process;
}

bool answersOn(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, quint16(port));
    return socket.waitForConnected(200);
}

// Ends a server and waits for it: SIGTERM, then SIGKILL when it has not gone within 5 s.
void end(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished(5000);
    }
}
}

Result docker(const QStringList &args, const QString &dir)
{
    QProcess p;
    p.setProgram(QStringLiteral("docker"));
    p.setArguments(args);
    if (!dir.isEmpty())
        p.setWorkingDirectory(dir);
    p.setStandardInputFile(QProcess::nullDevice());
    p.start();
    if (!p.waitForStarted(-1))
        return {-1, {}, p.errorString()};
    p.waitForFinished(-1);
    return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
}

bool engineAnswers(QString *why)
{
    if (qEnvironmentVariableIsEmpty("KORVAT_TEST_SOCKET")) {
        *why = QStringLiteral("KORVAT_TEST_SOCKET is not set: run this test through ctest, which starts the private engine");
        return false;
    }
    const auto r = docker({"version", "--format", "{{.Server.Version}}"});
    if (r.status != 0) {
        *why = QStringLiteral("the private engine does not answer: ") + r.err.trimmed();
        return false;
    }
    return true;
}

QString engineImage() { return qEnvironmentVariable("KORVAT_TEST_IMAGE", QStringLiteral("korvat-test/busybox:1")); }
QString engineSocket() { return qEnvironmentVariable("KORVAT_TEST_SOCKET"); }
QString engineContext() { return qEnvironmentVariable("KORVAT_TEST_CONTEXT", QStringLiteral("korvat-test")); }
QString secondEngineSocket() { return qEnvironmentVariable("KORVAT_TEST_SOCKET2"); }
QString secondEngineContext() { return qEnvironmentVariable("KORVAT_TEST_CONTEXT2", QStringLiteral("korvat-second")); }

QString uniqueName(const QString &prefix)
{
    return prefix + QString::number(QRandomGenerator::global()->bounded(1u << 30), 36);
}

QString fixture(const QString &name)
{
    QFile f(QStringLiteral(KORVAT_FIXTURES "/") + name);
    if (!f.open(QIODevice::ReadOnly))
        qFatal("missing fixture %s", qPrintable(name));
    return QString::fromUtf8(f.readAll());
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write %s", qPrintable(path));
    f.write(content);
}

QString writeExecutable(const QString &path, const QByteArray &script)
{
    writeFile(path, script);
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther);
    return path;
}

ComposeDir::ComposeDir(const QByteArray &compose, const QByteArray &env, const QString &fileName)
{
    writeFile(dir.filePath(fileName), compose);
    if (!env.isNull())
        writeFile(dir.filePath(QStringLiteral(".env")), env);
}

QStringList sleeper()
{
    return {"sh", "-c", "trap 'exit 0' TERM; sleep 3600 & wait"};
}

QByteArray sleeperJson()
{
    return R"(["sh", "-c", "trap 'exit 0' TERM; sleep 3600 & wait"])";
}

QByteArray sleeperCompose(const QString &service, const QByteArray &extra)
{
    return "services:\n  " + service.toUtf8() + ":\n    image: " + engineImage().toUtf8()
        + "\n    command: " + sleeperJson() + "\n" + extra;
}

void Leftovers::clear()
{
    const auto remove = [](QStringList &names, const QStringList &command) {
        if (!names.isEmpty())
            docker(command + std::exchange(names, {}));
    };
    // Loose containers first: one may hold a project's volume that the project's down removes.
    remove(containers, {"rm", "-f"});
    for (const QString &dir : std::exchange(composeDirs, {}))
        docker({"compose", "-p", QFileInfo(dir).fileName().toLower(), "down", "-v", "-t", "0"});
    remove(images, {"rmi", "-f"});
    remove(volumes, {"volume", "rm", "-f"});
    remove(networks, {"network", "rm"});
    remove(contexts, {"context", "rm", "-f"});
}

QString Leftovers::run(const QString &prefix, const QStringList &options, const QStringList &command)
{
    const QString name = uniqueName(prefix);
    containers << name;
    const auto r = docker(QStringList{"run", "-d", "--name", name} + options + QStringList{engineImage()} + command);
    if (r.status != 0)
        qWarning("docker run %s: %s", qPrintable(name), qPrintable(r.err));
    return name;
}

SshServer::SshServer()
{
    const QString d = m_dir.path();
    QProcess::execute(QStringLiteral("ssh-keygen"), {"-q", "-t", "ed25519", "-N", "", "-f", d + "/host"});
    QProcess::execute(QStringLiteral("ssh-keygen"), {"-q", "-t", "ed25519", "-N", "", "-f", d + "/id"});
    QFile::copy(d + "/id.pub", d + "/authorized_keys");
    m_port = freePort();
    writeFile(d + "/sshd_config", QStringLiteral("Port %1\nListenAddress 127.0.0.1\nHostKey %2/host\nPidFile %2/sshd.pid\n"
                                                 "AuthorizedKeysFile %2/authorized_keys\nPermitRootLogin prohibit-password\n"
                                                 "PasswordAuthentication no\nKbdInteractiveAuthentication no\nUsePAM no\nStrictModes no\n"
                                                 "LogLevel VERBOSE\nSetEnv DOCKER_HOST=unix://%3\n")
                                      .arg(m_port).arg(d, engineSocket()).toUtf8());
    QFile hostKey(d + "/host.pub");
    hostKey.open(QIODevice::ReadOnly);
    writeFile(d + "/known_hosts", QStringLiteral("[127.0.0.1]:%1 ").arg(m_port).toUtf8() + hostKey.readAll());
    writeFile(d + "/ssh_config", QStringLiteral("Host korvat-ssh korvat-other\n  HostName 127.0.0.1\n  Port %1\n  IdentityFile %2/id\n  IdentitiesOnly yes\n"
                                                "  IdentityAgent none\n  UserKnownHostsFile %2/known_hosts\n  StrictHostKeyChecking yes\n")
                                     .arg(m_port).arg(d).toUtf8());
    qputenv("KORVAT_SSH_CONFIG", (d + "/ssh_config").toUtf8());
}

SshServer::~SshServer()
{
    stop();
    qunsetenv("KORVAT_SSH_CONFIG");
}

bool SshServer::start()
{
    // Privilege separation wants its empty directory; a machine that never ran sshd has none.
    QDir().mkpath(QStringLiteral("/run/sshd"));
    // Ready once it says so (again, when started again): a probe would count as a connection.
    const auto listening = [this] { return log().count(QLatin1String("Server listening on")); };
    const qsizetype before = listening();
    m_process = serverProcess();
    // In the foreground (-D), so that it stays the test's own child.
    m_process->start(QStringLiteral("/usr/sbin/sshd"), {"-D", "-f", m_dir.filePath("sshd_config"), "-E", m_dir.filePath("sshd.log")});
    m_process->waitForStarted();
    for (int i = 0; i < 100 && m_process->state() == QProcess::Running; ++i) {
        if (listening() > before)
            return true;
        QThread::msleep(50);
    }
    m_why = "sshd did not start: " + QString::fromLocal8Bit(m_process->readAllStandardError()) + log();
    end(*m_process);
    return false;
}

namespace {
// The processes under pid, children before their own children.
QList<pid_t> descendants(pid_t pid)
{
    QMultiHash<pid_t, pid_t> children;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile stat(QStringLiteral("/proc/") + entry + QStringLiteral("/stat"));
        if (stat.open(QIODevice::ReadOnly)) {
            // "pid (name) state ppid …": the name may hold spaces, never ") ".
            const QString text = QString::fromLatin1(stat.readAll());
            children.insert(pid_t(text.section(QStringLiteral(") "), 1).section(u' ', 1, 1).toInt()), pid_t(entry.toInt()));
        }
    }
    QList<pid_t> found{pid};
    for (qsizetype i = 0; i < found.size(); ++i)
        found += children.values(found[i]);
    found.removeFirst();
    return found;
}
}

void SshServer::stop()
{
    if (!m_process || m_process->state() == QProcess::NotRunning)
        return;
    // Its sessions, still serving, go too: the host is gone. They are this server's own,
    // found before it goes; another test's server is left alone.
    const QList<pid_t> sessions = descendants(pid_t(m_process->processId()));
    for (const pid_t session : sessions)
        ::kill(session, SIGTERM);
    end(*m_process);
}

QString SshServer::config() const { return m_dir.filePath(QStringLiteral("ssh_config")); }

void SshServer::setKeyAccepted(bool accepted)
{
    QFile key(m_dir.filePath(QStringLiteral("id.pub")));
    key.open(QIODevice::ReadOnly);
    writeFile(m_dir.filePath(QStringLiteral("authorized_keys")), accepted ? key.readAll() : QByteArray());
}

bool SshServer::running() const { return m_process && m_process->state() == QProcess::Running; }

QString SshServer::endpoint() const { return QStringLiteral("ssh://root@korvat-ssh"); }

int freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    return probe.serverPort();
}

bool waitAnswering(const std::function<bool()> &done, std::chrono::milliseconds timeout)
{
    if (done())
        return true;
    QEventLoop loop;
    // What `done` looks at may change with no event here (a file another process writes).
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    look.start(20);
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    loop.exec();
    return done();
}

LocalRegistry::LocalRegistry(Access access) : m_access(access) {}

LocalRegistry::~LocalRegistry()
{
    if (m_process)
        end(*m_process);
}

QString LocalRegistry::user() { return QStringLiteral("korvat"); }
QString LocalRegistry::password() { return QStringLiteral("korvat-pw-7"); }

bool LocalRegistry::start()
{
    m_port = freePort();
    QString config = QStringLiteral("version: 0.1\nlog:\n  level: warn\n  accesslog:\n    disabled: false\n"
                                    "storage:\n  filesystem:\n    rootdirectory: %1/data\nhttp:\n  addr: 127.0.0.1:%2\n")
                         .arg(m_dir.path()).arg(m_port);
    if (m_access == Access::SignIn) {
        // bcrypt of password() at cost 5, which the registry's htpasswd reader accepts as $2b$
        // (and $2y$); cost 5 keeps each sign-in cheap.
        writeFile(m_dir.filePath("htpasswd"), user().toUtf8() + ":$2b$05$IM5xENfGEivdXhxyXCa9UuMEfV7h0OsStUJ06Adrbf1mihSaFkYrm\n");
        config += QStringLiteral("auth:\n  htpasswd:\n    realm: korvat-test\n    path: %1/htpasswd\n").arg(m_dir.path());
    }
    writeFile(m_dir.filePath("config.yml"), config.toUtf8());
    m_process = serverProcess();
    // The access log goes to standard output, everything else to standard error.
    m_process->setStandardOutputFile(m_dir.filePath("access.log"));
    m_process->setStandardErrorFile(m_dir.filePath("registry.log"));
    m_process->start(QStringLiteral("docker-registry"), {QStringLiteral("serve"), m_dir.filePath("config.yml")});
    if (!m_process->waitForStarted()) {
        m_why = QStringLiteral("docker-registry is not installed (scripts/setup.sh installs it)");
        return false;
    }
    for (int i = 0; i < 100 && m_process->state() == QProcess::Running; ++i) {
        if (answersOn(m_port))
            return true;
        QThread::msleep(50);
    }
    QFile log(m_dir.filePath("registry.log"));
    log.open(QIODevice::ReadOnly);
    m_why = QStringLiteral("docker-registry did not answer on port %1: %2").arg(m_port).arg(QString::fromUtf8(log.readAll()));
    end(*m_process);
    return false;
}

QString LocalRegistry::host() const
{
    return QStringLiteral("127.0.0.1:%1").arg(m_port);
}

QString LocalRegistry::reference(const QString &name) const
{
    return host() + u'/' + name;
}

QStringList LocalRegistry::requests() const
{
    // 127.0.0.1 - - [date] "HEAD /v2/app/manifests/1 HTTP/1.1" 200 0 "" "agent"
    static const QRegularExpression line(QStringLiteral(R"re("([A-Z]+) (\S+) HTTP/[0-9.]+")re"));
    QStringList found;
    QFile log(m_dir.filePath("access.log"));
    if (log.open(QIODevice::ReadOnly))
        for (auto it = line.globalMatch(QString::fromUtf8(log.readAll())); it.hasNext();) {
            const auto m = it.next();
            found << m.captured(1) + u' ' + m.captured(2);
        }
    return found;
}

QString SshServer::log() const
{
    QFile file(m_dir.filePath("sshd.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}

int SshServer::connections() const
{
    return int(log().count(QLatin1String("Connection from")));
}

} // namespace TestSupport
