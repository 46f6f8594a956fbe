#include "backuparchive.h"

#include "dockererror.h"

#include <QFile>

#include <archive.h>
#include <archive_entry.h>
#include <memory>

namespace Archive {

QStringList entries(const QString &file)
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
    QStringList paths;
    archive_entry *entry = nullptr;
    for (;;) {
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN)
            throw problem();
        const char *utf8 = archive_entry_pathname_utf8(entry);
        paths << (utf8 ? QString::fromUtf8(utf8) : QString::fromLocal8Bit(archive_entry_pathname(entry)));
        archive_read_data_skip(reader.get());
    }
    return paths;
}

Placement place(const QStringList &entries)
{
    bool ours = true;
    bool anything = false;
    for (const QString &entry : entries) {
        QStringView path(entry);
        while (path.startsWith(u"./"))
            path = path.mid(2);
        while (path.endsWith(u'/'))
            path.chop(1);
        if (path.isEmpty() || path == u".")
            continue;
        if (path.startsWith(u'/') || path == u".." || path.startsWith(u"../") || path.contains(u"/../") || path.endsWith(u"/.."))
            return {Placement::Kind::Refused, QStringLiteral("it holds %1, a path outside its own folder, so nothing was restored").arg(entry)};
        anything = true;
        ours = ours && (path == u"volume" || path.startsWith(u"volume/"));
    }
    if (!anything)
        return {Placement::Kind::Refused, QStringLiteral("it holds no files, so nothing was restored")};
    return {ours ? Placement::Kind::Root : Placement::Kind::Volume, {}};
}

}
