#include "volumesize.h"

#include <QLocale>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VolumeSize {

namespace {
// Walks with directory descriptors, so a tree of any depth costs no path strings.
bool sumTree(int dirFd, qint64 &total)
{
    DIR *dir = fdopendir(dirFd);
    if (!dir) {
        close(dirFd);
        return false;
    }
    bool ok = true;
    errno = 0;
    while (dirent *entry = readdir(dir)) {
        const char *name = entry->d_name;
        if ((name[0] == '.' && name[1] == 0) || (name[0] == '.' && name[1] == '.' && name[2] == 0))
            continue;
        struct stat st {};
        if (fstatat(dirfd(dir), name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
            ok = false;
            break;
        }
        total += qint64(st.st_blocks) * 512;
        if (S_ISDIR(st.st_mode)) {
            const int child = openat(dirfd(dir), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0 || !sumTree(child, total)) {
                ok = false;
                break;
            }
        }
    }
    if (errno != 0)
        ok = false;
    closedir(dir);
    return ok;
}
}

std::optional<qint64> allocatedBytes(const QString &path)
{
    const QByteArray native = path.toLocal8Bit();
    struct stat st {};
    if (lstat(native.constData(), &st) != 0)
        return std::nullopt;
    qint64 total = qint64(st.st_blocks) * 512;
    if (S_ISDIR(st.st_mode)) {
        const int fd = open(native.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0 || !sumTree(fd, total))
            return std::nullopt;
    }
    return total;
}

QString format(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 0, QLocale::DataSizeSIFormat);
}

} // namespace VolumeSize
