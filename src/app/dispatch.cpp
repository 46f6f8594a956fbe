#include "dispatch.h"

namespace {

// Qt's own options for any window, and those of them that take the next argument; Qt reads
// them whether written with one dash or two.
const QStringList qtFlags{"reverse", "nograb", "dograb", "sync", "widgetcount"};
const QStringList qtOptions{"platform", "platformpluginpath", "platformtheme", "plugin", "qmljsdebugger", "qwindowgeometry",
                            "qwindowicon", "qwindowtitle", "session", "display", "geometry", "style", "stylesheet"};

QString qtName(const QString &arg)
{
    return arg.startsWith(QLatin1String("--")) ? arg.mid(2) : arg.mid(1);
}

// The arguments of this mode's own that are neither its flags nor their values: the first
// that looks like an option is misused. Index 0 is the program.
std::optional<QString> unknownOption(const QStringList &args, const Invocation &invocation, const QStringList &known)
{
    QList<bool> taken(args.size(), false);
    const auto take = [&](const QString &flag, int values) {
        const qsizetype i = args.indexOf(flag);
        for (qsizetype j = i; i >= 0 && j <= i + values && j < args.size(); ++j)
            taken[j] = true;
    };
    using Mode = Invocation::Mode;
    take(QStringLiteral("--plan"), invocation.mode == Mode::Plan ? 1 + int(invocation.context.has_value()) : 0);
    take(QStringLiteral("--dump"), invocation.mode == Mode::Dump && invocation.context ? 1 : 0);
    take(QStringLiteral("--updates"), invocation.mode == Mode::Updates && invocation.context ? 1 : 0);
    take(QStringLiteral("--after-reboot"), invocation.mode == Mode::AfterReboot && invocation.context ? 1 : 0);
    take(QStringLiteral("--shot"), invocation.mode == Mode::Shot && args.indexOf(QLatin1String("--shot")) + 1 < args.size() ? 1 : 0);
    take(QStringLiteral("--scale"), invocation.mode == Mode::Shot ? 1 : 0);
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString &arg = args[i];
        if (taken[i] || !arg.startsWith(u'-') || arg.size() < 2 || known.contains(arg))
            continue;
        if (qtFlags.contains(qtName(arg)))
            continue;
        if (qtOptions.contains(qtName(arg))) {
            ++i;
            continue;
        }
        return arg;
    }
    return std::nullopt;
}

Invocation modeOf(QStringList args, bool json)
{
    using Mode = Invocation::Mode;
    const auto at = [&](qsizetype i) -> std::optional<QString> {
        return i < args.size() ? std::optional(args.at(i)) : std::nullopt;
    };
    if (args.contains(QLatin1String("--selftest")))
        return {Mode::SelfTest};
    if (args.contains(QLatin1String("--tools")))
        return {Mode::Tools, {}, std::nullopt, args.contains(QLatin1String("--scripts"))};
    // A trailing "--plan" names no project and falls through to the modes below.
    if (const qsizetype i = args.indexOf(QLatin1String("--plan")); i >= 0 && i + 1 < args.size())
        return {Mode::Plan, args.at(i + 1), at(i + 2), false, 1, json};
    if (const qsizetype i = args.indexOf(QLatin1String("--dump")); i >= 0)
        return {Mode::Dump, {}, at(i + 1), false, 1, json};
    if (const qsizetype i = args.indexOf(QLatin1String("--updates")); i >= 0)
        return {Mode::Updates, {}, at(i + 1), false, 1, json};
    if (const qsizetype i = args.indexOf(QLatin1String("--after-reboot")); i >= 0)
        return {Mode::AfterReboot, {}, at(i + 1), false, 1, json};
    if (const qsizetype i = args.indexOf(QLatin1String("--reclaim")); i >= 0) {
        Invocation reclaim{Mode::Reclaim, {}, std::nullopt, false, 1, json, args.contains(QLatin1String("--all"))};
        for (qsizetype j = i + 1; j < args.size() && !reclaim.context; ++j) {
            if (!args.at(j).startsWith(u'-'))
                reclaim.context = args.at(j);
        }
        return reclaim;
    }
    if (const qsizetype i = args.indexOf(QLatin1String("--shot")); i >= 0) {
        Invocation shot{Mode::Shot, at(i + 1).value_or(QStringLiteral("shots"))};
        // Scales a window can be shown at; anything else keeps the pictures at 1.
        if (const qsizetype s = args.indexOf(QLatin1String("--scale")); s > i + 1) {
            const double scale = at(s + 1).value_or(QString()).toDouble();
            if (scale >= 0.5 && scale <= 4)
                shot.scale = scale;
        }
        return shot;
    }
    if (args.indexOf(QLatin1String("--plan")) > 0)
        return {Mode::Misused, QStringLiteral("korvat: --plan needs the name of a project")};
    return {};
}

}

Invocation dispatch(QStringList args)
{
    using Mode = Invocation::Mode;
    if (args.mid(1).contains(QLatin1String("--help")) || args.mid(1).contains(QLatin1String("-h")))
        return {Mode::Help};
    if (args.mid(1).contains(QLatin1String("--version")))
        return {Mode::Version};
    const bool json = args.removeAll(QStringLiteral("--json")) > 0;
    Invocation invocation = modeOf(args, json);
    if (invocation.mode == Mode::Misused)
        return invocation;
    QStringList known{"--selftest", "--tools", "--scripts", "--plan", "--dump", "--reclaim", "--updates", "--after-reboot", "--shot", "--scale"};
    if (invocation.mode == Mode::Reclaim)
        known << QStringLiteral("--all");
    if (const auto unknown = unknownOption(args, invocation, known))
        return {Mode::Misused, QStringLiteral("korvat: unknown option '%1'").arg(*unknown)};
    return invocation;
}

QString usage()
{
    return QStringLiteral(
        "Usage: korvat [option]\n"
        "A desktop companion for Docker-compatible container engines. Without an option it opens\n"
        "its window; each option below prints a report and exits, with no display needed.\n"
        "\n"
        "  --dump [--json] [context]            runtimes, projects with their compose check, containers, totals\n"
        "  --plan <project> [--json] [context]  what deleting the project would remove and keep; changes nothing\n"
        "  --reclaim [--all] [--json] [context] what reclaiming disk space would remove, item by item; changes nothing\n"
        "  --updates [--json] [context]         whether the registries hold newer images than the engine has; changes nothing\n"
        "  --after-reboot [--json] [context]    which containers come back when the engine starts again; changes nothing\n"
        "  --tools [--scripts]                  installed and latest versions of the runtime toolchain\n"
        "  --selftest                           Korvat's own checks over built-in sample data, and the environment\n"
        "  --shot [dir] [--scale N]             screenshots of the main views with sample data\n"
        "  --help, -h                           this text\n"
        "  --version                            Korvat's version\n"
        "\n"
        "A context of apple-container means the Apple container socket; any other names a docker context.\n");
}
