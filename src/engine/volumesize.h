#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace VolumeSize {
// Bytes the file system allocated for everything under path, links not followed;
// absent when any part of the tree cannot be read.
std::optional<qint64> allocatedBytes(const QString &path);
// What under path a tar archive cannot hold (sockets), relative to it; empty when the tree
// cannot be read from here.
QStringList unarchivable(const QString &path);
// Whether an engine reached at endpoint reports paths on this machine's disk: a unix socket
// that exists here. Any other, or one whose socket is not here, is another machine's.
bool onThisMachine(const QString &endpoint);
// "113 MB", "4 kB": decimal units, no decimals.
QString format(qint64 bytes);
}
