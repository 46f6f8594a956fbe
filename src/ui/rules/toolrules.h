#pragma once

#include "tool.h"
#include "tooljob.h"

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
    enum class Kind { Install, Update, ReleaseNotes, Homepage };
    Kind kind = Kind::Homepage;
    QString label;
    QString help;

    // Install and Update run a job; the others open the tool's page.
    bool runsJob() const { return kind == Kind::Install || kind == Kind::Update; }

    friend bool operator==(const Action &, const Action &) = default;
};

Badge badge(const Tool &tool);
Action action(const Tool &tool);
// The job behind the tool's action, when its action runs one.
std::optional<ToolJob> job(const Tool &tool);
// "SERVICES RUNNING · SERVER 1.4.1 · CHECKED 14:05"; the time in the given locale's short style.
QString statusLine(const SystemStatus &status, const std::optional<QDateTime> &lastChecked, const QLocale &locale);
QString restartText(const SystemStatus &status);
}
