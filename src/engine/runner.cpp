#include "docker.h"

#include <QJsonDocument>
#include <QProcess>
#include <QStringDecoder>

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

std::unique_ptr<QProcess> process(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = std::make_unique<QProcess>();
    child->setProgram(launch().launcher);
    child->setArguments(commandLine(args, runtime));
    auto env = QProcessEnvironment::systemEnvironment();
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

namespace {
// Starts the child with stdin on the null device and waits for it to exit. Both pipes are
// drained while waiting, so a chatty stderr cannot block the child. False: it never started.
bool runToEnd(QProcess &child)
{
    child.setStandardInputFile(QProcess::nullDevice());
    child.start();
    if (!child.waitForStarted(-1))
        return false;
    child.waitForFinished(-1);
    return true;
}
}

QString run(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = process(args, runtime, dir);
    if (!runToEnd(*child))
        throw DockerError(child->errorString());
    const QByteArray out = child->readAllStandardOutput();
    const QByteArray err = child->readAllStandardError();
    const int status = child->exitCode();
    if (status == 0)
        return utf8(out);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString message = decoder.decode(err);
    if (decoder.hasError())
        message = QStringLiteral("docker exited %1").arg(status);
    throw DockerError(message.trimmed());
}

Captured capture(const QStringList &args, const OptRuntime &runtime, const Dir &dir)
{
    auto child = process(args, runtime, dir);
    if (!runToEnd(*child))
        return {-1, {}, child->errorString()};
    return {child->exitCode(), utf8(child->readAllStandardOutput()), utf8(child->readAllStandardError())};
}

QList<QJsonObject> ndjson(const QString &text)
{
    QList<QJsonObject> objects;
    for (const auto line : QStringView(text).split(u'\n', Qt::SkipEmptyParts)) {
        const auto doc = QJsonDocument::fromJson(line.toUtf8());
        if (doc.isObject())
            objects.append(doc.object());
    }
    return objects;
}

namespace {
QString field(const QJsonObject &object, const char *key)
{
    const auto value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : QString();
}
}

QList<Container> parseContainers(const QString &text)
{
    QList<Container> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Names"), field(o, "Image"), field(o, "State"),
                     field(o, "Status"), field(o, "Ports"), parseLabels(field(o, "Labels"))});
    return list;
}

QList<DockerImage> parseImages(const QString &text)
{
    QList<DockerImage> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "ID"), field(o, "Repository"), field(o, "Tag"), field(o, "Size")});
    return list;
}

QList<DockerVolume> parseVolumes(const QString &text)
{
    QList<DockerVolume> list;
    for (const auto &o : ndjson(text))
        list.append({field(o, "Name"), field(o, "Driver"), field(o, "Mountpoint")});
    return list;
}

QList<Container> containers(const OptRuntime &runtime)
{
    return parseContainers(run({"ps", "-a", "--format", "json"}, runtime));
}

QList<DockerImage> images(const OptRuntime &runtime)
{
    return parseImages(run({"images", "--format", "json"}, runtime));
}

QList<DockerVolume> volumes(const OptRuntime &runtime)
{
    return parseVolumes(run({"volume", "ls", "--format", "json"}, runtime));
}

} // namespace Docker
