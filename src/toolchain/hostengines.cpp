#include "hostengine.h"
#include "toolchain.h"

#include "childprocess.h"

#include <QProcess>
#include <QStandardPaths>

namespace HostEngines {

namespace {
ServiceUnit unit(ServiceUnit::Scope scope, const char *name)
{
    return {scope, QString::fromLatin1(name)};
}

// A probe's output, or nothing when the tool is missing, fails or has not answered in time.
QString output(const QString &program, const QStringList &args)
{
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    child.setProcessEnvironment(env);
    child.setProgram(program);
    child.setArguments(args);
    child.setStandardInputFile(QProcess::nullDevice());
    ChildProcess::prepare(child);
    if (ChildProcess::runToEnd(child, std::chrono::seconds(10)) != ChildProcess::Ended::Exited)
        return {};
    return QString::fromUtf8(child.readAllStandardOutput());
}

QString findDaemon(const QString &name)
{
    const QString found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? QStandardPaths::findExecutable(name, {QStringLiteral("/usr/local/sbin"), QStringLiteral("/usr/sbin"),
                                                                   QStringLiteral("/sbin"), QStringLiteral("/usr/local/bin"),
                                                                   QStringLiteral("/usr/bin")})
                           : found;
}
}

const QList<Kind> &catalogue()
{
    using Scope = ServiceUnit::Scope;
    static const QList<Kind> kinds{
        {QStringLiteral("Docker"), {QStringLiteral("docker-ce"), QStringLiteral("docker.io"), QStringLiteral("moby-engine")},
         QStringLiteral("dockerd"),
         {unit(Scope::System, "docker.service"), unit(Scope::System, "docker.socket"), unit(Scope::User, "docker.service")},
         QStringLiteral("docker.sock")},
        // podman.service answers the socket; enabled by itself, it is what starts at boot.
        {QStringLiteral("Podman"), {QStringLiteral("podman")}, QStringLiteral("podman"),
         {unit(Scope::User, "podman.socket"), unit(Scope::User, "podman.service"), unit(Scope::System, "podman.socket"),
          unit(Scope::System, "podman.service")},
         QStringLiteral("podman/podman.sock")},
    };
    return kinds;
}

QMap<QString, QString> parsePackages(const QString &dpkgQuery)
{
    QMap<QString, QString> installed;
    for (const auto &line : dpkgQuery.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList fields = line.split(u'\t');
        // Removed packages whose configuration stays are "config-files"; half-installed
        // ones are no engine either.
        if (fields.size() == 3 && !fields[0].isEmpty() && !fields[1].isEmpty() && fields[2].trimmed() == QLatin1String("installed"))
            installed.insert(fields[0], fields[1]);
    }
    return installed;
}

QMap<QString, QString> parseCandidates(const QString &aptPolicy)
{
    QMap<QString, QString> candidates;
    QString package;
    for (const auto &line : aptPolicy.split(u'\n')) {
        if (!line.isEmpty() && !line.front().isSpace() && line.endsWith(u':')) {
            package = line.chopped(1);
            continue;
        }
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(QLatin1String("Candidate:")) && !package.isEmpty()) {
            const QString version = trimmed.mid(10).trimmed();
            if (!version.isEmpty() && version != QLatin1String("(none)"))
                candidates.insert(package, version);
        }
    }
    return candidates;
}

QList<HostEngine> assemble(const QMap<QString, QString> &installed, const QMap<QString, QString> &candidates,
                           const QMap<QString, QString> &binaries)
{
    QList<HostEngine> engines;
    for (const Kind &kind : catalogue()) {
        HostEngine engine{kind.name, {}, {}, std::nullopt, kind.units};
        const auto package = std::find_if(kind.packages.cbegin(), kind.packages.cend(), [&](const QString &p) { return installed.contains(p); });
        if (package != kind.packages.cend()) {
            engine.package = *package;
            engine.installed = installed.value(*package);
            if (candidates.contains(*package))
                engine.offered = candidates.value(*package);
        } else if (binaries.contains(kind.binary)) {
            engine.installed = binaries.value(kind.binary);
        } else {
            continue;
        }
        engines.append(engine);
    }
    return engines;
}

QList<HostEngine> probe()
{
    QStringList packages;
    for (const Kind &kind : catalogue())
        packages += kind.packages;
    const auto installed = parsePackages(
        output(QStringLiteral("dpkg-query"), QStringList{QStringLiteral("-W"), QStringLiteral("-f"),
                                                         QStringLiteral("${Package}\\t${Version}\\t${db:Status-Status}\\n")} + packages));
    const auto candidates = installed.isEmpty()
        ? QMap<QString, QString>()
        : parseCandidates(output(QStringLiteral("apt-cache"), QStringList{QStringLiteral("policy")} + installed.keys()));
    QMap<QString, QString> binaries;
    for (const Kind &kind : catalogue()) {
        if (std::any_of(kind.packages.cbegin(), kind.packages.cend(), [&](const QString &p) { return installed.contains(p); }))
            continue;
        if (const QString path = findDaemon(kind.binary); !path.isEmpty()) {
            const auto version = Toolchain::firstVersion(output(path, {QStringLiteral("--version")}));
            binaries.insert(kind.binary, version.value_or(QStringLiteral("unknown version")));
        }
    }
    return assemble(installed, candidates, binaries);
}

bool replaceToolchain(bool brewAvailable, bool appleSocketPresent)
{
#ifdef Q_OS_LINUX
    return !brewAvailable && !appleSocketPresent;
#else
    Q_UNUSED(brewAvailable)
    Q_UNUSED(appleSocketPresent)
    return false;
#endif
}

HostEngine withUnits(HostEngine engine, const QList<ServiceUnit> &read)
{
    engine.units.clear();
    engine.servicesNote.clear();
    // A masked unit stays in view: it is why the engine cannot start, at boot or by hand.
    std::copy_if(read.cbegin(), read.cend(), std::back_inserter(engine.units),
                 [](const ServiceUnit &u) { return u.isLoaded() || u.loadState == QLatin1String("masked"); });
    if (!engine.units.isEmpty())
        return engine;
    const auto failed = std::find_if(read.cbegin(), read.cend(), [](const ServiceUnit &u) { return !u.error.isEmpty(); });
    engine.servicesNote = failed != read.cend() ? failed->error : QStringLiteral("No systemd unit runs it; start it by hand.");
    return engine;
}

Verb verb(const ServiceUnit &unit)
{
    if (!unit.isLoaded())
        return Verb::None;
    if (unit.activeState == QLatin1String("active"))
        return Verb::Restart;
    if (unit.activeState == QLatin1String("inactive") || unit.activeState == QLatin1String("failed"))
        return Verb::Start;
    return Verb::None;   // on its way somewhere: wait for systemd
}

QString versionLine(const HostEngine &engine)
{
    QStringList parts{engine.installed};
    if (engine.package.isEmpty()) {
        parts << QStringLiteral("not from a package");
    } else {
        parts << engine.package;
        if (engine.offered)
            parts << (*engine.offered == engine.installed ? QStringLiteral("up to date") : *engine.offered + QStringLiteral(" offered"));
    }
    return parts.join(QStringLiteral(" · "));
}

QString unitLine(const ServiceUnit &unit)
{
    QString line = unit.name + (unit.scope == ServiceUnit::Scope::User ? QStringLiteral(" (user)") : QString());
    if (!unit.activeState.isEmpty())
        line += QStringLiteral(" · ") + unit.activeState + (unit.subState.isEmpty() ? QString() : QStringLiteral(" (") + unit.subState + u')');
    return line;
}

} // namespace HostEngines
