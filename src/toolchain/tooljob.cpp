#include "tooljob.h"

#include "toolchain.h"

QString ToolJob::id() const
{
    switch (kind) {
    case Kind::Upgrade:
        return QStringLiteral("upgrade:") + formulae.join(u',');
    case Kind::Install:
        return QStringLiteral("install:") + formulae.join(u',');
    case Kind::Start:
        return QStringLiteral("start");
    case Kind::Restart:
        return QStringLiteral("restart");
    }
    return {};
}

QString ToolJob::title() const
{
    switch (kind) {
    case Kind::Upgrade:
        return QStringLiteral("Updating ") + formulae.join(QStringLiteral(", "));
    case Kind::Install:
        return QStringLiteral("Installing ") + formulae.join(QStringLiteral(", "));
    case Kind::Start:
        return QStringLiteral("Starting the runtime");
    case Kind::Restart:
        return QStringLiteral("Restarting the runtime");
    }
    return {};
}

QString ToolJob::script() const
{
    // A stop that fails because nothing ran must not prevent the start, hence no "|| exit".
    switch (kind) {
    case Kind::Upgrade:
        return QStringLiteral("brew upgrade ") + formulae.join(u' ');
    case Kind::Install:
        return Toolchain::installScript(formulae);
    case Kind::Start:
        return Toolchain::startBlock(QStringLiteral("start"));
    case Kind::Restart:
        return QStringLiteral("container system stop\n") + Toolchain::startBlock(QStringLiteral("restart"));
    }
    return {};
}

QString ToolJob::banner() const
{
    const QString text = script();
    return text.contains(u'\n') ? text : QStringLiteral("$ ") + text;
}
