#include "execconsole.h"

#include "docker.h"

#include <QCoroFuture>
#include <QCoroTask>
#include <QPointer>
#include <QProcess>
#include <QtConcurrent>

ExecConsole::ExecConsole(const Container &container, const std::optional<Runtime> &runtime, QObject *parent)
    : QObject(parent), m_container(container), m_runtime(runtime)
{
}

void ExecConsole::setCommand(const QString &command)
{
    if (m_command == command)
        return;
    m_command = command;
    emit commandChanged();
}

QString ExecConsole::execute(const QString &containerId, const std::optional<Runtime> &runtime, const QString &command)
{
    auto child = Docker::process({"exec", containerId, "sh", "-c", command}, runtime);
    child->setProcessChannelMode(QProcess::MergedChannels);
    child->setStandardInputFile(QProcess::nullDevice());
    child->start();
    if (!child->waitForStarted(-1))
        return QStringLiteral("cannot run docker: ") + child->errorString() + u'\n';
    child->waitForFinished(-1);
    QString result = Docker::utf8(child->readAll());
    if (!result.isEmpty() && !result.endsWith(u'\n'))
        result += u'\n';
    if (child->exitCode() != 0)
        result += QStringLiteral("[exit %1]\n").arg(child->exitCode());
    return result;
}

void ExecConsole::preview(const QString &transcript)
{
    m_output = transcript;
    emit outputChanged();
}

void ExecConsole::run()
{
    const QString command = Docker::trimBlanks(m_command).toString();
    if (command.isEmpty() || m_running)
        return;
    m_output += QStringLiteral("$ ") + command + u'\n';
    emit outputChanged();
    setCommand(QString());
    setRunning(true);

    // A detached coroutine: the console may close before the command ends, and then the
    // result is dropped.
    [](QPointer<ExecConsole> self, QString id, std::optional<Runtime> runtime, QString command) -> QCoro::Task<> {
        auto future = QtConcurrent::run(&ExecConsole::execute, id, runtime, command);
        const QString result = co_await future;
        if (!self)
            co_return;
        self->m_output += result;
        emit self->outputChanged();
        self->setRunning(false);
    }(this, m_container.id, m_runtime, command);
}

void ExecConsole::setRunning(bool running)
{
    if (m_running == running)
        return;
    m_running = running;
    emit runningChanged();
}
