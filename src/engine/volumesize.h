#pragma once

#include <QString>
#include <optional>

namespace VolumeSize {
// Bytes the file system allocated for everything under path, links not followed;
// absent when any part of the tree cannot be read.
std::optional<qint64> allocatedBytes(const QString &path);
// "113 MB", "4 kB": decimal units, no decimals.
QString format(qint64 bytes);
}
