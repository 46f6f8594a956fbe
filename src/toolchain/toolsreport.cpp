#include "toolsreport.h"

#include "loginitem.h"
#include "toolchain.h"
#include "tooljob.h"

#include <QCoreApplication>

void runToolsDump(bool scripts, QTextStream &out)
{
    const QString dash = QStringLiteral("-");
    out << "brew: " << Toolchain::brewPath().value_or(QStringLiteral("not found")) << '\n';
    const auto latest = Toolchain::brewLatest();
    for (const auto &tool : Toolchain::survey()) {
        const auto newest = latest.constFind(tool.formula);
        const bool haveLatest = newest != latest.cend();
        const bool older = tool.installed && haveLatest && Toolchain::isOlder(*tool.installed, *newest);
        const char *verdict = !tool.installed ? "not installed" : !haveLatest ? "latest unknown" : older ? "update available" : "up to date";
        out << "  " << tool.formula << "  installed " << tool.installed.value_or(dash) << "  latest " << (haveLatest ? *newest : dash)
            << "  brew-owned " << (tool.brewManaged ? "true" : "false") << "  [" << verdict << "]"
            << (tool.brewManaged && older ? "  -> can update" : "") << '\n';
    }
    const auto status = Toolchain::systemStatus();
    out << "services: " << (status.running ? "running" : "stopped") << "  client " << status.clientVersion.value_or(dash)
        << "  server " << status.serverVersion.value_or(dash) << (status.restartNeeded() ? "  [restart needed]" : "") << '\n';
    out << "login item: " << LoginItem::state() << "  bundle " << QCoreApplication::applicationFilePath() << '\n';
    if (!scripts)
        return;
    out << "--- install ---\n" << Toolchain::installScript({QStringLiteral("container"), QStringLiteral("socktainer")}) << '\n';
    out << "--- start ---\n" << ToolJob::start().script() << '\n';
    out << "--- restart ---\n" << ToolJob::restart().script() << '\n';
}
