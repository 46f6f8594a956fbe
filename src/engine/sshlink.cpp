#include "sshlink.h"

#include "childprocess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <algorithm>
#include <cmath>
#include <QHash>
#include <QMap>
#include <QMutex>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {
QMutex shimsMutex;
QMap<QString, QString> shims;
QMap<QString, QString> forwards;

// The last login to each target, whichever link made it: two contexts may name one host,
// and a link made anew must not forget what the host said to the one before it.
struct Login {
    Clock::time_point began = Clock::now() - 1h;
    bool active = false;
    // How it failed, where it did.
    std::optional<SshFailure> failed;
    QString message;
};
QHash<QString, Login> logins;

// How long a login may take before it is given up; how long, in steps of 0.2 s, a docker
// child waits for one under way (past that deadline: it always sees the outcome); and how
// long a question over the kept connection may take.
constexpr auto loginDeadline = 20s;
constexpr int childWaitSteps = 125;
constexpr auto askDeadline = 20s;

QString quoted(const QString &word)
{
    return u'\'' + QString(word).replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

QString baseDirectory()
{
    // A control socket's path must stay under 108 bytes.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.isEmpty() || runtime.size() > 40 ? QDir::tempPath() : runtime;
}

std::chrono::milliseconds since(Clock::time_point then)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - then);
}

double timeScale = 1;

// The rules speak of the user's seconds; a link under test lives them faster.
std::chrono::milliseconds ruleTime(std::chrono::milliseconds real)
{
    return std::chrono::milliseconds(qint64(double(real.count()) / timeScale));
}

// Rounded up: a wait never ends before the rule's.
std::optional<std::chrono::milliseconds> realTime(std::optional<std::chrono::milliseconds> rule)
{
    if (!rule)
        return std::nullopt;
    return std::chrono::milliseconds(qint64(std::ceil(double(rule->count()) * timeScale)));
}

bool writeAtomically(const QString &path, const QByteArray &content)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}
}

namespace Docker {

std::optional<SshTarget> sshTarget(const QString &endpoint)
{
    const QUrl url(endpoint, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("ssh") || url.host().isEmpty())
        return std::nullopt;
    return SshTarget{url.userName(), url.host(), std::max(url.port(), 0)};
}

QString withSshHint(const QString &message)
{
    if (message.contains(QLatin1String("Permission denied (publickey")))
        return message + QStringLiteral("\nssh needs a passphrase for the key, or has no key this host accepts — add the key to your ssh agent (ssh-add).");
    if (message.contains(QLatin1String("Host key verification failed")))
        return message + QStringLiteral("\nssh does not know this host's key, or it changed — connect once with ssh in a terminal to check it.");
    return message;
}

QStringList sshOptions()
{
    QStringList options;
    if (const QString config = qEnvironmentVariable("KORVAT_SSH_CONFIG"); !config.isEmpty())
        options << QStringLiteral("-F") << config;
    // No terminal is there to ask on: a prompt would only hang.
    options << QStringLiteral("-o") << QStringLiteral("BatchMode=yes");
    return options;
}

SshFailure sshFailure(const QString &message)
{
    // What another try cannot change without the user: the server's answer to the key,
    // the host's key, a key that needs its passphrase, ssh's own configuration.
    static const char *const forGood[] = {
        "Permission denied",
        "Too many authentication failures",
        "Authentication failed",
        "Host key verification failed",
        "REMOTE HOST IDENTIFICATION HAS CHANGED",
        "you have requested strict checking",
        "passphrase",
        "Unable to negotiate",
        "Bad configuration option",
        "Bad owner or permissions",
        "Can't open user config file",
    };
    // The host took the connection and let it go before any login: ssh's words for a
    // server that is full, or that has begun to turn this address away.
    static const char *const dropped[] = {
        "Connection closed by",
        "Connection reset by",
        "kex_exchange_identification",
        "Received disconnect from",
        "banner exchange",
    };
    const auto says = [&](const auto &list) {
        return std::any_of(std::begin(list), std::end(list), [&](const char *words) { return message.contains(QLatin1String(words), Qt::CaseInsensitive); });
    };
    if (says(forGood))
        return SshFailure::Permanent;
    return says(dropped) ? SshFailure::Dropped : SshFailure::Transient;
}

std::chrono::milliseconds sshBackoff(int failures)
{
    if (failures <= 0)
        return 0ms;
    return std::min<std::chrono::milliseconds>(std::chrono::milliseconds(1000LL << std::min(failures - 1, 5)), 30s);
}

std::optional<std::chrono::milliseconds> sshNextLogin(SshFailure kind, int failures, std::chrono::milliseconds sinceBegan,
                                                      std::chrono::milliseconds sinceEnded, bool asked)
{
    const auto atLeastZero = [](std::chrono::milliseconds wait) { return std::max(wait, std::chrono::milliseconds(0)); };
    const auto spaced = atLeastZero(sshRefusedSpacing - sinceBegan);
    const auto regular = atLeastZero(sshBackoff(failures) - sinceEnded);
    switch (kind) {
    case SshFailure::Permanent:
        return asked ? std::optional(spaced) : std::nullopt;
    case SshFailure::Dropped:
        return asked ? spaced : std::max(spaced, regular);
    case SshFailure::Transient:
        break;
    }
    // Asked, a host that did not answer is tried soon, though not again within 5 s of the last.
    return asked ? std::min(regular, atLeastZero(5s - sinceBegan)) : regular;
}

}

