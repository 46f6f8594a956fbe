#pragma once

#include <QString>

// Starting Korvat at login, through the freedesktop autostart entry.
namespace LoginItem {
QString entryPath();
// "on" when the entry exists and is not hidden, else "off".
QString state();
bool enable(const QString &executable);
bool disable();
}
