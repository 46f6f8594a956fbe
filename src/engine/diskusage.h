#pragma once

#include "container.h"
#include "dockerimage.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// Where an engine's disk goes, as `docker system df -v` reports it. Sizes in bytes; -1 where
// the engine gave none that reads.
struct DiskUsage {
    struct Image {
        QString id;   // "sha256:…"
        QString repository;
        QString tag;
        qint64 bytes = -1;
        qint64 sharedBytes = -1;
        qint64 uniqueBytes = -1;
        // Containers made from it, running or not.
        int containers = 0;
        bool isDangling() const { return repository == QLatin1String("<none>") && tag == QLatin1String("<none>"); }
        friend bool operator==(const Image &, const Image &) = default;
    };
    struct Container {
        QString id;
        QString name;
        QString image;
        QString state;
        // Its writable layer: the files it wrote, which go with it.
        qint64 bytes = -1;
        QMap<QString, QString> labels;
        // The volumes it mounts, by name.
        QStringList mounts;
        friend bool operator==(const Container &, const Container &) = default;
    };
    struct Volume {
        QString name;
        qint64 bytes = -1;
        // Containers that mount it, running or not.
        int links = 0;
        QMap<QString, QString> labels;
        // Made by the engine for a mount that named none, by its label or its name.
        bool isAnonymous() const;
        friend bool operator==(const Volume &, const Volume &) = default;
    };
    struct Cache {
        QString id;
        QString kind;
        QString description;
        qint64 bytes = -1;
        bool inUse = false;
        bool shared = false;
        friend bool operator==(const Cache &, const Cache &) = default;
    };
    // One kind's sum as the engine counts it: layers two images share count once.
    struct Total {
        int count = 0;
        int active = 0;
        qint64 bytes = -1;
        qint64 reclaimable = -1;
        friend bool operator==(const Total &, const Total &) = default;
    };
    QList<Image> images;
    QList<Container> containers;
    QList<Volume> volumes;
    QList<Cache> buildCache;
    Total imagesTotal, containersTotal, volumesTotal, cacheTotal;
    // All four totals; -1 while any is unknown.
    qint64 bytes() const;
    friend bool operator==(const DiskUsage &, const DiskUsage &) = default;
};

namespace Docker {
// `docker system df -v --format json`: one object with the four lists. Rows without an id or
// name are left out; an unreadable document is an empty report.
DiskUsage parseDiskUsage(const QByteArray &json);
// `docker system df --format json`: one line per kind. Fills the totals of usage; a kind
// missing or unreadable keeps its unknown sizes.
void parseDiskTotals(const QByteArray &jsonLines, DiskUsage &usage);
// The report with every image and container named as the engine's listings name them, by id:
// some engines' reports name every image "<none>", or cut the first letter of a container's
// name. An image the listing gives no name becomes "<none>"; one it lacks keeps the report's.
DiskUsage withListedNames(DiskUsage usage, const QList<DockerImage> &images, const QList<Container> &containers);
}
