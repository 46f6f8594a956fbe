#pragma once

#include "appstore.h"
#include "tool.h"

// Built-in sample state for screenshots: three projects (running, partly failed, stopped),
// loose containers, images, volumes and two runtimes, one of them offline.
namespace SampleData {
StorePreview store();
// Tools with one update waiting, so the update banner has something to say.
QList<Tool> tools();
}
