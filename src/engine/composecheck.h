#pragma once

#include <QString>
#include <optional>

// Whether compose can load a project's configuration, and what it warned about.
struct ComposeCheck {
    bool valid = true;
    QString message;                  // why it is invalid
    std::optional<QString> warning;   // only when valid

    static ComposeCheck makeValid(std::optional<QString> warning = std::nullopt) { return {true, {}, std::move(warning)}; }
    static ComposeCheck makeInvalid(const QString &message) { return {false, message, std::nullopt}; }

    friend bool operator==(const ComposeCheck &, const ComposeCheck &) = default;
};
