#pragma once

#include "diskusage.h"

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>
#include <optional>

// How the disk view reads a report: one tile per kind, then every item, largest first,
// each saying what uses it.
namespace DiskText {

struct Tile {
    QString title;
    QString icon;
    // "1.2 GB"
    QString total;
    // "14 images · 800 MB their own · 400 MB shared"
    QString detail;
    // "300 MB not in use", as the engine counts it.
    QString reclaimable;
    friend bool operator==(const Tile &, const Tile &) = default;
};

struct Row {
    enum class Kind { Image, Container, Volume, Cache };
    Kind kind = Kind::Image;
    QString id;
    QString name;
    qint64 bytes = -1;
    // "Used by web-1 and db-1", "Nothing mounts it", "Stopped · project shop".
    QString use;
    // What the size is of, where it needs saying: "writable layer", "2 B its own".
    QString detail;
    // The engine whose disk it is on, where several are shown.
    QString engine = {};
    friend bool operator==(const Row &, const Row &) = default;
};

QList<Tile> tiles(const DiskUsage &usage);
// Every image, container, volume and build cache record, largest first; unknown sizes last.
QList<Row> rows(const DiskUsage &usage);
QString icon(Row::Kind kind);
// "1 item", "3 items"
QString counted(qsizetype n, const char *one, const char *many);
// "1.2 GB", or "size unknown".
QString size(qint64 bytes);
// What a screen reader says of a row after its name.
QString spoken(const Row &row);
// "Read at 14:05", in the locale's hours and minutes.
QString readAt(const QDateTime &at, const QLocale &locale = QLocale());
// "Freed 1.2 GB.", "Freed nothing the engine counts.", or that the engine did not say.
QString freed(const std::optional<qint64> &bytes);
}
