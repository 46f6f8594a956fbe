#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// What a volume backup archive holds, read before any of it reaches the engine, and where
// its entries belong in a volume.
namespace Archive {

// One entry as the archive states it.
struct Entry {
    enum class Type { File, Directory, SymbolicLink, HardLink, Other };
    QString path;
    Type type = Type::File;
    // What a link points at; empty for anything else.
    QString target = {};
    friend bool operator==(const Entry &, const Entry &) = default;
};

// Every entry, in the archive's order. Reads tar in any of its dialects, compressed or
// not; throws DockerError, saying why, for anything else.
QList<Entry> entries(const QString &file);

// Where `docker cp` must unpack an archive for its entries to land in a volume mounted at
// /volume in the helper container.
struct Placement {
    enum class Kind {
        // Korvat's own backups: every entry under "volume/", unpacked at the root.
        Root,
        // Any other archive of relative paths (`tar -C dir -cf x.tar .`): unpacked inside.
        Volume,
        // Nothing it could place safely; why is in reason.
        Refused,
    };
    Kind kind = Kind::Refused;
    QString reason;
    friend bool operator==(const Placement &, const Placement &) = default;
};

Placement place(const QList<Entry> &entries);

}
