#pragma once

#include "fakeengine.h"
#include "projectregistry.h"
#include "tool.h"

// Built-in sample state for screenshots: projects in every card state, loose containers,
// images, volumes and two runtimes, one of them offline.
namespace SampleData {
// An engine holding the samples; project directories live under root.
std::shared_ptr<FakeEngine> engine(const QString &root);
FakeEngine::Holdings holdings(const QString &root);
// Projects added by hand that run nothing: billing, and archive whose directory is gone.
ProjectRegistry registry(const QString &root);
// Creates the sample projects' directories under root: storefront, website, billing and docs
// with a compose file, notes without one; legacy's and archive's directories stay missing.
void layOut(const QString &root);
QString logText();
// Commands typed into the exec console and what each printed.
QList<std::pair<QString, ExecResult>> commands();
// Tools in every state the settings show: an update, a missing one, one installed outside
// Homebrew with a newer release, one up to date; the service wants a restart.
QList<Tool> tools();
SystemStatus status();
QString jobOutput();
}
