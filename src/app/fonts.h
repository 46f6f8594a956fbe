#pragma once

#include <QString>

namespace Fonts {
// <prefix>/share/korvat beside an installed binary's bin/; the build tree has the same shape.
QString resourceDirectory();
// Registers every "ttf" and "ttc" file in dir (case-sensitive); returns how many loaded.
int registerShipped(const QString &dir);
}