SshLink::SshLink(const QString &context, const QString &endpoint, QObject *parent)
    : QObject(parent), m_context(context), m_endpoint(endpoint), m_target(Docker::sshTarget(endpoint)),
      m_dir(baseDirectory() + QStringLiteral("/korvat-ssh-XXXXXX")),
      m_ssh(QStandardPaths::findExecutable(QStringLiteral("ssh")))
{
    m_retry.setSingleShot(true);
    QObject::connect(&m_retry, &QTimer::timeout, this, &SshLink::attempt);
    m_deadline.setSingleShot(true);
    QObject::connect(&m_deadline, &QTimer::timeout, this, [this] {
        if (!m_master || m_state == State::Up)
            return;
        m_timedOut = true;
        ChildProcess::kill(*m_master);
    });
    // Without an ssh client or a place for the socket, children connect as they would
    // without Korvat.
    if (!m_target || !m_dir.isValid() || m_ssh.isEmpty() || !writeShim())
        return;
    m_watcher = new QFileSystemWatcher({m_dir.path()}, this);
    QObject::connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &SshLink::lookForSocket);
    // Children started before the first login wait for it.
    m_state = State::Connecting;
    QFile(m_dir.filePath(QStringLiteral("connecting"))).open(QIODevice::WriteOnly);
    {
        QMutexLocker lock(&shimsMutex);
        shims.insert(m_context, m_dir.path());
    }
    attempt();
}

SshLink::~SshLink()
{
    {
        QMutexLocker lock(&shimsMutex);
        if (shims.value(m_context) == m_dir.path()) {
            shims.remove(m_context);
            forwards.remove(m_context);
        }
    }
    // Its questions over the connection end with it.
    for (QProcess *helper : findChildren<QProcess *>(Qt::FindDirectChildrenOnly)) {
        helper->disconnect(this);
        ChildProcess::kill(*helper);
    }
    if (m_master) {
        m_master->disconnect(this);
        ChildProcess::kill(*m_master);
        if (m_state != State::Up) {
            QMutexLocker lock(&shimsMutex);
            logins[targetKey()].active = false;
        }
    }
}

