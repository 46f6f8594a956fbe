#pragma once

#include <QTextStream>

// What the toolchain code sees on this machine; `korvat --tools [--scripts]`. Refreshes no
// Homebrew index and touches no saved state.
void runToolsDump(bool scripts, QTextStream &out);
