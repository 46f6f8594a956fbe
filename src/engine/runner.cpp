#include "dockercli.h"

#include "childprocess.h"
#include "docker.h"

#include <QJsonDocument>
#include <QMutex>
#include <QProcess>
#include <QDeadlineTimer>
#include <QStringDecoder>

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
    child->setArguments(commandLine(args, runtime));
    auto env = currentEnvironment();
    env.insert(QStringLiteral("PATH"), launch().pathPrefix + env.value(QStringLiteral("PATH")));
    if (runtime && runtime->isSocket())
        env.insert(QStringLiteral("DOCKER_HOST"), QStringLiteral("unix://") + runtime->path);
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
    child.start();
    if (!child.waitForStarted(-1))
        return Ended::NotStarted;
    QDeadlineTimer deadline = wait.deadline ? QDeadlineTimer(*wait.deadline) : QDeadlineTimer(QDeadlineTimer::Forever);
    // A cancellable wait looks at its flag a few times a second; others sleep to the deadline.
    while (child.state() != QProcess::NotRunning) {
        qint64 slice = wait.cancelled ? 100 : -1;
        if (!deadline.isForever()) {
            const qint64 left = std::max<qint64>(deadline.remainingTime(), 1);
            slice = slice < 0 ? left : std::min(slice, left);
        }
        if (child.waitForFinished(int(slice)))
            break;
        if (wait.cancelled && *wait.cancelled) {
            ChildProcess::kill(child);
            return Ended::Cancelled;
        }
        if (deadline.hasExpired()) {
            ChildProcess::kill(child);
            return Ended::TimedOut;
        }
    }
    return Ended::Exited;
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
    throw DockerError(message.trimmed());
}
}

QByteArray runBytes(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Wait &wait)
{
    auto child = process(args, runtime, dir);
    const Ended ended = runToEnd(*child, wait);
    return finish(*child, ended, args, wait);
}

void transfer(const QStringList &args, const OptRuntime &runtime, const QString &input, const QString &output)
{
    auto child = process(args, runtime);
    if (!output.isEmpty())
        child->setStandardOutputFile(output, QIODevice::Truncate);
    const Ended ended = runToEnd(*child, Wait::untilDone(), input);
    finish(*child, ended, args, Wait::untilDone());
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
