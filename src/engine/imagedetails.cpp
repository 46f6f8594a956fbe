#include "imagedetails.h"

#include "docker.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Docker {

QString instruction(const QString &createdBy)
{
    QString text = createdBy.trimmed();
    if (text.endsWith(QLatin1String("# buildkit")))
        text = text.chopped(10).trimmed();
    static const QLatin1String nop("/bin/sh -c #(nop)"), shell("/bin/sh -c ");
    if (text.startsWith(nop))
        return text.mid(nop.size()).trimmed();
    if (text.startsWith(shell))
        return QStringLiteral("RUN ") + text.mid(shell.size()).trimmed();
    return text;
}

std::optional<ImageDetails> parseImageDetails(const QByteArray &inspect, const QByteArray &history)
{
    const QJsonDocument doc = QJsonDocument::fromJson(inspect);
    const QJsonObject i = doc.isArray() ? doc.array().at(0).toObject() : doc.object();
    const QString id = i.value(QLatin1String("Id")).toString();
    if (id.isEmpty())
        return std::nullopt;
    const QJsonObject config = i.value(QLatin1String("Config")).toObject();
    ImageDetails d;
    d.id = id;
    d.tags = strings(i.value(QLatin1String("RepoTags")));
    d.created = QDateTime::fromString(i.value(QLatin1String("Created")).toString(), Qt::ISODateWithMs);
    d.bytes = qint64(std::clamp(i.value(QLatin1String("Size")).toDouble(), 0.0, 9e18));
    d.architecture = i.value(QLatin1String("Architecture")).toString();
    if (const QString variant = i.value(QLatin1String("Variant")).toString(); !variant.isEmpty())
        d.architecture += u'/' + variant;
    d.os = i.value(QLatin1String("Os")).toString();
    d.entrypoint = strings(config.value(QLatin1String("Entrypoint")));
    d.command = strings(config.value(QLatin1String("Cmd")));
    d.exposedPorts = config.value(QLatin1String("ExposedPorts")).toObject().keys();
    for (const QByteArray &line : history.split('\n')) {
        const QJsonObject layer = QJsonDocument::fromJson(line).object();
        if (layer.isEmpty())
            continue;
        const QString size = layer.value(QLatin1String("Size")).toString();
        d.layers.append({instruction(layer.value(QLatin1String("CreatedBy")).toString()), parseByteSize(size).value_or(0), size});
    }
    d.document = QString::fromUtf8(QJsonDocument(i).toJson(QJsonDocument::Indented));
    return d;
}

}
