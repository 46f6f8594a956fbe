#pragma once

#include <QFlags>

// The lists a refresh reads from the engine; an event names the ones it can change.
enum class Listing : unsigned { Containers = 1, Images = 2, Volumes = 4, Networks = 8 };
Q_DECLARE_FLAGS(Listings, Listing)
Q_DECLARE_OPERATORS_FOR_FLAGS(Listings)

inline constexpr Listings everyListing = Listings(Listing::Containers) | Listing::Images | Listing::Volumes | Listing::Networks;
