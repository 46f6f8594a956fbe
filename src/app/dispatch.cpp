#include "dispatch.h"

Invocation dispatch(const QStringList &args)
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
        return {Mode::Plan, args.at(i + 1), at(i + 2)};
    if (const qsizetype i = args.indexOf(QLatin1String("--dump")); i >= 0)
        return {Mode::Dump, {}, at(i + 1)};
    if (const qsizetype i = args.indexOf(QLatin1String("--shot")); i >= 0)
        return {Mode::Shot, at(i + 1).value_or(QStringLiteral("shots"))};
    return {};
}
