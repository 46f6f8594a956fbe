#include "containerrules.h"

#include "docker.h"

namespace ContainerRules {

namespace {
bool paused(const Container &c) { return c.state == QLatin1String("paused"); }
}

Primary primary(const Container &c)
{
    if (paused(c))
        return Primary::Resume;
    return c.isRunning() ? Primary::Stop : Primary::Start;
}

QString label(Primary primary)
{
    switch (primary) {
    case Primary::Start: return QStringLiteral("Start");
    case Primary::Stop: return QStringLiteral("Stop");
    case Primary::Resume: return QStringLiteral("Resume");
    }
    return {};
}

std::optional<QString> pauseLabel(const Container &c)
{
    if (paused(c))
        return QStringLiteral("Resume");
    if (c.isRunning())
        return QStringLiteral("Pause");
    return std::nullopt;
}

QString spoken(const Container &c)
{
    QStringList parts{c.status, c.image, Docker::shortPorts(c.ports)};
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" · "));
}

}
