#pragma once

#include "imageorigins.h"
#include "registryclient.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>
#include <chrono>
#include <optional>

// What was last learned of one tag at its registry. Kept on disk between runs; a failed
// check keeps the digest an earlier one read.
struct TagCheck {
    QString remote = {};
    QDateTime readAt = {};
    QDateTime triedAt = {};
    RegistryAnswer::Kind last = RegistryAnswer::Kind::Digest;
    QString detail = {};
    QDateTime retryAfter = {};
    friend bool operator==(const TagCheck &, const TagCheck &) = default;
};

// Whether an image is behind its tag at the registry, and why Korvat says so.
struct ImageFreshness {
    enum class State { Newer, Current, Unknown };
    QString reference;   // as the client shows it: "nginx:latest"
    State state = State::Unknown;
    QString reason;
    QString local = {};  // the digest the engine recorded when it pulled the tag
    QString remote = {}; // the digest the registry has for it
    QDateTime checkedAt = {};
    friend bool operator==(const ImageFreshness &, const ImageFreshness &) = default;
};

// The tags checked and the newer digests already told of, by canonical reference.
struct TagLedger {
    QHash<QString, TagCheck> tags;
    QSet<QString> notified;
    friend bool operator==(const TagLedger &, const TagLedger &) = default;
};

namespace NewerImages {

enum class Schedule { Off, Daily, Every6Hours, Hourly };
// The setting's stored names: "off", "daily", "6h", "hourly"; anything else is every 6 hours.
Schedule scheduleNamed(const QString &name);
QString nameOf(Schedule schedule);
std::optional<std::chrono::seconds> interval(Schedule schedule);

// The registry digests the origin holds for the reference's repository.
QStringList digestsFor(const ImageReference &reference, const ImageOrigin &origin);
// Whether the tag is worth a request: neither pinned nor made here.
bool checkable(const ImageReference &reference, const ImageOrigin &origin);

// The state of an image carrying the tag, from what is known of the tag now.
ImageFreshness judge(const ImageReference &reference, const ImageOrigin &origin, const std::optional<TagCheck> &check,
                     const QDateTime &now);
// What is known of a tag after the registry answered.
TagCheck recorded(const std::optional<TagCheck> &before, const RegistryAnswer &answer, const QDateTime &now);
// When the tag is next due: at once if never asked, else one interval after the last try,
// or later when the registry asked to wait. Invalid when checks are off.
QDateTime dueAt(const std::optional<TagCheck> &check, Schedule schedule, const QDateTime &now);

// When a check read the registry: "at 14:05" today, "on 24 Nov at 09:10" before.
QString checkedAt(const QDateTime &then, const QDateTime &now);
// The key a newer digest is told of once under.
QString noticeKey(const QString &canonical, const QString &remote);

// Without the tags not asked for a month (their images are gone, or checks are off), nor
// the notices of those tags.
TagLedger pruned(TagLedger ledger, const QDateTime &now);
QByteArray toJson(const TagLedger &ledger);
// Unreadable text is an empty ledger: nothing is lost but the time of the next check.
TagLedger fromJson(const QByteArray &json);
// ~/.local/share/Korvat/newer-images.json
QString ledgerPath();
// Blocking: for a worker thread.
TagLedger readLedger(const QString &path);
bool writeLedger(const QString &path, const TagLedger &ledger);

} // namespace NewerImages
