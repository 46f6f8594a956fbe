#pragma once

#include <QString>

// Pictures of every view in both readings, drawn by the real stores and views over a
// FakeEngine that holds the sample data.
namespace Shots {
// Writes the PNGs into dir, one line per file on standard output.
int shoot(int &argc, char **argv, const QString &dir);
}
