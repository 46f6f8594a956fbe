#pragma once

#include "engine.h"

// Which runtime the store shows when the selected one stops answering.
namespace RuntimeSelection {

// "default", or "default · offline" for an entry that cannot be reached.
QString label(const RuntimeEntry &entry);

// The rows with their reachability looked at again, as it is now.
QList<RuntimeEntry> rechecked(const Engine &engine, QList<RuntimeEntry> rows);

// The first reachable runtime other than the one that does not answer, and what the
// notice says about the move; none while the selected runtime is reachable or when no other is.
struct Handover {
    Runtime to;
    QString notice;
    friend bool operator==(const Handover &, const Handover &) = default;
};
std::optional<Handover> handover(const std::optional<Runtime> &from, const QList<RuntimeEntry> &rows);

}
