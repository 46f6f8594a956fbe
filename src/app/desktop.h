#pragma once

#include <QString>

// The desktop interface: the main window over the real stores, or screenshots of every
// view over sample data.
namespace Desktop {
int run(int &argc, char **argv);
// Writes PNGs of each view in both readings into dir, one line per file on standard output.
int shoot(int &argc, char **argv, const QString &dir);
}
