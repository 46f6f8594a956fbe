#pragma once

#include "composeproject.h"

#include <QString>
#include <optional>

// What a project card says about itself and whether compose may act on it.
struct CardState {
    QString badge;   // empty while containers run
    QString help;    // empty when there is nothing to explain
    bool composeEnabled = false;

    friend bool operator==(const CardState &, const CardState &) = default;
};

namespace ProjectCard {
// The card's state from what the disk shows: decided in a fixed order, first match wins.
CardState state(const ComposeProject &project, bool directoryExists, bool hasComposeFile);
// The line under the card's name.
QString directoryLine(const ComposeProject &project, bool directoryExists);
// What a screen reader says after the card's name: its badge, its counts, its directory
// line and its help, as the card shows them ("Not running · 0 of 1 running · /srv/docs").
QString spoken(const ComposeProject &project, const CardState &card, bool directoryExists);
// The question "Down" asks before it acts.
QString downConfirmation(int containerCount);
}
