#include "newerimages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSaveFile>
#include <QStandardPaths>

namespace NewerImages {

namespace {

using Kind = RegistryAnswer::Kind;

QString clock(const QDateTime &at)
{
    return at.toLocalTime().toString(QStringLiteral("HH:mm"));
}

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Digest: return QStringLiteral("digest");
    case Kind::Missing: return QStringLiteral("missing");
    case Kind::Refused: return QStringLiteral("refused");
    case Kind::RateLimited: return QStringLiteral("rate-limited");
    case Kind::Unreachable: break;
    }
    return QStringLiteral("unreachable");
}

Kind kindNamed(const QString &name)
{
    for (Kind kind : {Kind::Digest, Kind::Missing, Kind::Refused, Kind::RateLimited, Kind::Unreachable})
        if (kindName(kind) == name)
            return kind;
    return Kind::Unreachable;
}

// Why the latest try failed, as the reason's first words where nothing older is known.
QString failure(const TagCheck &check, const QString &domain)
{
    switch (check.last) {
    case Kind::Refused: return QStringLiteral("Sign-in refused: %1").arg(check.detail);
    case Kind::RateLimited: return QStringLiteral("Rate limited by %1 until %2").arg(domain, clock(check.retryAfter));
    case Kind::Missing: return check.detail;
    case Kind::Unreachable: return QStringLiteral("Registry unreachable: %1").arg(check.detail);
    case Kind::Digest: break;
    }
    return {};
}

// The same, said after an older result.
QString since(const TagCheck &check, const QString &domain)
{
    switch (check.last) {
    case Kind::Refused: return QStringLiteral("sign-in refused since");
    case Kind::RateLimited: return QStringLiteral("rate limited by %1 until %2").arg(domain, clock(check.retryAfter));
    case Kind::Unreachable: return QStringLiteral("unreachable since");
    case Kind::Missing:
    case Kind::Digest: break;
    }
    return {};
}

QString stamp(const QDateTime &at)
{
    return at.isValid() ? at.toUTC().toString(Qt::ISODate) : QString();
}

QDateTime stamped(const QJsonValue &value)
{
    return QDateTime::fromString(value.toString(), Qt::ISODate);
}

} // namespace

Schedule scheduleNamed(const QString &name)
{
    for (Schedule s : {Schedule::Off, Schedule::Daily, Schedule::Hourly})
        if (nameOf(s) == name)
            return s;
    return Schedule::Every6Hours;
}

QString nameOf(Schedule schedule)
{
    switch (schedule) {
    case Schedule::Off: return QStringLiteral("off");
    case Schedule::Daily: return QStringLiteral("daily");
    case Schedule::Hourly: return QStringLiteral("hourly");
    case Schedule::Every6Hours: break;
    }
    return QStringLiteral("6h");
}

std::optional<std::chrono::seconds> interval(Schedule schedule)
{
    using namespace std::chrono_literals;
    switch (schedule) {
    case Schedule::Off: return std::nullopt;
    case Schedule::Daily: return 24h;
    case Schedule::Hourly: return 1h;
    case Schedule::Every6Hours: break;
    }
    return 6h;
}

QStringList digestsFor(const ImageReference &reference, const ImageOrigin &origin)
{
    QStringList digests;
    for (const QString &pulled : origin.repoDigests)
        if (const auto ref = ImageReference::parse(pulled); ref && ref->pinned() && ref->repository() == reference.repository())
            digests.append(ref->digest);
    return digests;
}

bool checkable(const ImageReference &reference, const ImageOrigin &origin)
{
    return !reference.pinned() && !digestsFor(reference, origin).isEmpty();
}

ImageFreshness judge(const ImageReference &reference, const ImageOrigin &origin, const std::optional<TagCheck> &check, const QDateTime &now)
{
    ImageFreshness f{reference.familiar(), ImageFreshness::State::Unknown, {}};
    if (reference.pinned()) {
        f.local = reference.digest;
        f.reason = QStringLiteral("Pinned by digest: it never moves");
        return f;
    }
    const QStringList local = digestsFor(reference, origin);
    if (local.isEmpty()) {
        f.reason = QStringLiteral("Built here: no digest from %1 to compare").arg(reference.domain);
        return f;
    }
    f.local = local.first();
    if (!check) {
        f.reason = QStringLiteral("Not checked yet");
        return f;
    }
    // A tag the registry no longer has says nothing of the image here.
    if (check->remote.isEmpty() || check->last == Kind::Missing) {
        f.reason = failure(*check, reference.domain);
        f.checkedAt = check->triedAt;
        return f;
    }
    f.remote = check->remote;
    f.checkedAt = check->readAt;
    const bool same = local.contains(check->remote);
    f.state = same ? ImageFreshness::State::Current : ImageFreshness::State::Newer;
    const QString when = checkedAt(check->readAt, now);
    QString reason = same ? QStringLiteral("Same as on %1 (checked %2").arg(reference.domain, when)
                          : QStringLiteral("%1 has a newer %2 (checked %3").arg(reference.domain, f.reference, when);
    if (check->last != Kind::Digest)
        reason += QStringLiteral("; %1").arg(since(*check, reference.domain));
    f.reason = reason + u')';
    return f;
}