bool SshLink::writeShim()
{
    const QString d = m_dir.path();
    const QByteArray host = quoted(m_target->host).toUtf8();
    QStringList options;
    for (const QString &o : Docker::sshOptions())
        options << quoted(o);
    // Run by ssh in place of a network connection: a child whose multiplexed session found
    // the kept connection gone must not log in on its own.
    const QByteArray down = "#!/bin/sh\n"
                            "cat " + quoted(d + QStringLiteral("/failed")).toUtf8() + " >&2 2>/dev/null || echo \"ssh: Korvat's connection to \"" + host + "\" is down\" >&2\n"
                            "exit 1\n";
    // The stand-in reads ssh's own command line only as far as the destination: who, where
    // and on which port. A login there rides on the kept connection; one anywhere else, or
    // one that sets where it goes or how it connects by itself, is the real ssh's, untouched.
    const QByteArray shim =
        "#!/bin/sh\n"
        "real=" + quoted(m_ssh).toUtf8() + "\n"
        "d=" + quoted(d).toUtf8() + "\n"
        "user= host= port= next= dashes= ours=yes\n"
        "value() {\n"
        "  case $1 in\n"
        "    l) user=$2 ;;\n"
        "    p) port=$2 ;;\n"
        "    o) case $2 in\n"
        "         [Uu][Ss][Ee][Rr][=\\ ]*|[Pp][Oo][Rr][Tt][=\\ ]*|[Hh][Oo][Ss][Tt][Nn][Aa][Mm][Ee]*|[Pp][Rr][Oo][Xx][Yy]*|[Cc][Oo][Nn][Tt][Rr][Oo][Ll]*) ours= ;;\n"
        "       esac ;;\n"
        "    F|J|O|S|W|w) ours= ;;\n"
        "  esac\n"
        "}\n"
        "for a in \"$@\"; do\n"
        "  if [ -n \"$next\" ]; then value \"$next\" \"$a\"; next=; continue; fi\n"
        "  if [ -n \"$dashes\" ]; then [ -n \"$host\" ] && break; host=$a; continue; fi\n"
        "  case $a in\n"
        "    --) dashes=1 ;;\n"
        "    -?*) rest=${a#-}\n"
        "      while [ -n \"$rest\" ]; do\n"
        "        c=${rest%\"${rest#?}\"}; rest=${rest#?}\n"
        "        case $c in\n"
        "          [BbcDEeFIiJLlmOoPpQRSWw]) if [ -n \"$rest\" ]; then value \"$c\" \"$rest\"; rest=; else next=$c; fi ;;\n"
        "          M) ours= ;;\n"
        "        esac\n"
        "      done ;;\n"
        "    *) [ -n \"$host\" ] && break; host=$a ;;\n"
        "  esac\n"
        "done\n"
        "case $host in *@*) user=${host%@*}; host=${host##*@} ;; esac\n"
        "[ \"$host\" = " + host + " ] && [ \"$user\" = " + quoted(m_target->user).toUtf8() + " ] && [ \"${port:-0}\" = "
        + QByteArray::number(m_target->port) + " ] || ours=\n"
        "[ -n \"$ours\" ] || exec \"$real\" \"$@\"\n"
        "i=0\n"
        "while :; do\n"
        "  if [ -S \"$d/c\" ]; then\n"
        "    exec \"$real\" -o ControlMaster=no -o \"ControlPath=$d/c\" -o \"ProxyCommand='$d/down'\" " + options.join(u' ').toUtf8() + " \"$@\"\n"
        "  fi\n"
        "  if [ -e \"$d/failed\" ]; then cat \"$d/failed\" >&2; exit 255; fi\n"
        "  if [ ! -e \"$d/connecting\" ] || [ $i -ge " + QByteArray::number(childWaitSteps) + " ]; then\n"
        "    echo \"ssh: Korvat's connection to \"" + host + "\" is not up\" >&2; exit 255\n"
        "  fi\n"
        "  sleep 0.2; i=$((i+1))\n"
        "done\n";
    const auto executable = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    QFile guard(m_dir.filePath(QStringLiteral("down")));
    if (!guard.open(QIODevice::WriteOnly) || guard.write(down) != down.size())
        return false;
    guard.close();
    guard.setPermissions(executable);
    QFile stand(m_dir.filePath(QStringLiteral("ssh")));
    if (!stand.open(QIODevice::WriteOnly) || stand.write(shim) != shim.size())
        return false;
    stand.close();
    return stand.setPermissions(executable);
}

QString SshLink::shimFor(const QString &context)
{
    QMutexLocker lock(&shimsMutex);
    return shims.value(context);
}

QString SshLink::forwardFor(const QString &context)
{
    QMutexLocker lock(&shimsMutex);
    return forwards.value(context);
}

void SshLink::setForward(const QString &host)
{
    QMutexLocker lock(&shimsMutex);
    if (host.isEmpty())
        forwards.remove(m_context);
    else
        forwards.insert(m_context, host);
}

QString SshLink::targetKey() const
{
    return m_target ? m_target->user + u'@' + m_target->host + u':' + QString::number(m_target->port) : QString();
}

QStringList SshLink::sshCommand(const QStringList &args) const
{
    // Over the kept connection only: with it gone, the guard fails the child rather than
    // let it log in.
    QStringList all{QStringLiteral("-S"), m_dir.filePath(QStringLiteral("c")), QStringLiteral("-o"), QStringLiteral("ControlMaster=no"),
                    QStringLiteral("-o"), QStringLiteral("ProxyCommand=") + quoted(m_dir.filePath(QStringLiteral("down")))};
    all += Docker::sshOptions();
    if (!m_target->user.isEmpty())
        all << QStringLiteral("-l") << m_target->user;
    if (m_target->port > 0)
        all << QStringLiteral("-p") << QString::number(m_target->port);
    return all + args;
}

