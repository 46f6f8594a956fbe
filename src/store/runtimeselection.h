#pragma once

#include "engine.h"

// Which runtime the store shows when the selected one stops answering.
namespace RuntimeSelection {

// "default", or "default · offline" for an entry that cannot be reached.
QString label(const RuntimeEntry &entry);

// The rows with their reachability looked at again, as it is now.
QList<RuntimeEntry> rechecked(const Engine &engine, QList<RuntimeEntry> rows);

// What the notice says when the store turns to another runtime, and when it comes back to
// the one the user chose.
QString handedOver(const Runtime &from, const Runtime &to);
QString cameBack(const Runtime &chosen, const Runtime &from);

}
