#pragma once

#include "tool.h"

#include <QDateTime>
#include <QString>
#include <optional>

// What the settings window says about each tool and about the runtime service.
namespace ToolRules {

struct Badge {
    QString text;
    QString kind;   // "error", "neutral", "update" or "success": which colours the pill takes

    friend bool operator==(const Badge &, const Badge &) = default;
};

struct Action {
    QString kind;   // "update", "releaseNotes", "homepage" or "install"
    QString label;
    QString help;

    friend bool operator==(const Action &, const Action &) = default;
};

Badge badge(const Tool &tool);
Action action(const Tool &tool);
// "SERVICES RUNNING · SERVER 1.4.1 · CHECKED 14:05"; the time in the given locale's short style.
QString statusLine(const SystemStatus &status, const std::optional<QDateTime> &lastChecked, const QLocale &locale);
QString restartText(const SystemStatus &status);
}
