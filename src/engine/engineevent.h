#pragma once

#include "listings.h"

#include <QString>
#include <optional>

// A container's state as one event settles it, before any listing confirms it: the event
// stream tells of a stop before a `ps` child could have started.
struct ContainerChange {
    // Killed, Stopped, OutOfMemory, Unhealthy and Healthy change no row: they tell why a
    // container stops or how it fares. A kill is what every stop, restart and compose down
    // sends first; Stopped comes after the death a stop asked for. Updated: its settings
    // changed (`docker update`), such as its restart policy.
    enum class Kind { Started, Died, Paused, Unpaused, Destroyed, Killed, Stopped, OutOfMemory, Unhealthy, Healthy, Updated };
    // The engine's full id; listings show a prefix of it.
    QString id;
    Kind kind = Kind::Started;
    int exitCode = 0;
    QString name;
    QString project;   // its compose project, when it has one
    int signal = 0;    // what a kill sent; 0 when the engine did not say
    friend bool operator==(const ContainerChange &, const ContainerChange &) = default;
};

// What one line of the event stream says.
struct EngineEvent {
    // The lists that may differ from the last listing.
    Listings lists;
    std::optional<ContainerChange> container;
    friend bool operator==(const EngineEvent &, const EngineEvent &) = default;
};
