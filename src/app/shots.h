#pragma once

#include <QString>

// Pictures of every view in both readings, drawn by the real stores and views over a
// FakeEngine that holds the sample data.
namespace Shots {
// Writes the PNGs into dir, one line per file on standard output.
// scale: device pixels per point, as QT_SCALE_FACTOR sets it for a user.
int shoot(int &argc, char **argv, const QString &dir, double scale = 1);
}
