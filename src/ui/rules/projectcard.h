#pragma once

#include "composeproject.h"
#include "projectservices.h"

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
// total: its containers and the services not yet created, when more than its containers.
QString spoken(const ComposeProject &project, const CardState &card, bool directoryExists, int total = -1);
// The question "Down" asks before it acts.
QString downConfirmation(int containerCount);
// A service without a container: "Not created", "Profile debug", "Profiles debug or tools".
QString serviceState(const ProjectService &service);
// "web, Not created, nginx:1.27", for a screen reader.
QString serviceSpoken(const ProjectService &service);
// What the last pull found: "Newer image for web. Up to date: db and cache."
QString pullSummary(const PullSummary &summary);
// "Recreate 1 service", "Recreate 2 services".
QString recreateLabel(int services);
}
