#pragma once

#include <QTextStream>
#include <optional>

// What deleting a project would do; `korvat --plan <project> [context]`. Changes nothing.
void runPlan(const QString &project, const std::optional<QString> &context, QTextStream &out);