TagCheck recorded(const std::optional<TagCheck> &before, const RegistryAnswer &answer, const QDateTime &now)
{
    TagCheck check = before.value_or(TagCheck{});
    check.triedAt = now;
    check.last = answer.kind;
    check.detail = answer.detail;
    check.retryAfter = answer.retryAfter;
    if (answer.kind == Kind::Digest) {
        check.remote = answer.digest;
        check.readAt = now;
    } else if (answer.kind == Kind::Missing) {
        check.remote.clear();
        check.readAt = {};
    }
    return check;
}

QDateTime dueAt(const std::optional<TagCheck> &check, Schedule schedule, const QDateTime &now)
{
    const auto every = interval(schedule);
    if (!every)
        return {};
    if (!check || !check->triedAt.isValid())
        return now;
    const QDateTime next = check->triedAt.addSecs(every->count());
    return check->retryAfter.isValid() && check->retryAfter > next ? check->retryAfter : next;
}

QString checkedAt(const QDateTime &then, const QDateTime &now)
{
    // A time, not an age: the text stays true without being redrawn as the clock moves.
    const QDateTime local = then.toLocalTime();
    if (local.date() == now.toLocalTime().date())
        return QStringLiteral("at %1").arg(local.toString(QStringLiteral("HH:mm")));
    return QStringLiteral("on %1 at %2").arg(QLocale::c().toString(local.date(), QStringLiteral("d MMM")), local.toString(QStringLiteral("HH:mm")));
}

QString noticeKey(const QString &canonical, const QString &remote)
{
    return canonical + u'@' + remote;
}

QByteArray toJson(const TagLedger &ledger)
{
    QJsonObject tags;
    for (auto it = ledger.tags.cbegin(); it != ledger.tags.cend(); ++it) {
        const TagCheck &c = it.value();
        tags.insert(it.key(), QJsonObject{{QStringLiteral("remote"), c.remote},
                                          {QStringLiteral("readAt"), stamp(c.readAt)},
                                          {QStringLiteral("triedAt"), stamp(c.triedAt)},
                                          {QStringLiteral("last"), kindName(c.last)},
                                          {QStringLiteral("detail"), c.detail},
                                          {QStringLiteral("retryAfter"), stamp(c.retryAfter)}});
    }
    QStringList notified = ledger.notified.values();
    notified.sort();
    return QJsonDocument(QJsonObject{{QStringLiteral("schema"), 1},
                                     {QStringLiteral("tags"), tags},
                                     {QStringLiteral("notified"), QJsonArray::fromStringList(notified)}})
        .toJson(QJsonDocument::Indented);
}

TagLedger fromJson(const QByteArray &json)
{
    TagLedger ledger;
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    if (root.value(QLatin1String("schema")).toInt() != 1)
        return ledger;
    const QJsonObject tags = root.value(QLatin1String("tags")).toObject();
    for (auto it = tags.begin(); it != tags.end(); ++it) {
        const QJsonObject o = it.value().toObject();
        ledger.tags.insert(it.key(), TagCheck{o.value(QLatin1String("remote")).toString(), stamped(o.value(QLatin1String("readAt"))),
                                              stamped(o.value(QLatin1String("triedAt"))), kindNamed(o.value(QLatin1String("last")).toString()),
                                              o.value(QLatin1String("detail")).toString(), stamped(o.value(QLatin1String("retryAfter")))});
    }
    for (const QJsonValue &v : root.value(QLatin1String("notified")).toArray())
        ledger.notified.insert(v.toString());
    return ledger;
}

QString ledgerPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QLatin1String("/newer-images.json");
}

TagLedger readLedger(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? fromJson(file.readAll()) : TagLedger{};
}

TagLedger pruned(TagLedger ledger, const QDateTime &now)
{
    ledger.tags.removeIf([&](const auto &it) { return !it.value().triedAt.isValid() || it.value().triedAt.daysTo(now) > 30; });
    ledger.notified.removeIf([&](const QString &key) { return !ledger.tags.contains(key.section(u'@', 0, 0)); });
    return ledger;
}

bool writeLedger(const QString &path, const TagLedger &ledger)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(toJson(ledger)) >= 0 && file.commit();
}

} // namespace NewerImages
