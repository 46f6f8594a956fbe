#pragma once

#include "category.h"
#include "container.h"
#include "dockerimage.h"
#include "dockervolume.h"

#include <QList>
#include <QString>

// The orders a long list can be shown in. The store's own order stays the default; the
// others are the user's choice, kept per section.
namespace ListOrder {

enum class Key { Listed, Name, State, Created, Size };

// What the section can be sorted by, the store's order first; none for projects.
QList<Key> keysFor(Category c);
QString label(Key k);
QString raw(Key k);
std::optional<Key> fromRaw(const QString &raw);

// Stable, so rows that tie keep the store's order; names compare as a person reads them
// (web-2 before web-10), state puts running first, created and size put newest and
// largest first.
QList<Container> sorted(QList<Container> rows, Key k);
QList<DockerImage> sorted(QList<DockerImage> rows, Key k);
QList<DockerVolume> sorted(QList<DockerVolume> rows, Key k);

}
