#pragma once

#include "engine.h"
#include "enginestartup.h"

#include <QJsonObject>
#include <QTextStream>
#include <optional>

// What one engine will bring back once it starts again (after a reboot, an upgrade, a
// restart of its service), and whether it starts at boot at all; as text or JSON. Changes
// nothing.
struct RebootReport {
    struct Entry {
        RestartFacts facts;
        Comeback comeback;
        friend bool operator==(const Entry &, const Entry &) = default;
    };
    std::optional<QString> context;
    EngineStartup engine = {};
    // By name.
    QList<Entry> containers = {};
    // Why there is no report: the engine's words.
    QString error = {};
};

// Asks systemd in an event loop of its own, so call it where none runs.
RebootReport gatherReboot(const Engine &engine, const std::optional<QString> &context, const ServiceManager &services);
// `korvat --after-reboot [context]`: the engine's line, then one line per container.
void writeReboot(const RebootReport &report, QTextStream &out);
// `korvat --after-reboot --json`: the schema the README describes.
QJsonObject rebootJson(const RebootReport &report);
