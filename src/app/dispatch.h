#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// Which mode a command line asks for. Flags match whole arguments only, and the value
// after a flag is taken as it stands, even when it looks like a flag itself; "--json" alone
// is never a value.
struct Invocation {
    enum class Mode { Window, SelfTest, Tools, Plan, Dump, Reclaim, Updates, AfterReboot, Shot, Help, Version, Misused };

    Mode mode = Mode::Window;
    QString value;                    // plan: project; shot: directory; misused: what is wrong
    std::optional<QString> context;   // plan, dump, reclaim, updates and after-reboot
    bool scripts = false;             // tools
    double scale = 1;                 // shot: pixels per point, "--scale 2"
    bool json = false;                // the reports: "--json" anywhere
    bool all = false;                 // reclaim: every category, "--all"

    bool headless() const { return mode != Mode::Window; }
    // The exit status of a command line that cannot be obeyed, as Linux tools use it.
    static constexpr int misusedStatus = 2;

    friend bool operator==(const Invocation &, const Invocation &) = default;
};

// args is the whole vector, program path included. An option Korvat does not know (Qt's own
// window options apart) is misused: "korvat: unknown option '--bogus'".
Invocation dispatch(QStringList args);

// What --help prints: every mode and flag, one line each.
QString usage();
