#include "sshlink.h"

#include "childprocess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMap>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace {
QMutex shimsMutex;
QMap<QString, QString> shims;
QMap<QString, QString> forwards;

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
    if (!message.contains(QLatin1String("Permission denied (publickey")))
        return message;
    return message + QStringLiteral("\nssh needs a passphrase for the key, or has no key this host accepts — add the key to your ssh agent (ssh-add).");
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

}

SshLink::SshLink(const QString &context, const QString &endpoint, QObject *parent)
    : QObject(parent), m_context(context), m_endpoint(endpoint), m_target(Docker::sshTarget(endpoint)),
      m_dir(baseDirectory() + QStringLiteral("/korvat-ssh-XXXXXX")),
      m_ssh(QStandardPaths::findExecutable(QStringLiteral("ssh")))
{
    m_retry.setSingleShot(true);
    QObject::connect(&m_retry, &QTimer::timeout, this, &SshLink::connect);
    // Without an ssh client or a place for the socket, children connect as they would
    // without Korvat.
    if (!m_target || !m_dir.isValid() || m_ssh.isEmpty())
        return;
    // Every connection of a child rides on the kept one; with the kept one down, ssh makes
    // its own, as it would without Korvat.
    QFile shim(m_dir.filePath(QStringLiteral("ssh")));
    if (!shim.open(QIODevice::WriteOnly))
        return;
    QStringList words{m_ssh, QStringLiteral("-o"), QStringLiteral("ControlMaster=no"), QStringLiteral("-o"),
                      QStringLiteral("ControlPath=") + m_dir.filePath(QStringLiteral("c"))};
    words += Docker::sshOptions();
    QStringList line;
    for (const QString &w : std::as_const(words))
        line << quoted(w);
    // While the kept connection is being made, a child waits for it (up to ten seconds)
    // rather than open one of its own.
    const QByteArray dir = quoted(m_dir.path()).toUtf8();
    shim.write("#!/bin/sh\n"
               "i=0\n"
               "while [ -e " + dir + "/connecting ] && [ ! -S " + dir + "/c ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done\n"
               "exec " + line.join(u' ').toUtf8() + " \"$@\"\n");
    shim.close();
    shim.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    m_watcher = new QFileSystemWatcher({m_dir.path()}, this);
    QObject::connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &SshLink::lookForSocket);
    {
        QMutexLocker lock(&shimsMutex);
        shims.insert(m_context, m_dir.path());
    }
    connect();
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
    if (m_master) {
        m_master->disconnect(this);
        ChildProcess::kill(*m_master);
    }
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

QStringList SshLink::sshCommand(const QStringList &args) const
{
    QStringList all{QStringLiteral("-S"), m_dir.filePath(QStringLiteral("c"))};
    all += Docker::sshOptions();
    if (!m_target->user.isEmpty())
        all << QStringLiteral("-l") << m_target->user;
    if (m_target->port > 0)
        all << QStringLiteral("-p") << QString::number(m_target->port);
    return all + args;
}

void SshLink::forward()
{
    if (m_asking)
        return;
    // The host's own client says where its engine is: its DOCKER_HOST, else its context.
    auto *ask = new QProcess(this);
    m_asking = ask;
    ask->setProgram(m_ssh);
    ask->setArguments(sshCommand({QStringLiteral("--"), m_target->host, QStringLiteral("docker"), QStringLiteral("context"), QStringLiteral("inspect"),
                                  QStringLiteral("--format"), QStringLiteral("'{{.Endpoints.docker.Host}}'")}));
    ask->setStandardInputFile(QProcess::nullDevice());
    ChildProcess::prepare(*ask);
    QObject::connect(ask, &QProcess::finished, this, [this, ask](int status) {
        ask->deleteLater();
        const QString host = QString::fromUtf8(ask->readAllStandardOutput()).trimmed();
        if (status != 0 || !host.startsWith(QLatin1String("unix:///")) || !m_connected)
            return;
        const QString local = m_dir.filePath(QStringLiteral("d.sock"));
        QFile::remove(local);
        auto *add = new QProcess(this);
        add->setProgram(m_ssh);
        add->setArguments(sshCommand({QStringLiteral("-O"), QStringLiteral("forward"), QStringLiteral("-L"), local + u':' + host.mid(7), QStringLiteral("--"), m_target->host}));
        add->setStandardInputFile(QProcess::nullDevice());
        ChildProcess::prepare(*add);
        QObject::connect(add, &QProcess::finished, this, [this, add, local](int added) {
            add->deleteLater();
            if (added == 0 && m_connected && QFileInfo::exists(local))
                setForward(QStringLiteral("unix://") + local);
        });
        add->start();
    });
    ask->start();
}

void SshLink::connect()
{
    m_master = std::make_unique<QProcess>();
    m_master->setProgram(m_ssh);
    QStringList args{QStringLiteral("-M"), QStringLiteral("-N"), QStringLiteral("-S"), m_dir.filePath(QStringLiteral("c")),
                     QStringLiteral("-o"), QStringLiteral("ControlPersist=no"),
                     // Three unanswered keep-alives five seconds apart end it: a host gone is
                     // known within about twenty seconds even when nothing is asked of it.
                     QStringLiteral("-o"), QStringLiteral("ServerAliveInterval=5"), QStringLiteral("-o"), QStringLiteral("ServerAliveCountMax=3"),
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
    // What it says on failure is said again by the children's own clients, with the hint.
    m_master->setStandardErrorFile(QProcess::nullDevice());
    ChildProcess::prepare(*m_master);
    QFile(m_dir.filePath(QStringLiteral("connecting"))).open(QIODevice::WriteOnly);
    QObject::connect(m_master.get(), &QProcess::finished, this, &SshLink::ended);
    QObject::connect(m_master.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            ended();
    });
    m_master->start();
}

void SshLink::ended()
{
    if (!m_master)
        return;
    QFile::remove(m_dir.filePath(QStringLiteral("connecting")));
    setForward({});
    m_master.release()->deleteLater();
    m_connected = false;
    m_retry.start(m_backoff);
    m_backoff = std::min<std::chrono::milliseconds>(m_backoff * 2, std::chrono::seconds(30));
}

void SshLink::lookForSocket()
{
    const bool up = m_master && QFileInfo::exists(m_dir.filePath(QStringLiteral("c")));
    if (up == m_connected)
        return;
    m_connected = up;
    if (up) {
        QFile::remove(m_dir.filePath(QStringLiteral("connecting")));
        m_backoff = std::chrono::milliseconds(1000);
        forward();
    } else {
        setForward({});
    }
}
