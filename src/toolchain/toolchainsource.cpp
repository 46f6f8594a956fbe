#include "toolchainsource.h"

#include "toolchain.h"

#include <QProcess>

bool HomebrewToolchain::brewAvailable() const { return Toolchain::brewPath().has_value(); }
QList<Tool> HomebrewToolchain::survey() const { return Toolchain::survey(); }
SystemStatus HomebrewToolchain::systemStatus() const { return Toolchain::systemStatus(); }
std::optional<QString> HomebrewToolchain::refreshIndex() const { return Toolchain::refreshIndex(); }
QMap<QString, QString> HomebrewToolchain::latest() const { return Toolchain::brewLatest(); }

std::unique_ptr<QProcess> HomebrewToolchain::job(const QString &script) const
{
    return Toolchain::process({QStringLiteral("/bin/sh"), QStringLiteral("-c"), script});
}
