#pragma once

#include <QString>
#include <optional>

namespace Trash {
// Moves a file or directory to the user's freedesktop trash. Returns why it could not.
std::optional<QString> moveToTrash(const QString &path);
}
