#pragma once

#include "engine.h"

// Which runtime the store shows when the selected one stops answering.
namespace RuntimeSelection {

// "default", or "default · offline" for an entry that cannot be reached.
QString label(const RuntimeEntry &entry);

// The rows with their reachability looked at again, as it is now.
QList<RuntimeEntry> rechecked(const Engine &engine, QList<RuntimeEntry> rows);

// The runtimes watched at once: every one on this machine (a unix socket that is there),
// those of other machines the user turned on by name, and the selected one whatever it is.
// Two entries reaching the same endpoint are one engine: the selected one, else the first.
QList<RuntimeEntry> watched(const QList<RuntimeEntry> &entries, const QStringList &remotesOn, const std::optional<Runtime> &selected);
// Whether an entry's engine runs on this machine, by its endpoint's scheme alone.
bool isLocal(const RuntimeEntry &entry);

// What the notice says when the store turns to another runtime, and when it comes back to
// the one the user chose.
QString handedOver(const Runtime &from, const Runtime &to);
QString cameBack(const Runtime &chosen, const Runtime &from);

}
