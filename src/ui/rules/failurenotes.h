#pragma once

#include "failurewatch.h"

#include <QList>
#include <QString>

// What a desktop notification says of the failures of one burst.
namespace FailureNotes {

struct Note {
    QString summary;
    QString body;
    // Whose logs "Show logs" opens: the container's when one failed, else the project's.
    QString containerId;
    QString project;
    // The engine it failed on, by name.
    QString engine = {};

    friend bool operator==(const Note &, const Note &) = default;
};

// One note per project, its failures folded into one ("3 containers of shop stopped
// unexpectedly"); a container outside any project has its own. More than maxNotes fold
// into one for the whole burst ("30 containers stopped unexpectedly").
constexpr qsizetype maxNotes = 3;
QList<Note> notes(const QList<Failure> &failures);

}
