#pragma once

#include "ansi.h"

#include <QDateTime>

// One line of a log as the sheet shows it: compose's service prefix and the engine's
// timestamp taken off the front, the rest as the program wrote it.
struct LogLine {
    Ansi::Line body;
    // The container compose named in front of the line ("web-1"); empty for one container's log.
    QString service;
    // With timestamps asked for, when the engine received the line.
    QDateTime time;
    friend bool operator==(const LogLine &, const LogLine &) = default;
};

namespace LogLines {
// prefixed: compose wrote "web-1  | " in front; timestamped: the engine's RFC 3339 time
// follows. A line without what was expected is kept whole.
LogLine read(Ansi::Line line, bool prefixed, bool timestamped);
// The line without its first n characters, its styles moved along.
Ansi::Line dropFront(Ansi::Line line, qsizetype n);
}
