#pragma once

#include <QMap>
#include <QString>

struct DockerVolume {
    QString name;
    QString driver;
    QString mountpoint;
    QMap<QString, QString> labels = {};

    bool isAnonymous() const { return isAnonymous(name, labels); }
    // Made by the engine for a mount that named none: its own label says so, and older
    // engines that set no label gave it 64 hexadecimal digits for a name.
    static bool isAnonymous(const QString &name, const QMap<QString, QString> &labels);
    // The runtime whose listing showed it, by name, where several engines are shown at
    // once; empty in one engine's own lists.
    QString engine = {};

    friend bool operator==(const DockerVolume &, const DockerVolume &) = default;
};
