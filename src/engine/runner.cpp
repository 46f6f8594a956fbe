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

namespace {
// Standard output as bytes on success; throws as run() does.
QByteArray runBytes(const QStringList &args, const OptRuntime &runtime, const Dir &dir = std::nullopt)
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

// Most polls print exactly what the last one printed; the bytes tell before any decoding,
// and the list parsed last time is handed out again, sharing its data.
template<typename T>
class LastListing {
public:
    QList<T> parse(const QByteArray &bytes, QList<T> (*parser)(const QString &))
    {
        {
            QMutexLocker lock(&m_mutex);
            if (m_valid && bytes == m_bytes)
                return m_list;
        }
        const QList<T> list = parser(utf8(bytes));
        QMutexLocker lock(&m_mutex);
        m_bytes = bytes;
        m_list = list;
        m_valid = true;
        return list;
    }

private:
    QMutex m_mutex;
    QByteArray m_bytes;
    QList<T> m_list;
    bool m_valid = false;
};
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
    static LastListing<Container> last;
    return last.parse(runBytes({"ps", "-a", "--format", "json"}, runtime), &parseContainers);
}

QList<DockerImage> images(const OptRuntime &runtime)
{
    static LastListing<DockerImage> last;
    return last.parse(runBytes({"images", "--format", "json"}, runtime), &parseImages);
}

QList<DockerVolume> volumes(const OptRuntime &runtime)
{
    static LastListing<DockerVolume> last;
    return last.parse(runBytes({"volume", "ls", "--format", "json"}, runtime), &parseVolumes);
}

} // namespace Docker
