#pragma once

#include <QStringList>

// A toolchain action the user asked for, run as one shell script.
struct ToolJob {
    enum class Kind { Upgrade, Install, Start, Restart };

    Kind kind = Kind::Start;
    QStringList formulae;   // upgrade and install only

    static ToolJob upgrade(const QStringList &formulae) { return {Kind::Upgrade, formulae}; }
    static ToolJob install(const QStringList &formulae) { return {Kind::Install, formulae}; }
    static ToolJob start() { return {Kind::Start, {}}; }
    static ToolJob restart() { return {Kind::Restart, {}}; }

    QString id() const;
    QString title() const;
    QString script() const;
    // The first line of the run view: a one-line script reads like a typed command.
    QString banner() const;

    friend bool operator==(const ToolJob &, const ToolJob &) = default;
};
