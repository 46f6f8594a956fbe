#include "docker.h"

#include <QJsonObject>

namespace Docker {

MountMap parseMounts(const QString &text)
{
    MountMap mounts;
    for (const auto &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype bar = line.indexOf(u'|');
        QStringView name = QStringView(line).left(bar < 0 ? line.size() : bar);
        const auto trimmable = [](QChar c) { return c == u'/' || c == u' '; };
        while (!name.isEmpty() && trimmable(name.front()))
            name = name.mid(1);
        while (!name.isEmpty() && trimmable(name.back()))
            name.chop(1);
        if (name.isEmpty())
            continue;
        mounts.insert(name.toString(), bar < 0 ? QStringList() : line.mid(bar + 1).split(u',', Qt::SkipEmptyParts));
    }
    return mounts;
}

VolumeLabels parseVolumeLabels(const QString &text)
{
    VolumeLabels all;
    for (const auto &object : ndjson(text)) {
        const QString name = object.value(QLatin1String("Name")).toString();
        if (name.isEmpty())
            continue;
        QMap<QString, QString> labels;
        const QJsonObject raw = object.value(QLatin1String("Labels")).toObject();
        for (auto it = raw.begin(); it != raw.end(); ++it)
            labels.insert(it.key(), it.value().toString());
        all.insert(name, labels);
    }
    return all;
}

} // namespace Docker
