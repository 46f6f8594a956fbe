#include "toolchain.h"

#include "childprocess.h"

#include <QFileInfo>
#include <QProcess>

namespace Toolchain {

namespace {
Setup &setupStore()
{
    static Setup s;
    return s;
}

Tool tool(const char *formula, const char *name, const char *purpose, const char *homepage, const char *binary,
          QStringList versionArgs, bool isPlugin)
{
    return {QString::fromUtf8(formula), QString::fromUtf8(name), QString::fromUtf8(purpose), QString::fromUtf8(homepage),
            QString::fromUtf8(binary), std::move(versionArgs), isPlugin, std::nullopt, std::nullopt, false};
}
}

QString startBlock(const QString &socktainerVerb)
{
    return QStringLiteral("container system start --enable-kernel-install || exit $?\n"
                          "if brew list --formula socktainer >/dev/null 2>&1; then\n"
                          "    brew services ")
        + socktainerVerb + QStringLiteral(" socktainer\nfi");
}

const Setup &setup() { return setupStore(); }
void setSetup(const Setup &s) { setupStore() = s; }

const QList<Tool> &all()
{
    static const QList<Tool> catalogue{
        tool("container", "Apple container", "Runs Linux containers in lightweight VMs on macOS.",
             "https://github.com/apple/container", "container", {"--version"}, false),
        tool("socktainer", "socktainer", "Docker-API socket over Apple container — how Korvat reaches it.",
             "https://github.com/socktainer/socktainer", "socktainer", {"--version"}, false),
        tool("docker", "Docker CLI", "The command Korvat runs for every query and every action.",
             "https://docs.docker.com/reference/cli/docker/", "docker", {"--version"}, false),
        tool("docker-compose", "Docker Compose", "Brings a whole project up and down. A docker plugin, not a separate command.",
             "https://docs.docker.com/compose/", "docker", {"compose", "version"}, true),
    };
    return catalogue;
}

const QSet<QString> &runtimeFormulae()
{
    static const QSet<QString> set{all()[0].formula, all()[1].formula};
    return set;
}

const QSet<QString> &pluginFormulae()
{
    static const QSet<QString> set = [] {
        QSet<QString> s;
        for (const auto &t : all())
            if (t.isPlugin)
                s.insert(t.formula);
        return s;
    }();
    return set;
}

std::unique_ptr<QProcess> process(const QStringList &args)
{
    auto child = std::make_unique<QProcess>();
    child->setProgram(setup().launcher);
    child->setArguments(args);
    child->setStandardInputFile(QProcess::nullDevice());
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PATH"), setup().pathPrefix + env.value(QStringLiteral("PATH")));
    for (const char *quiet : {"HOMEBREW_NO_COLOR", "HOMEBREW_NO_EMOJI", "HOMEBREW_NO_ENV_HINTS", "HOMEBREW_NO_AUTO_UPDATE"})
        env.insert(QString::fromLatin1(quiet), QStringLiteral("1"));
    child->setProcessEnvironment(env);
    ChildProcess::prepare(*child);
    return child;
}

Captured capture(const QStringList &args, std::chrono::milliseconds deadline)
{
    auto child = process(args);
    // Both pipes are drained while waiting, so neither can fill up and stall the child.
    switch (ChildProcess::runToEnd(*child, deadline)) {
    case ChildProcess::Ended::NotStarted: return {-1, {}, child->errorString()};
    case ChildProcess::Ended::TimedOut:
        return {-1, {}, QStringLiteral("%1 did not answer within %2 s").arg(args.value(0)).arg(std::chrono::duration_cast<std::chrono::seconds>(deadline).count())};
    case ChildProcess::Ended::Cancelled: return {-1, {}, QStringLiteral("stopped: Korvat is quitting")};
    case ChildProcess::Ended::Exited: break;
    }
    return {child->exitCode(), QString::fromUtf8(child->readAllStandardOutput()), QString::fromUtf8(child->readAllStandardError())};
}

std::optional<QString> brewPath()
{
    for (const auto &path : setup().brewLocations) {
        const QFileInfo info(path);
        if (info.isFile() && info.isExecutable())
            return path;
    }
    return std::nullopt;
}

std::optional<QString> refreshIndex()
{
    if (!brewPath())
        return QStringLiteral("Homebrew not found.");
    const auto r = capture({"brew", "update", "--quiet"}, brewDeadline);
    if (r.status == 0)
        return std::nullopt;
    const QString text = (r.err.isEmpty() ? r.out : r.err).trimmed();
    return text.isEmpty() ? QStringLiteral("brew update failed (exit %1).").arg(r.status) : text;
}

QString installScript(const QStringList &formulae)
{
    QString script = QStringLiteral("brew install ") + formulae.join(u' ') + QStringLiteral(" || exit $?\n");
    for (const auto &f : formulae) {
        if (!pluginFormulae().contains(f))
            continue;
        script += QStringLiteral("mkdir -p \"$HOME/.docker/cli-plugins\" || exit $?\n");
        script += QStringLiteral("ln -sfn \"$(brew --prefix)/lib/docker/cli-plugins/") + f
            + QStringLiteral("\"     \"$HOME/.docker/cli-plugins/") + f + QStringLiteral("\" || exit $?\n");
    }
    if (std::any_of(formulae.cbegin(), formulae.cend(), [](const QString &f) { return runtimeFormulae().contains(f); }))
        script += startBlock(QStringLiteral("start"));
    return script;
}

namespace {
QStringList catalogueFormulae()
{
    QStringList list;
    for (const auto &t : all())
        list << t.formula;
    return list;
}
}

QMap<QString, QString> brewOwned()
{
    if (!brewPath())
        return {};
    return parseBrewList(capture(QStringList{"brew", "list", "--formula", "--versions"} + catalogueFormulae()).out);
}

QMap<QString, QString> brewLatest()
{
    if (!brewPath())
        return {};
    return parseBrewInfo(capture(QStringList{"brew", "info", "--json=v2"} + catalogueFormulae(), brewDeadline).out);
}

QList<Tool> survey()
{
    const auto owned = brewOwned();
    QList<Tool> tools;
    for (auto t : all()) {
        const auto r = capture(QStringList{t.binary} + t.versionArgs);
        if (r.status == 0)
            t.installed = firstVersion(r.out + u'\n' + r.err);
        // Homebrew knows the formula though the command did not answer.
        if (!t.installed && !t.isPlugin && owned.contains(t.formula))
            t.installed = owned.value(t.formula);
        t.brewManaged = owned.contains(t.formula);
        tools.append(t);
    }
    return tools;
}

SystemStatus systemStatus()
{
    const auto r = capture({"container", "system", "status"});
    return parseStatus(r.out + u'\n' + r.err);
}

} // namespace Toolchain
