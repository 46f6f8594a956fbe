#include "dispatch.h"

Invocation dispatch(QStringList args)
{
    using Mode = Invocation::Mode;
    const bool json = args.removeAll(QStringLiteral("--json")) > 0;
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
    return {};
}
