#include "updatesreport.h"

#include "docker.h"
#include "tagcheck.h"

#include <QJsonArray>
#include <QMap>

namespace {

QString stateName(ImageFreshness::State state)
{
    switch (state) {
    case ImageFreshness::State::Newer: return QStringLiteral("newer");
    case ImageFreshness::State::Current: return QStringLiteral("current");
    case ImageFreshness::State::Unknown: break;
    }
    return QStringLiteral("unknown");
}

QJsonValue digest(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

} // namespace

QList<UpdatesReport::Image> reportedImages(const ImageOrigins &origins, const QList<Container> &containers, const TagLedger &ledger,
                                           const QDateTime &now)
{
    QMap<QString, UpdatesReport::Image> byReference;
    for (const ImageOrigin &origin : origins.images)
        for (const QString &tag : origin.tags)
            if (const auto ref = ImageReference::parse(tag)) {
                const QString key = ref->canonical();
                const auto check = ledger.tags.contains(key) ? std::optional(ledger.tags.value(key)) : std::nullopt;
                byReference.insert(key, {NewerImages::judge(*ref, origin, check, now), {}});
            }
    for (const Container &c : containers) {
        const auto ref = ImageReference::parse(c.image);
        if (!ref)
            continue;
        const QString key = ref->canonical();
        if (ref->pinned() && !byReference.contains(key))
            byReference.insert(key, {NewerImages::judge(*ref, {}, std::nullopt, now), {}});
        if (byReference.contains(key))
            byReference[key].containers.append(c.name);
    }
    QList<UpdatesReport::Image> images = byReference.values();
    for (UpdatesReport::Image &i : images)
        i.containers.sort();
    std::sort(images.begin(), images.end(), [](const auto &a, const auto &b) { return a.freshness.reference < b.freshness.reference; });
    return images;
}

UpdatesReport gatherUpdates(const Engine &engine, const std::optional<QString> &context)
{
    const std::optional<Runtime> runtime = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    UpdatesReport report{context};
    try {
        QStringList ids;
        for (const DockerImage &i : engine.images(runtime))
            if (i.tag != QLatin1String("<none>") && !ids.contains(i.id))
                ids.append(i.id);
        const QList<Container> containers = engine.containers(runtime);
        const ImageOrigins origins = engine.imageOrigins(ids, runtime);
        auto ledger = std::make_shared<TagLedger>();
        const QList<InsecureRegistries> insecure{origins.insecure};
        QCoro::waitFor(TagCheckRun::ask(TagCheckRun::checkableTags(origins.images).values(), ledger,
                                        [insecure](const QString &host) { return TagCheckRun::plainHttpAllowed(host, insecure); }));
        report.images = reportedImages(origins, containers, *ledger, QDateTime::currentDateTimeUtc());
    } catch (const DockerError &e) {
        report.error = e.message();
    }
    return report;
}

void writeUpdates(const UpdatesReport &report, QTextStream &out)
{
    if (!report.error.isEmpty()) {
        out << "updates failed: " << report.error << '\n';
        return;
    }
    if (report.images.isEmpty()) {
        out << "no tagged images\n";
        return;
    }
    qsizetype width = 0;
    for (const auto &i : report.images)
        width = std::max(width, i.freshness.reference.size());
    for (const auto &i : report.images) {
        out << stateName(i.freshness.state).leftJustified(8) << i.freshness.reference.leftJustified(width + 2) << i.freshness.reason;
        if (!i.containers.isEmpty())
            out << " — run by " << i.containers.join(QLatin1String(", "));
        out << '\n';
    }
}

QJsonObject updatesJson(const UpdatesReport &report)
{
    QJsonObject root{{QStringLiteral("schema"), 1},
                     {QStringLiteral("context"), report.context ? QJsonValue(*report.context) : QJsonValue(QJsonValue::Null)}};
    if (!report.error.isEmpty()) {
        root.insert(QStringLiteral("error"), report.error);
        return root;
    }
    QJsonArray images;
    for (const auto &i : report.images)
        images.append(QJsonObject{{QStringLiteral("reference"), i.freshness.reference},
                                  {QStringLiteral("state"), stateName(i.freshness.state)},
                                  {QStringLiteral("reason"), i.freshness.reason},
                                  {QStringLiteral("local"), digest(i.freshness.local)},
                                  {QStringLiteral("remote"), digest(i.freshness.remote)},
                                  {QStringLiteral("containers"), QJsonArray::fromStringList(i.containers)}});
    root.insert(QStringLiteral("images"), images);
    return root;
}
