#pragma once

#include "composeproject.h"
#include "container.h"

#include <optional>
#include <variant>

// Whose logs to follow: one container, or every service of a compose project.
struct LogSource {
    std::variant<Container, ComposeProject> subject;

    static LogSource container(const Container &c) { return {c}; }
    static LogSource project(const ComposeProject &p) { return {p}; }
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
