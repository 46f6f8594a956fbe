#pragma once

#include "diskusage.h"
#include "dockerimage.h"
#include "runtime.h"
#include <optional>

#include <QList>
#include <QMultiMap>
#include <QString>
#include <QStringList>

// What a reclaim would remove from an engine, item by item, and what it never touches. Like
// a project's deletion plan it is a snapshot: what is removed is exactly what it lists, by id.
struct ReclaimPlan {
    enum class Kind { DanglingImages, BuildCache, UnusedImages, StoppedContainers, AnonymousVolumes };
    struct Item {
        // What the removal names: an image's or container's id, a volume's name, a cache
        // record's id.
        QString id;
        // What a person reads: the tags, the container's name, the volume's name.
        QString name;
        qint64 bytes = -1;
        // An image's names as the plan saw them: one given since keeps the image.
        QStringList tags;
        friend bool operator==(const Item &, const Item &) = default;
    };
    struct Category {
        Kind kind;
        // Chosen unless the user says otherwise.
        bool byDefault = false;
        QList<Item> items;
        qint64 bytes() const;
        friend bool operator==(const Category &, const Category &) = default;
    };
    QList<Category> categories;
    // The engine's sum of everything it holds when the plan was made; -1 if unknown.
    qint64 before = -1;
    // The engine it was read from, and the only one it may act on.
    std::optional<Runtime> runtime;

    // The categories of those kinds, in plan order.
    QList<Category> chosen(const QList<Kind> &kinds) const;

    static QString title(Kind kind);
    // What the category's items take with them, where a person should know: "Each goes with
    // the files it wrote."
    static QString warning(Kind kind);
    // The raw name in --json output: "danglingImages".
    static QString key(Kind kind);
    // What no reclaim ever removes, each a sentence.
    static QStringList never();
    friend bool operator==(const ReclaimPlan &, const ReclaimPlan &) = default;
};

namespace Reclaim {
// Dangling images and build cache not in use, by default; tagged images no container uses,
// stopped containers of no compose project, and anonymous volumes no container mounts, on
// request. listed: the engine's image listing, read with the report. It alone says what an
// image is called (a report may name one tag of several, or none at all), so an image is
// dangling only when the listing gives it no name (a repository without a tag, as a pull by
// digest leaves, is a name), and one the listing lacks is kept.
ReclaimPlan plan(const DiskUsage &usage, const QList<DockerImage> &listed);
}
