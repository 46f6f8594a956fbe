#include "execconsole.h"

#include "docker.h"

#include <QCoroFuture>
#include <QCoroTask>
#include <QPointer>
#include <QtConcurrent>

ExecConsole::ExecConsole(std::shared_ptr<const Engine> engine, const Container &container, const std::optional<Runtime> &runtime,
                         QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_container(container), m_runtime(runtime)
{
}

// Closing the console ends the command it is running, so a hung one holds no thread.
ExecConsole::~ExecConsole() { *m_closed = true; }

void ExecConsole::setCommand(const QString &command)
{
    if (m_command == command)
        return;
    m_command = command;
    emit commandChanged();
}

QString ExecConsole::transcriptEntry(const ExecResult &r)
{
    if (!r.started)
        return QStringLiteral("cannot run docker: ") + r.launchError + u'\n';
    QString result = r.output;
    if (!result.isEmpty() && !result.endsWith(u'\n'))
        result += u'\n';
    if (r.status != 0)
        result += QStringLiteral("[exit %1]\n").arg(r.status);
    return result;
}

void ExecConsole::run()
{
    const QString command = Docker::trimBlanks(m_command).toString();
    if (command.isEmpty() || m_running)
        return;
    add(QStringLiteral("$ ") + command + u'\n');
    setCommand(QString());
    setRunning(true);

    // A detached coroutine: the console may close before the command ends, and then the
    // result is dropped.
    [](QPointer<ExecConsole> self, std::shared_ptr<const Engine> engine, QString id, std::optional<Runtime> runtime,
       QString command, Cancel cancel) -> QCoro::Task<> {
        auto future = QtConcurrent::run([=] { return transcriptEntry(engine->exec(id, command, runtime, cancel)); });
        const QString result = co_await future;
        if (!self)
            co_return;
        self->add(result);
        self->setRunning(false);
    }(this, m_engine, m_container.id, m_runtime, command, m_closed);
}

void ExecConsole::add(const QString &text)
{
    QList<LogLine> lines;
    for (Ansi::Line &line : Ansi::parse(text))
        lines.append({std::move(line), {}, {}});
    m_transcript.append(lines);
}

void ExecConsole::setRunning(bool running)
{
    if (m_running == running)
        return;
    m_running = running;
    emit runningChanged();
}
