#include "volumesize.h"

#include <QFileInfo>
#include <QLocale>

#include <cerrno>
#include <functional>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VolumeSize {

namespace {
// Walks with directory descriptors, so a tree of any depth costs no path strings but for
// what the visitor asks to name.
using Visit = std::function<void(const struct stat &, const QString &relative)>;

bool walk(int dirFd, const Visit &visit, const QString &prefix, bool namePaths)
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
        const QString path = namePaths ? prefix + QString::fromLocal8Bit(name) : QString();
        visit(st, path);
        if (S_ISDIR(st.st_mode)) {
            const int child = openat(dirfd(dir), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child < 0 || !walk(child, visit, namePaths ? path + u'/' : QString(), namePaths)) {
                ok = false;
                break;
            }
        }
        errno = 0;
    }
    if (errno != 0)
        ok = false;
    closedir(dir);
    return ok;
}

bool walkFrom(const QString &path, struct stat &top, const Visit &visit, bool namePaths)
{
    const QByteArray native = path.toLocal8Bit();
    if (lstat(native.constData(), &top) != 0)
        return false;
    if (!S_ISDIR(top.st_mode))
        return true;
    const int fd = open(native.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    return fd >= 0 && walk(fd, visit, QString(), namePaths);
}
}

std::optional<qint64> allocatedBytes(const QString &path)
{
    struct stat top {};
    qint64 total = 0;
    if (!walkFrom(path, top, [&](const struct stat &st, const QString &) { total += qint64(st.st_blocks) * 512; }, false))
        return std::nullopt;
    return total + qint64(top.st_blocks) * 512;
}

QStringList unarchivable(const QString &path)
{
    QStringList found;
    struct stat top {};
    walkFrom(path, top, [&](const struct stat &st, const QString &relative) {
        if (S_ISSOCK(st.st_mode))
            found << relative;
    }, true);
    return found;
}

bool onThisMachine(const QString &endpoint)
{
    const QString scheme = QStringLiteral("unix://");
    return endpoint.startsWith(scheme) && endpoint.size() > scheme.size() && QFileInfo::exists(endpoint.mid(scheme.size()));
}

QString format(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 0, QLocale::DataSizeSIFormat);
}

} // namespace VolumeSize
