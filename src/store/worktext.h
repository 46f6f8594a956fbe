#pragma once

#include "longwork.h"

#include <QStringList>

// What a long action shows while it runs and says when it is stopped.
namespace WorkText {
// "Pulling nginx:1.27", "Bringing up shop", "Deleting shop", "Backing up shop_data"
QString title(const Work &work);
// "3 of 7 layers · 12 MB of 40 MB", "2 of 5 steps", "12 MB of 40 MB"; empty when nothing is known yet.
QString detail(const Work &work);
// 0 to 1, or -1 while nothing tells how far it is.
double fraction(const Work &work);
// A pull the engine already has ends within a moment and should not flash a bar by:
// shown once it has a layer to fetch or has run a second. Everything else shows at once.
bool shown(const Work &work, const QDateTime &now);
// "Pulling nginx:1.27 — 40%", for the tray panel.
QString line(const Work &work);
// "Pulling", "Started", or compose's own error.
QString serviceState(const ServiceProgress &service);
// "Back up shop_data", "Remove the containers", "Remove shop_data", "Move ~/shop to the Trash"
QString stepText(const DeletionStep &step);
// What is said once it was stopped: "Stopped after 3 of 7 layers", "Up stopped: web and db
// started, worker not created". Services are the project's, where known.
QString stopped(const Work &work, const QStringList &services = {});
// A pull's end in the client's words: "Downloaded newer image for nginx:1.27".
QString pulled(const Work &work);
// "Backed up data to ~/data.tar", with what the engine left out: "…, without run/app.sock:
// a socket cannot be archived".
QString backedUp(const Work &work, const QString &file);
// "a", "a and b", "a, b and c"
QString listed(const QStringList &names);
}
