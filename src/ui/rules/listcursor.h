#pragma once

#include <QList>
#include <QObject>
#include <QPoint>
#include <QtQml/qqmlregistration.h>

// Where the keyboard sits in a list whose items may hold rows of their own (a project card
// and its containers, a tray group and its containers). A stop is an item's own header
// (row -1) or one of its rows; the arrows walk the stops in reading order, so a list is one
// Tab stop however many buttons its rows carry.
namespace ListCursor {

struct Stop {
    int item = -1;
    int row = -1;

    bool operator==(const Stop &) const = default;
};

enum class Move { Here, Up, Down, PageUp, PageDown, Home, End };

// rows[i] is how many rows item i holds; headers says whether an item's header is a stop
// itself. Here puts a stop left behind by a refresh back on the nearest one that exists.
// No stops at all gives {-1, -1}.
Stop step(const QList<int> &rows, bool headers, Stop at, Move move, int page);

}

// The rule for QML, which passes a stop as a point (item, row).
class ListKeys : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    enum Move { Here, Up, Down, PageUp, PageDown, Home, End };
    Q_ENUM(Move)

    using QObject::QObject;

    Q_INVOKABLE QPoint step(const QList<int> &rows, bool headers, QPoint at, int move, int page) const;
};
