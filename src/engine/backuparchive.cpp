#include "backuparchive.h"

#include "dockererror.h"

#include <QDir>
#include <QFile>

#include <archive.h>
#include <archive_entry.h>
#include <memory>

namespace Archive {

QList<Entry> entries(const QString &file)
{
    const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), &archive_read_free);
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_format_gnutar(reader.get());
    const auto problem = [&] {
        const char *why = archive_error_string(reader.get());
        return DockerError(QStringLiteral("%1 is not a tar archive Korvat can restore from: %2")
                               .arg(file, why ? QString::fromLocal8Bit(why) : QStringLiteral("unreadable")));
    };
    if (archive_read_open_filename(reader.get(), QFile::encodeName(file).constData(), 64 * 1024) != ARCHIVE_OK)
        throw problem();
    const auto text = [](const char *utf8, const char *local) {
        return utf8 ? QString::fromUtf8(utf8) : QString::fromLocal8Bit(local);
    };
    QList<Entry> list;
    archive_entry *entry = nullptr;
    for (;;) {
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN)
            throw problem();
        Entry read{text(archive_entry_pathname_utf8(entry), archive_entry_pathname(entry)), Entry::Type::Other};
        if (const char *hard = archive_entry_hardlink(entry)) {
            read.type = Entry::Type::HardLink;
            read.target = text(archive_entry_hardlink_utf8(entry), hard);
        } else if (archive_entry_filetype(entry) == AE_IFLNK) {
            read.type = Entry::Type::SymbolicLink;
            read.target = text(archive_entry_symlink_utf8(entry), archive_entry_symlink(entry));
        } else if (archive_entry_filetype(entry) == AE_IFDIR) {
            read.type = Entry::Type::Directory;
        } else if (archive_entry_filetype(entry) == AE_IFREG) {
            read.type = Entry::Type::File;
        }
        list << read;
        archive_read_data_skip(reader.get());
    }
    return list;
}

namespace {
// The path as it lands, without "./" in front or "/" behind.
QString landing(const QString &path)
{
    QStringView p(path);
    while (p.startsWith(u"./"))
        p = p.mid(2);
    while (p.endsWith(u'/'))
        p.chop(1);
    return p.toString();
}

bool leavesItsFolder(QStringView path)
{
    return path.startsWith(u'/') || path == u".." || path.startsWith(u"../") || path.contains(u"/../") || path.endsWith(u"/..");
}
}

Placement place(const QList<Entry> &entries)
{
    const auto outside = [](const QString &shown) {
        return Placement{Placement::Kind::Refused, QStringLiteral("it holds %1, a path outside its own folder, so nothing was restored").arg(shown)};
    };
    // Unpacked in order, an entry below one of the archive's own symbolic links is written
    // wherever that link points, which may be anywhere on the engine's machine. Whatever the
    // order, such an archive is refused.
    // A hard link to one of them is the same link under another name, and a hard link is
    // made to whatever its target names, so no entry may pass through any link at all.
    QStringList links;
    for (const Entry &entry : entries) {
        if (entry.type == Entry::Type::SymbolicLink || entry.type == Entry::Type::HardLink)
            links << QDir::cleanPath(landing(entry.path)) + u'/';
    }
    bool ours = true;
    bool anything = false;
    for (const Entry &entry : entries) {
        const QString path = landing(entry.path);
        if (path.isEmpty() || path == u'.')
            continue;
        if (leavesItsFolder(path))
            return outside(entry.path);
        if (entry.type == Entry::Type::HardLink && leavesItsFolder(landing(entry.target)))
            return outside(entry.target);
        // ".." is refused above, so cleaning only folds "//" and "/./" the way unpacking would.
        const QString cleaned = QDir::cleanPath(path);
        const QString target = entry.type == Entry::Type::HardLink ? QDir::cleanPath(landing(entry.target)) + u'/' : QString();
        for (const QString &link : std::as_const(links)) {
            if (cleaned.startsWith(link) || (!target.isEmpty() && (target == link || target.startsWith(link))))
                return {Placement::Kind::Refused, QStringLiteral("it holds %1, a path through the link %2 it makes itself, so nothing was restored")
                                                      .arg(entry.path, link.chopped(1))};
        }
        anything = true;
        ours = ours && (path == u"volume" || path.startsWith(u"volume/"));
    }
    if (!anything)
        return {Placement::Kind::Refused, QStringLiteral("it holds no files, so nothing was restored")};
    return {ours ? Placement::Kind::Root : Placement::Kind::Volume, {}};
}

}
