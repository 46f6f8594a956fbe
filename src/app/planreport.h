#pragma once

#include <QJsonObject>
#include <QTextStream>
#include <optional>

#include "teardownplan.h"

// The plan as printed: labels padded to 20 characters so the names line up.
QString formatPlan(const TeardownPlan &plan);

// What deleting a project would do, asked once; written as text or JSON. Changes nothing.
struct PlanReport {
    enum class Outcome { Planned, CannotList, NoSuchProject };
    QString project;
    Outcome outcome = Outcome::Planned;
    TeardownPlan plan = {};
    QStringList found = {};   // the projects there are, when it names none of them
};

PlanReport gatherPlan(const Engine &engine, const QString &project, const std::optional<QString> &context);
// `korvat --plan <project> [context]`.
void writePlan(const PlanReport &report, QTextStream &out);
// `korvat --plan <project> --json [context]`: the schema the README describes.
QJsonObject planJson(const PlanReport &report);