QProcess *SshLink::sshChild(const QStringList &args, std::chrono::milliseconds deadline)
{
    auto *child = new QProcess(this);
    child->setProgram(m_ssh);
    child->setArguments(sshCommand(args));
    child->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::prepare(*child);
    auto *timer = new QTimer(child);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, child, [child] { ChildProcess::kill(*child); });
    QObject::connect(child, &QProcess::started, timer, [timer, deadline] { timer->start(deadline); });
    QObject::connect(child, &QProcess::errorOccurred, child, [child](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            child->deleteLater();
    });
    return child;
}

void SshLink::forward()
{
    if (m_asking)
        return;
    // The host's own client says where its engine is: its DOCKER_HOST, else its context.
    QProcess *ask = sshChild({QStringLiteral("--"), m_target->host, QStringLiteral("docker"), QStringLiteral("context"), QStringLiteral("inspect"),
                              QStringLiteral("--format"), QStringLiteral("'{{.Endpoints.docker.Host}}'")},
                             askDeadline);
    m_asking = ask;
    QObject::connect(ask, &QProcess::finished, this, [this, ask](int status, QProcess::ExitStatus how) {
        ask->deleteLater();
        const QString host = QString::fromUtf8(ask->readAllStandardOutput()).trimmed();
        if (how != QProcess::NormalExit || status != 0 || !host.startsWith(QLatin1String("unix:///")) || !connected())
            return;
        const QString local = m_dir.filePath(QStringLiteral("d.sock"));
        QFile::remove(local);
        QProcess *add = sshChild({QStringLiteral("-O"), QStringLiteral("forward"), QStringLiteral("-L"), local + u':' + host.mid(7), QStringLiteral("--"), m_target->host},
                                 askDeadline);
        QObject::connect(add, &QProcess::finished, this, [this, add, local](int added, QProcess::ExitStatus addHow) {
            add->deleteLater();
            if (addHow == QProcess::NormalExit && added == 0 && connected() && QFileInfo::exists(local))
                setForward(QStringLiteral("unix://") + local);
        });
        add->start();
    });
    ask->start();
}

void SshLink::setTimeScale(double scale)
{
    Q_ASSERT(scale > 0 && std::isfinite(scale));
    timeScale = scale;
}

void SshLink::schedule(std::optional<std::chrono::milliseconds> wait)
{
    if (!wait)
        m_retry.stop();
    else
        m_retry.start(*wait);
}

void SshLink::retry()
{
    if (m_master || !m_target || m_ssh.isEmpty() || !m_watcher)
        return;
    if (!m_inUse) {
        m_asked = true;
        return;
    }
    m_asked = false;
    m_userAsked = true;
    schedule(realTime(Docker::sshNextLogin(m_kind, m_failures, ruleTime(since(m_began)), ruleTime(since(m_ended)), true)));
}

void SshLink::setInUse(bool inUse)
{
    if (m_inUse == inUse)
        return;
    m_inUse = inUse;
    if (!inUse) {
        m_retry.stop();
        if (m_master)
            ChildProcess::kill(*m_master);
    } else if (m_asked) {
        retry();
    }
}

