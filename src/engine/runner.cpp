#include "dockercli.h"

#include "docker.h"

#include <QJsonDocument>
#include <QMutex>
#include <QProcess>
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
    return child;
}

QString utf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

bool runToEnd(QProcess &child)
{
    child.setStandardInputFile(QProcess::nullDevice());
    child.start();
    if (!child.waitForStarted(-1))
        return false;
    child.waitForFinished(-1);
    return true;
}

QByteArray runBytes(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = process(args, runtime, dir);
    if (!runToEnd(*child))
        throw DockerError(child->errorString());
    const QByteArray out = child->readAllStandardOutput();
    const QByteArray err = child->readAllStandardError();
    const int status = child->exitCode();
    if (status == 0)
        return out;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString message = decoder.decode(err);
    if (decoder.hasError())
        message = QStringLiteral("docker exited %1").arg(status);
    throw DockerError(message.trimmed());
}

QString run(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    return utf8(runBytes(args, runtime, dir));
}

Captured capture(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = process(args, runtime, dir);
    if (!runToEnd(*child))
        return {-1, {}, child->errorString()};
    return {child->exitCode(), utf8(child->readAllStandardOutput()), utf8(child->readAllStandardError())};
}

} // namespace Docker
