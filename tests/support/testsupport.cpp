#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>

namespace TestSupport {

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

} // namespace TestSupport
