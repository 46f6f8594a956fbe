#pragma once

#include "engine.h"
#include "reclaimplan.h"

#include <QJsonObject>
#include <QTextStream>
#include <optional>

// What a reclaim of an engine's disk would remove, asked once; written as text or JSON.
// Changes nothing.
struct ReclaimReport {
    std::optional<QString> context;
    // Every category, or only those chosen by default.
    bool all = false;
    ReclaimPlan plan = {};
    // Why there is no plan: the engine's words.
    QString error = {};
};

ReclaimReport gatherReclaim(const Engine &engine, const std::optional<QString> &context, bool all);
// `korvat --reclaim [--all] [context]`.
void writeReclaim(const ReclaimReport &report, QTextStream &out);
// `korvat --reclaim --json`: the schema the README describes.
QJsonObject reclaimJson(const ReclaimReport &report);
