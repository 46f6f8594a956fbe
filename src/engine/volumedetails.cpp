#include "volumedetails.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

std::optional<VolumeDetails> parseVolumeDetails(const QByteArray &inspect)
{
    const QJsonDocument doc = QJsonDocument::fromJson(inspect);
    const QJsonObject v = doc.isArray() ? doc.array().at(0).toObject() : doc.object();
    const QString name = v.value(QLatin1String("Name")).toString();
    if (name.isEmpty())
        return std::nullopt;
    VolumeDetails d;
    d.name = name;
    d.driver = v.value(QLatin1String("Driver")).toString();
    d.mountpoint = v.value(QLatin1String("Mountpoint")).toString();
    d.scope = v.value(QLatin1String("Scope")).toString();
    d.created = QDateTime::fromString(v.value(QLatin1String("CreatedAt")).toString(), Qt::ISODateWithMs);
    const auto map = [](const QJsonValue &value) {
        QMap<QString, QString> out;
        const QJsonObject o = value.toObject();
        for (auto it = o.constBegin(); it != o.constEnd(); ++it)
            out.insert(it.key(), it->toString());
        return out;
    };
    d.labels = map(v.value(QLatin1String("Labels")));
    d.options = map(v.value(QLatin1String("Options")));
    d.document = QString::fromUtf8(QJsonDocument(v).toJson(QJsonDocument::Indented));
    return d;
}

}
