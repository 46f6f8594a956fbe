#include "terminal.h"

#include <QFileInfo>

namespace Terminal {

QString commandLine(const std::optional<Runtime> &runtime, const QString &containerName)
{
    QString prefix = QStringLiteral("docker ");
    if (runtime && runtime->isSocket())
        prefix = QStringLiteral("DOCKER_HOST=unix://") + runtime->path + QStringLiteral(" docker ");
    else if (runtime)
        prefix = QStringLiteral("docker --context ") + runtime->name + u' ';
    return prefix + QStringLiteral("exec -it ") + containerName + QStringLiteral(" sh");
}

const QStringList &candidates()
{
    static const QStringList list = {
        QStringLiteral("x-terminal-emulator"), QStringLiteral("gnome-terminal"), QStringLiteral("konsole"),
        QStringLiteral("xfce4-terminal"), QStringLiteral("kitty"), QStringLiteral("alacritty"), QStringLiteral("xterm"),
    };
    return list;
}

namespace {
// Each emulator's way of being told "run this program with these arguments".
QStringList runFlag(const QString &program)
{
    const QString name = QFileInfo(program).fileName();
    if (name == QLatin1String("gnome-terminal"))
        return {QStringLiteral("--")};
    if (name == QLatin1String("xfce4-terminal"))
        return {QStringLiteral("-x")};
    if (name == QLatin1String("kitty"))
        return {};
    return {QStringLiteral("-e")};
}
}

std::optional<Launch> launch(const ShellCommand &shell, const QProcessEnvironment &environment,
                             const std::function<QString(const QString &)> &find)
{
    QString program;
    const QString chosen = environment.value(QStringLiteral("TERMINAL")).trimmed();
    if (!chosen.isEmpty())
        program = find(chosen);
    for (qsizetype i = 0; program.isEmpty() && i < candidates().size(); ++i)
        program = find(candidates().at(i));
    if (program.isEmpty())
        return std::nullopt;

    Launch l{program, runFlag(program) + shell.arguments, environment};
    for (auto it = shell.environment.cbegin(); it != shell.environment.cend(); ++it)
        l.environment.insert(it.key(), it.value());
    return l;
}

}
