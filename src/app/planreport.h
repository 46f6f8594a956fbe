#pragma once

#include <QTextStream>
#include <optional>

#include "teardownplan.h"

// The plan as printed: labels padded to 20 characters so the names line up.
QString formatPlan(const TeardownPlan &plan);

// What deleting a project would do; `korvat --plan <project> [context]`. Changes nothing.
void runPlan(const Engine &engine, const QString &project, const std::optional<QString> &context, QTextStream &out);