void SshLink::attempt()
{
    if (m_master || !m_inUse || !m_watcher)
        return;
    {
        // One login at a time to a host, whichever link makes it; none sooner than 30 s
        // after one it refused or dropped.
        QMutexLocker lock(&shimsMutex);
        Login &last = logins[targetKey()];
        if (last.active) {
            // Looked at again in a real second at any scale: the other login ends by itself.
            m_retry.start(1s);
            return;
        }
        // A refusal for good, told to a link made since, holds for it too: only the user
        // asking again tries once more.
        const bool refusedForGood = last.failed == SshFailure::Permanent && !m_userAsked;
        const auto sinceLast = ruleTime(since(last.began));
        if (refusedForGood || (last.failed && last.failed != SshFailure::Transient && sinceLast < Docker::sshRefusedSpacing)) {
            const QString message = last.message;
            const SshFailure kind = *last.failed;
            const auto wait = *realTime(Docker::sshRefusedSpacing - sinceLast);
            lock.unlock();
            if (m_state == State::Connecting || refusedForGood) {
                m_kind = kind;
                m_state = kind == SshFailure::Permanent ? State::Failed : State::Waiting;
                setFailed(message);
            }
            if (!refusedForGood)
                m_retry.start(wait);
            return;
        }
        m_userAsked = false;
        last.active = true;
        last.began = Clock::now();
    }
    m_began = Clock::now();
    m_state = State::Connecting;
    m_said.clear();
    m_timedOut = false;
    // The mark first, then the old failure gone: a child never sees neither and gives up.
    QFile(m_dir.filePath(QStringLiteral("connecting"))).open(QIODevice::WriteOnly);
    QFile::remove(m_dir.filePath(QStringLiteral("failed")));

    m_master = std::make_unique<QProcess>();
    m_master->setProgram(m_ssh);
    QStringList args{QStringLiteral("-M"), QStringLiteral("-N"), QStringLiteral("-S"), m_dir.filePath(QStringLiteral("c")),
                     QStringLiteral("-o"), QStringLiteral("ControlPersist=no"),
                     // Three unanswered keep-alives five seconds apart end it: a host gone is
                     // known within about twenty seconds even when nothing is asked of it.
                     QStringLiteral("-o"), QStringLiteral("ServerAliveInterval=%1").arg(std::max(1, qRound(5 * timeScale))),
                     QStringLiteral("-o"), QStringLiteral("ServerAliveCountMax=3"),
                     QStringLiteral("-o"), QStringLiteral("ConnectTimeout=15")};
    args += Docker::sshOptions();
    if (!m_target->user.isEmpty())
        args << QStringLiteral("-l") << m_target->user;
    if (m_target->port > 0)
        args << QStringLiteral("-p") << QString::number(m_target->port);
    args << QStringLiteral("--") << m_target->host;
    m_master->setArguments(args);
    m_master->setStandardInputFile(QProcess::nullDevice());
    m_master->setStandardOutputFile(QProcess::nullDevice());
    ChildProcess::prepare(*m_master);
    // What it says is why it failed, for the children to say in its place.
    QProcess *master = m_master.get();
    QObject::connect(master, &QProcess::readyReadStandardError, this, [this, master] {
        if (master != m_master.get())
            return;
        m_said += master->readAllStandardError();
        if (m_said.size() > 4096)
            m_said = m_said.right(4096);
    });
    QObject::connect(m_master.get(), &QProcess::finished, this, &SshLink::ended);
    QObject::connect(m_master.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            ended();
    });
    m_deadline.start(loginDeadline);
    m_master->start();
}

void SshLink::setFailed(const QString &message)
{
    m_message = message;
    writeAtomically(m_dir.filePath(QStringLiteral("failed")), message.toUtf8() + '\n');
    QFile::remove(m_dir.filePath(QStringLiteral("connecting")));
}

void SshLink::ended()
{
    if (!m_master)
        return;
    m_deadline.stop();
    m_said += m_master->readAllStandardError();
    const bool wasUp = m_state == State::Up;
    m_master.release()->deleteLater();
    // A killed master leaves its socket behind.
    QFile::remove(m_dir.filePath(QStringLiteral("c")));
    setForward({});
    m_ended = Clock::now();

    QString said;
    for (const QString &line : QString::fromUtf8(m_said).split(u'\n')) {
        // What ssh tells on any login, not why this one failed.
        if (!line.trimmed().isEmpty() && !line.startsWith(QLatin1String("Warning: Permanently added")))
            said += line.trimmed() + u'\n';
    }
    said = said.trimmed();
    if (m_timedOut)
        said = QStringLiteral("ssh: %1 did not answer within %2 s").arg(m_target->host).arg(loginDeadline.count());
    else if (said.isEmpty())
        said = QStringLiteral("ssh: the connection to %1 ended").arg(m_target->host);
    m_kind = wasUp ? SshFailure::Transient : Docker::sshFailure(said);
    m_failures = wasUp ? 1 : m_failures + 1;
    if (!wasUp) {
        QMutexLocker lock(&shimsMutex);
        Login &last = logins[targetKey()];
        last.active = false;
        last.failed = m_kind;
        last.message = said;
    }
    m_state = m_kind == SshFailure::Permanent ? State::Failed : State::Waiting;
    setFailed(said);
    if (m_inUse)
        schedule(realTime(Docker::sshNextLogin(m_kind, m_failures, ruleTime(since(m_began)), 0ms, false)));
}

void SshLink::lookForSocket()
{
    if (!m_master || m_state == State::Up || !QFileInfo::exists(m_dir.filePath(QStringLiteral("c"))))
        return;
    m_state = State::Up;
    m_deadline.stop();
    m_failures = 0;
    m_message.clear();
    m_said.clear();
    {
        QMutexLocker lock(&shimsMutex);
        Login &last = logins[targetKey()];
        last.active = false;
        last.failed.reset();
    }
    QFile::remove(m_dir.filePath(QStringLiteral("connecting")));
    QFile::remove(m_dir.filePath(QStringLiteral("failed")));
    forward();
}
