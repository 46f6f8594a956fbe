#include "toolrules.h"

#include "toolchain.h"

#include <QLocale>

namespace ToolRules {

namespace {
bool olderThanLatest(const Tool &tool)
{
    return tool.installed && tool.latest && Toolchain::isOlder(*tool.installed, *tool.latest);
}
}

Badge badge(const Tool &tool)
{
    if (!tool.installed)
        return {QStringLiteral("not installed"), QStringLiteral("error")};
    if (!tool.latest)
        return {QStringLiteral("not checked"), QStringLiteral("neutral")};
    if (olderThanLatest(tool))
        return {QStringLiteral("update"), QStringLiteral("update")};
    return {QStringLiteral("up to date"), QStringLiteral("success")};
}

Action action(const Tool &tool)
{
    if (!tool.installed)
        return {Action::Kind::Install, QStringLiteral("Install"),
                QStringLiteral("Installs with Homebrew, fetches the kernel and starts the services")};
    if (tool.brewManaged && olderThanLatest(tool))
        return {Action::Kind::Update, QStringLiteral("Update"), QString()};
    if (olderThanLatest(tool))
        return {Action::Kind::ReleaseNotes, QStringLiteral("Release notes"),
                QStringLiteral("Installed outside Homebrew — update it where you installed it from")};
    return {Action::Kind::Homepage, QStringLiteral("Homepage"), QString()};
}

std::optional<ToolJob> job(const Tool &tool)
{
    switch (action(tool).kind) {
    case Action::Kind::Install: return ToolJob::install({tool.formula});
    case Action::Kind::Update: return ToolJob::upgrade({tool.formula});
    case Action::Kind::ReleaseNotes:
    case Action::Kind::Homepage: return std::nullopt;
    }
    return std::nullopt;
}

QString statusLine(const SystemStatus &status, const std::optional<QDateTime> &lastChecked, const QLocale &locale)
{
    QStringList parts{status.running ? QStringLiteral("SERVICES RUNNING") : QStringLiteral("SERVICES STOPPED")};
    if (status.serverVersion)
        parts << QStringLiteral("SERVER ") + *status.serverVersion;
    parts << (lastChecked ? QStringLiteral("CHECKED ") + locale.toString(lastChecked->toLocalTime().time(), QLocale::ShortFormat)
                          : QStringLiteral("NOT CHECKED"));
    return parts.join(QStringLiteral(" · "));
}

QString restartText(const SystemStatus &status)
{
    return QStringLiteral("Client is ") + status.clientVersion.value_or(QStringLiteral("?"))
        + QStringLiteral(", the running server is still ") + status.serverVersion.value_or(QStringLiteral("?"))
        + QStringLiteral(". Restarting stops running containers.");
}

}
