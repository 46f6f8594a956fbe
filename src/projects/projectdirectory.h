#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

// What the disk showed of a project directory when it was last looked at.
struct DirectoryFacts {
    bool exists = false;
    bool composeFile = false;
    friend bool operator==(const DirectoryFacts &, const DirectoryFacts &) = default;
};

// Directory to what was found there. A directory missing from the map has not been looked
// at yet; readers take it to be as it was left, never as gone, so no warning flashes up
// while a look is under way and nothing remembered is overwritten on a guess.
using DirectoryMap = QHash<QString, DirectoryFacts>;

namespace ProjectDirectory {

// Blocks on the filesystem, for as long as a hung mount likes: never on the interface thread.
DirectoryFacts lookAt(const QString &dir);
DirectoryMap lookAt(const QStringList &dirs);

// What a card shows until a look answers: the directory as it should be.
inline DirectoryFacts factsOf(const DirectoryMap &dirs, const QString &dir)
{
    return dirs.value(dir, DirectoryFacts{true, true});
}

}
