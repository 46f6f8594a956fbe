#include "desktop.h"

#include <QDir>
#include <QFile>

#include <cstring>
#include <cstddef>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Desktop {

namespace {
// X listens both on an abstract socket and on a file of the same name.
bool unixSocketAnswers(const QString &path)
{
    for (const bool abstract : {true, false}) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return false;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        const qsizetype offset = abstract ? 1 : 0;
        if (name.size() + offset >= qsizetype(sizeof address.sun_path)) {
            ::close(fd);
            return false;
        }
        std::memcpy(address.sun_path + offset, name.constData(), size_t(name.size()));
        const socklen_t length = socklen_t(offsetof(sockaddr_un, sun_path) + offset + name.size());
        const bool connected = ::connect(fd, reinterpret_cast<sockaddr *>(&address), length) == 0;
        ::close(fd);
        if (connected)
            return true;
    }
    return false;
}

std::optional<QString> missingX(const QString &display, const SocketAnswers &answers)
{
    // ":1", ":1.0", "unix:1": a local server's socket; "host:1" is reached over the network
    // and left to Qt.
    const QString host = display.section(u':', 0, 0);
    if (!host.isEmpty() && host != QLatin1String("unix"))
        return std::nullopt;
    const QString number = display.section(u':', 1).section(u'.', 0, 0);
    if (answers(QStringLiteral("/tmp/.X11-unix/X") + number))
        return std::nullopt;
    return QStringLiteral("no X server answers on DISPLAY %1").arg(display);
}

std::optional<QString> missingWayland(const QString &display, const QString &runtimeDir, const SocketAnswers &answers)
{
    const QString path = QDir::isAbsolutePath(display) ? display : runtimeDir + u'/' + display;
    if (answers(path))
        return std::nullopt;
    return QStringLiteral("no Wayland compositor answers on WAYLAND_DISPLAY %1").arg(display);
}
}

std::optional<QString> missingDisplay(const QMap<QString, QString> &env, const SocketAnswers &answers)
{
    const SocketAnswers ask = answers ? answers : SocketAnswers(&unixSocketAnswers);
    const QString platform = env.value(QStringLiteral("QT_QPA_PLATFORM"));
    const QString x = env.value(QStringLiteral("DISPLAY")), wayland = env.value(QStringLiteral("WAYLAND_DISPLAY"));
    const QString runtimeDir = env.value(QStringLiteral("XDG_RUNTIME_DIR"));
    // A platform chosen by name (offscreen, vnc, eglfs) needs nothing checked here.
    if (!platform.isEmpty() && !platform.startsWith(QLatin1String("xcb")) && !platform.startsWith(QLatin1String("wayland")))
        return std::nullopt;
    if (platform.startsWith(QLatin1String("xcb")))
        return x.isEmpty() ? std::optional(QStringLiteral("no display: DISPLAY is unset")) : missingX(x, ask);
    if (platform.startsWith(QLatin1String("wayland")))
        return wayland.isEmpty() ? std::optional(QStringLiteral("no display: WAYLAND_DISPLAY is unset")) : missingWayland(wayland, runtimeDir, ask);
    // Qt tries Wayland first where a compositor runs, then X.
    if (!wayland.isEmpty() && !missingWayland(wayland, runtimeDir, ask))
        return std::nullopt;
    if (!x.isEmpty())
        return missingX(x, ask);
    if (!wayland.isEmpty())
        return missingWayland(wayland, runtimeDir, ask);
    return QStringLiteral("no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
}

}
