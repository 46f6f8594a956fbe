#pragma once

#include "composeproject.h"
#include "container.h"

#include <optional>
#include <variant>

// Whose logs to follow: one container, or every service of a compose project.
struct LogSource {
    std::variant<Container, ComposeProject> subject;
    // Each line starts with the engine's time for it.
    bool timestamps = false;
    // Of a project, this service's alone; empty for all of them.
    QString service = {};

    static LogSource container(const Container &c) { return {c, false}; }
    static LogSource project(const ComposeProject &p, const QString &service = {}) { return {p, false, service}; }
    bool isProject() const { return std::holds_alternative<ComposeProject>(subject); }
    // The project's directory, where compose finds it.
    std::optional<QString> workingDir() const
    {
        if (const auto *p = std::get_if<ComposeProject>(&subject))
            return p->workingDir;
        return std::nullopt;
    }

    friend bool operator==(const LogSource &, const LogSource &) = default;
};
