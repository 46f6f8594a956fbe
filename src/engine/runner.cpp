#include "dockercli.h"
#include "sshlink.h"

#include "childprocess.h"
#include "docker.h"

#include <QJsonDocument>
#include <QMutex>
#include <QProcess>
#include <QDeadlineTimer>
#include <QStringDecoder>

#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

namespace Docker {

namespace {
Launch &launchConfig()
{
    static Launch config;
    return config;
}
}

const Launch &launch() { return launchConfig(); }
void setLaunch(const Launch &launch) { launchConfig() = launch; }

Runtime appleRuntime() { return Runtime::socket(appleRuntimeName, launch().appleSocketPath); }

Runtime runtimeNamed(const QString &value)
{
    return value == appleRuntimeName ? appleRuntime() : Runtime::context(value);
}

QStringList commandLine(const QStringList &args, const OptRuntime &runtime)
{
    QStringList line{QStringLiteral("docker")};
    if (runtime && !runtime->isSocket())
        line << QStringLiteral("--context") << runtime->name;
    return line + args;
}

namespace {
// Parsing the whole environment into a QProcessEnvironment costs more than a poll's own
// work; it is redone only when the raw environment changed since the last child.
QProcessEnvironment currentEnvironment()
{
    static QMutex mutex;
    static QByteArray raw;
    static QProcessEnvironment parsed;
    QByteArray now;
    for (char **entry = environ; entry && *entry; ++entry)
        now.append(*entry).append('\0');
    QMutexLocker lock(&mutex);
    if (now != raw || parsed.isEmpty()) {
        raw = now;
        parsed = QProcessEnvironment::systemEnvironment();
    }
    return parsed;
}
}

std::unique_ptr<QProcess> process(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = std::make_unique<QProcess>();
    child->setProgram(launch().launcher);
    // Read once: the arguments and the environment must agree on where the child goes.
    const QString forward = runtime && !runtime->isSocket() ? SshLink::forwardFor(runtime->name) : QString();
    child->setArguments(forward.isEmpty() ? commandLine(args, runtime) : QStringList{QStringLiteral("docker")} + args);
    auto env = currentEnvironment();
    env.insert(QStringLiteral("PATH"), launch().pathPrefix + env.value(QStringLiteral("PATH")));
    if (runtime && runtime->isSocket())
        env.insert(QStringLiteral("DOCKER_HOST"), QStringLiteral("unix://") + runtime->path);
    // A remote context's connections ride on the one kept for it: through its forwarded
    // socket once there is one, else through its ssh stand-in, which waits for the kept
    // connection or fails with what it said, and never logs in by itself.
    if (runtime && !runtime->isSocket()) {
        if (!forward.isEmpty())
            env.insert(QStringLiteral("DOCKER_HOST"), forward);
        else if (const QString shim = SshLink::shimFor(runtime->name); !shim.isEmpty())
            env.insert(QStringLiteral("PATH"), shim + u':' + env.value(QStringLiteral("PATH")));
    }
    child->setProcessEnvironment(env);
    if (dir)
        child->setWorkingDirectory(*dir);
    ChildProcess::prepare(*child);
    return child;
}

Wait Wait::query() { return {launch().queryDeadline, nullptr}; }

QString timeoutMessage(const QStringList &args, std::chrono::milliseconds deadline)
{
    // The command's name: "docker ps", or with its object, "docker volume ls".
    static const QStringList objects{"compose", "container", "context", "image", "network", "system", "volume"};
    QStringList name{QStringLiteral("docker")};
    for (const QString &arg : args) {
        if (arg.startsWith(u'-') || name.size() == 3 || (name.size() == 2 && !objects.contains(name[1])))
            break;
        name << arg;
    }
    const QString seconds = deadline.count() % 1000 == 0 ? QString::number(deadline.count() / 1000)
                                                         : QString::number(double(deadline.count()) / 1000.0, 'g', 3);
    return QStringLiteral("%1 did not answer within %2 s").arg(name.join(u' '), seconds);
}

QString utf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

Ended runToEnd(QProcess &child, const Wait &wait, const QString &input)
{
    child.setStandardInputFile(input.isEmpty() ? QProcess::nullDevice() : input);
    return ChildProcess::runToEnd(child, wait.deadline, wait.cancelled, wait.tick);
}

namespace {
QString whyNoStatus(Ended ended, const QProcess &child, const QStringList &args, const Wait &wait)
{
    switch (ended) {
    case Ended::TimedOut: return timeoutMessage(args, *wait.deadline);
    case Ended::Cancelled: return QStringLiteral("cancelled");
    case Ended::NotStarted:
    case Ended::Exited: break;
    }
    return child.errorString();
}
}

namespace {
QByteArray finish(QProcess &child, Ended ended, const QStringList &args, const Wait &wait)
{
    if (ended != Ended::Exited)
        throw DockerError(whyNoStatus(ended, child, args, wait));
    const QByteArray out = child.readAllStandardOutput();
    const QByteArray err = child.readAllStandardError();
    const int status = child.exitCode();
    if (status == 0)
        return out;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString message = decoder.decode(err);
    if (decoder.hasError())
        message = QStringLiteral("docker exited %1").arg(status);
    throw DockerError(withSshHint(message.trimmed()));
}
}

QByteArray runBytes(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Wait &wait)
{
    auto child = process(args, runtime, dir);
    const Ended ended = runToEnd(*child, wait);
    return finish(*child, ended, args, wait);
}

namespace {
// How far the child has read its standard input: the kernel keeps the file's offset.
qint64 inputOffset(const QProcess &child)
{
    QFile info(QStringLiteral("/proc/%1/fdinfo/0").arg(child.processId()));
    if (!info.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = info.readAll();
    const qsizetype at = text.indexOf("pos:");
    return at < 0 ? 0 : text.mid(at + 4, text.indexOf('\n', at) - at - 4).trimmed().toLongLong();
}
}

void transfer(const QStringList &args, const OptRuntime &runtime, const QString &input, const QString &output,
              const Watch &watch, qint64 total)
{
    auto child = process(args, runtime);
    if (!output.isEmpty())
        child->setStandardOutputFile(output, QIODevice::Truncate);
    Wait wait{std::nullopt, watch.cancel, {}};
    const auto moved = [&] {
        return output.isEmpty() ? inputOffset(*child) : QFileInfo(output).size();
    };
    if (watch.moved)
        wait.tick = [&] { watch.moved({moved(), total}); };
    const Ended ended = runToEnd(*child, wait, input);
    finish(*child, ended, args, wait);
    if (watch.moved)
        watch.moved({output.isEmpty() ? QFileInfo(input).size() : QFileInfo(output).size(), total});
}

void follow(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Watch &watch, bool terminal,
            const std::function<bool(QStringView)> &isProgress)
{
    auto child = process(args, runtime, dir);
    child->setStandardInputFile(QProcess::nullDevice());
    int master = -1;
    int slave = -1;
    if (terminal) {
        // Wide enough that no progress line wraps.
        winsize size{50, 200, 0, 0};
        if (::openpty(&master, &slave, nullptr, nullptr, &size) != 0)
            throw DockerError(QStringLiteral("Could not open a terminal for docker: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
        ::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
        ::fcntl(master, F_SETFD, FD_CLOEXEC);
        child->setStandardOutputFile(QProcess::nullDevice());
        ChildProcess::prepare(*child, SIGTERM, slave);
    }
    const auto closeMaster = qScopeGuard([&] {
        if (master >= 0)
            ::close(master);
        if (slave >= 0)
            ::close(slave);
    });
    DrawnLines out, err;
    QStringList message;
    const auto hand = [&](const QStringList &lines, bool fromError) {
        for (const QString &line : lines) {
            if (watch.line)
                watch.line(line);
            if (fromError && !isProgress(line))
                message << line.trimmed();
        }
    };
    const auto readMaster = [&] {
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::read(master, buffer, sizeof buffer);
            if (n <= 0)
                return;
            hand(out.feed(QByteArrayView(buffer, n)), false);
        }
    };
    child->start();
    // A launch either succeeds or fails at once; a minute is only a bound.
    if (!child->waitForStarted(60000))
        throw DockerError(child->errorString());
    if (slave >= 0) {
        ::close(slave);
        slave = -1;
    }
    while (child->state() != QProcess::NotRunning) {
        if (terminal) {
            pollfd ready{master, POLLIN, 0};
            ::poll(&ready, 1, 40);
            readMaster();
            child->waitForFinished(0);
        } else {
            child->waitForFinished(40);
            hand(out.feed(child->readAllStandardOutput()), false);
        }
        hand(err.feed(child->readAllStandardError()), true);
        if (watch.cancel && *watch.cancel) {
            ChildProcess::kill(*child);
            throw DockerError(QStringLiteral("cancelled"));
        }
    }
    if (terminal)
        readMaster();
    else
        hand(out.feed(child->readAllStandardOutput()), false);
    hand(out.finish(), false);
    hand(err.feed(child->readAllStandardError()), true);
    hand(err.finish(), true);
    if (child->exitCode() != 0) {
        message.removeAll(QString());
        throw DockerError(message.isEmpty() ? QStringLiteral("docker exited %1").arg(child->exitCode()) : withSshHint(message.join(u'\n')));
    }
}

QString run(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Wait &wait)
{
    return utf8(runBytes(args, runtime, dir, wait));
}

Captured capture(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Wait &wait)
{
    auto child = process(args, runtime, dir);
    if (const Ended ended = runToEnd(*child, wait); ended != Ended::Exited)
        return {-1, {}, whyNoStatus(ended, *child, args, wait)};
    return {child->exitCode(), utf8(child->readAllStandardOutput()), utf8(child->readAllStandardError())};
}

} // namespace Docker
