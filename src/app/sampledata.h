#pragma once

#include "appstore.h"
#include "teardownplan.h"
#include "tool.h"

// Built-in sample state for screenshots: projects in every card state, loose containers,
// images, volumes and two runtimes, one of them offline.
namespace SampleData {
// Project directories live under root; laidOut() makes them so the cards read the disk.
StorePreview store(const QString &root = QStringLiteral("/home/dev/code"));
// The same, while the engine has kept the store waiting for twelve seconds.
StorePreview stale(StorePreview state);
// Creates the sample projects' directories under root: storefront, website, billing and docs
// with a compose file, notes without one; legacy's and archive's directories stay missing.
void layOut(const QString &root);
// The deletion of website: its container, a volume of its own, one a loose container keeps.
TeardownPlan websitePlan(const QString &root);
QString logText();
QString transcript();
// Tools in every state the settings show: an update, a missing one, one installed outside
// Homebrew with a newer release, one up to date; the service wants a restart.
QList<Tool> tools();
SystemStatus status();
QString jobOutput();
}
