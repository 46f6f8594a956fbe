#include "newerimagewatch.h"

#include "appstore.h"
#include "dockererror.h"
#include "enginestore.h"
#include "settings.h"
#include "tagcheck.h"

#include <QPointer>
#include <QRegularExpression>
#include <QSettings>
#include <QtConcurrent>

#include <QCoroFuture>

namespace {

using namespace std::chrono_literals;
// A metered connection is looked at again after this, rather than at every tag due.
constexpr auto meteredRetry = 1h;

std::optional<ImageReference> referenceOf(const DockerImage &image)
{
    if (image.repository.isEmpty() || image.repository == QLatin1String("<none>") || image.tag == QLatin1String("<none>"))
        return std::nullopt;
    return ImageReference::parse(image.repository + u':' + image.tag);
}

QStringList taggedIds(const QList<DockerImage> &images)
{
    QSet<QString> ids;
    for (const DockerImage &i : images)
        if (referenceOf(i))
            ids.insert(i.id);
    return ids.values();
}

// Each tag with its image: a tag put on, or pulled onto, an image already here changes no id.
QSet<QString> tagged(const QList<DockerImage> &images)
{
    QSet<QString> rows;
    for (const DockerImage &i : images)
        if (const auto ref = referenceOf(i))
            rows.insert(i.id + u' ' + ref->canonical());
    return rows;
}

} // namespace

NewerImageWatch::NewerImageWatch(std::shared_ptr<Engine> engine, QSettings *settings, Engines engines, Muted muted, OnThisMachine onThisMachine,
                                 QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_settings(settings), m_engines(std::move(engines)), m_muted(std::move(muted)),
      m_onThisMachine(std::move(onThisMachine))
{
    m_next.setSingleShot(true);
    connect(&m_next, &QTimer::timeout, this, [this] { run(false); });
}

NewerImageWatch::~NewerImageWatch() = default;

void NewerImageWatch::start()
{
    if (std::exchange(m_started, true))
        return;
    m_next.start(m_options.settle);
}

QCoro::Task<> NewerImageWatch::checkNow()
{
    co_await run(true);
}

void NewerImageWatch::imagesChanged(const QString &engine)
{
    EngineStore *s = store(engine);
    // Before the first check reads every engine, and after, only a change of which images
    // there are changes where they came from.
    if (!s || !m_ledgerRead || (m_readTags.contains(engine) && m_readTags.value(engine) == tagged(s->images())))
        return;
    QPointer<NewerImageWatch> self(this);
    [](QPointer<NewerImageWatch> self, EngineStore *s) -> QCoro::Task<> {
        auto reading = self->readOrigins(s);
        const bool read = co_await reading;
        if (!read || !self)
            co_return;
        emit self->changed();
        // A tag pulled since is due at once; the rest keep their times.
        if (!self->m_checking)
            self->scheduleNext();
    }(self, s);
}

EngineStore *NewerImageWatch::store(const QString &engine) const
{
    for (EngineStore *s : m_engines())
        if (s->name() == engine)
            return s;
    return nullptr;
}

QCoro::Task<bool> NewerImageWatch::readOrigins(EngineStore *s)
{
    QPointer<NewerImageWatch> self(this);
    QPointer<EngineStore> from(s);
    const QString engine = s->name();
    const QSet<QString> rows = tagged(s->images());
    auto future = QtConcurrent::run(AppStore::workers(), [engine = m_engine, runtime = s->runtime(), list = taggedIds(s->images())]() -> std::optional<ImageOrigins> {
        try {
            return engine->imageOrigins(list, runtime);
        } catch (const DockerError &) {
            return std::nullopt;  // the engine's own rows say what is wrong with it
        }
    });
    const std::optional<ImageOrigins> read = co_await future;
    if (!self || !read)
        co_return false;
    QHash<QString, ImageOrigin> byTag;
    for (const ImageOrigin &origin : read->images)
        for (const QString &tag : origin.tags)
            if (const auto ref = ImageReference::parse(tag))
                byTag.insert(ref->canonical(), origin);
    m_origins.insert(engine, byTag);
    rejudge();
    m_readTags.insert(engine, rows);
    m_insecure.insert(engine, read->insecure);
    co_return true;
}

QList<NewerImageWatch::Due> NewerImageWatch::dueTimes(const QDateTime &now) const
{
    const NewerImages::Schedule every = schedule();
    QHash<QString, Due> due;
    for (const auto &byTag : m_origins)
        for (const auto &[key, ref] : TagCheckRun::checkableTags(byTag.values()).asKeyValueRange()) {
            const auto check = m_ledger->tags.contains(key) ? std::optional(m_ledger->tags.value(key)) : std::nullopt;
            // Asked to wait, a registry is left alone even when the user asks.
            const bool waiting = check && check->retryAfter.isValid() && check->retryAfter > now;
            due.insert(key, {ref, NewerImages::dueAt(check, every, now), waiting});
        }
    return due.values();
}

QList<ImageReference> NewerImageWatch::tagsDue(bool forced) const
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<ImageReference> due;
    for (const Due &d : dueTimes(now))
        if (!d.waiting && (forced || (d.at.isValid() && d.at <= now)))
            due.append(d.tag);
    return due;
}

QCoro::Task<> NewerImageWatch::run(bool forced)
{
    if (m_checking) {
        m_again = m_again.value_or(false) || forced;
        co_return;
    }
    QPointer<NewerImageWatch> self(this);
    m_next.stop();
    m_checking = true;
    emit checkingChanged();
    if (!m_ledgerRead && !m_options.ledgerPath.isEmpty()) {
        auto reading = QtConcurrent::run(AppStore::workers(), &NewerImages::readLedger, m_options.ledgerPath);
        const TagLedger read = co_await reading;
        if (!self)
            co_return;
        // A check asked for meanwhile has already recorded newer answers.
        for (const auto &[key, check] : read.tags.asKeyValueRange())
            if (!m_ledger->tags.contains(key))
                m_ledger->tags.insert(key, check);
        m_ledger->notified.unite(read.notified);
    }
    m_ledgerRead = true;
    // A store can go while another's origins are read: each is held by a guard.
    QList<QPointer<EngineStore>> stores;
    QSet<QString> watched;
    for (EngineStore *s : m_engines()) {
        stores.append(s);
        watched.insert(s->name());
    }
    // An engine no longer watched has no images to check.
    for (const QString &engine : m_origins.keys())
        if (!watched.contains(engine)) {
            m_origins.remove(engine);
            m_readTags.remove(engine);
            m_insecure.remove(engine);
        }
    // Read again at every check even when the same tags are listed: a push records a digest
    // that no listing shows.
    for (const QPointer<EngineStore> &s : std::as_const(stores)) {
        if (!s || !s->answered())
            continue;
        auto reading = readOrigins(s);
        co_await reading;
        if (!self)
            co_return;
    }
    const QList<ImageReference> due = tagsDue(forced);
    // The connection's cost is asked only when there is something to ask a registry.
    bool metered = false;
    if (!due.isEmpty() && !forced) {
        auto asking = m_options.metered();
        metered = co_await asking;
        if (!self)
            co_return;
    }
    m_meteredSkip = metered;
    if (!due.isEmpty() && !metered) {
        // Plain HTTP only where an engine of this machine allows it: a remote engine's
        // networks are another machine's. The round is made before it is awaited, not in
        // the co_await's expression: GCC 12 destroys what is made there twice.
        QList<InsecureRegistries> insecure;
        for (const auto &[engine, allowed] : m_insecure.asKeyValueRange())
            if (!m_onThisMachine || m_onThisMachine(engine))
                insecure.append(allowed);
        RegistryClient::PlainHttp plainHttp = [insecure](const QString &host) { return TagCheckRun::plainHttpAllowed(host, insecure); };
        auto round = TagCheckRun::ask(due, m_ledger, std::move(plainHttp), m_challenges);
        co_await round;
        if (!self)
            co_return;
    }
    const QList<NewerNotice> found = notices();
    if (!m_options.ledgerPath.isEmpty()) {
        const TagLedger toWrite = NewerImages::pruned(*m_ledger, QDateTime::currentDateTimeUtc());
        auto writing = QtConcurrent::run(AppStore::workers(), &NewerImages::writeLedger, m_options.ledgerPath, toWrite);
        if (!co_await writing)
            qWarning("korvat: could not keep the newer-image results in %s", qPrintable(m_options.ledgerPath));
        if (!self)
            co_return;
    }
    m_checking = false;
    rejudge();
    emit checkingChanged();
    emit changed();
    if (!found.isEmpty() && notifies())
        emit newerFound(found);
    if (const auto again = std::exchange(m_again, std::nullopt)) {
        run(*again);
        co_return;
    }
    scheduleNext();
}

QList<NewerNotice> NewerImageWatch::notices()
{
    QList<NewerNotice> found;
    QSet<QString> told;
    for (EngineStore *s : m_engines()) {
        QHash<QString, NewerNotice> byTag;
        for (const Container &c : s->containers()) {
            const auto f = ofContainer(s->name(), c);
            if (!f || f->state != ImageFreshness::State::Newer)
                continue;
            const QString key = NewerImages::noticeKey(ImageReference::parse(c.image)->canonical(), f->remote);
            told.insert(key);
            if (m_ledger->notified.contains(key))
                continue;
            if (const auto project = c.project(); project && m_muted && m_muted(*project))
                continue;
            NewerNotice &notice = byTag[key];
            notice.engine = s->name();
            notice.image = *f;
            notice.containers.append(c.name);
        }
        found += byTag.values();
    }
    // Told or muted, each digest is news once.
    m_ledger->notified.unite(told);
    std::sort(found.begin(), found.end(), [](const NewerNotice &a, const NewerNotice &b) {
        return std::tie(a.engine, a.image.reference) < std::tie(b.engine, b.image.reference);
    });
    return found;
}

void NewerImageWatch::scheduleNext()
{
    m_next.stop();
    if (m_meteredSkip) {
        m_next.start(meteredRetry);
        return;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QDateTime earliest;
    for (const Due &d : dueTimes(now))
        if (d.at.isValid() && (!earliest.isValid() || d.at < earliest))
            earliest = d.at;
    if (earliest.isValid())
        m_next.start(std::chrono::milliseconds(std::clamp<qint64>(now.msecsTo(earliest), 1000, qint64(24) * 3600 * 1000)));
}

std::optional<ImageFreshness> NewerImageWatch::ofImage(const QString &engine, const DockerImage &image) const
{
    if (!referenceOf(image))
        return std::nullopt;
    return judgedName(engine, image.repository + u':' + image.tag);
}

std::optional<ImageFreshness> NewerImageWatch::ofContainer(const QString &engine, const Container &container) const
{
    // A container whose tag has moved to another image is listed by its image's short id:
    // no tag of it to judge.
    static const QRegularExpression shortId(QStringLiteral("^[0-9a-f]{12}$"));
    if (shortId.match(container.image).hasMatch())
        return std::nullopt;
    return judgedName(engine, container.image);
}

void NewerImageWatch::rejudge()
{
    m_judged.clear();
    m_anyNewer = false;
    for (const auto &byTag : std::as_const(m_origins))
        for (const auto &[key, origin] : byTag.asKeyValueRange()) {
            const auto check = m_ledger->tags.constFind(key);
            const auto ref = ImageReference::parse(key);
            if (check != m_ledger->tags.cend() && ref && !check->remote.isEmpty() && check->last != RegistryAnswer::Kind::Missing
                && NewerImages::checkable(*ref, origin) && !NewerImages::digestsFor(*ref, origin).contains(check->remote)) {
                m_anyNewer = true;
                return;
            }
        }
}

std::optional<ImageFreshness> NewerImageWatch::judgedName(const QString &engine, const QString &name) const
{
    // Asked for every row at every change of the lists: judged once per check.
    const QString memo = engine + QChar(0x1f) + name;
    if (const auto it = m_judged.constFind(memo); it != m_judged.cend())
        return *it;
    std::optional<ImageFreshness> judged;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (const auto ref = ImageReference::parse(name); ref && ref->pinned()) {
        judged = NewerImages::judge(*ref, {}, std::nullopt, now);
    } else if (ref) {
        const QString key = ref->canonical();
        const auto byTag = m_origins.constFind(engine);
        if (byTag != m_origins.cend() && byTag->contains(key)) {
            const auto check = m_ledger->tags.contains(key) ? std::optional(m_ledger->tags.value(key)) : std::nullopt;
            judged = NewerImages::judge(*ref, byTag->value(key), check, now);
        }
    }
    m_judged.insert(memo, judged);
    return judged;
}

NewerImages::Schedule NewerImageWatch::schedule() const
{
    return NewerImages::scheduleNamed(m_settings ? Settings::newerImagesSchedule.read(*m_settings) : Settings::newerImagesSchedule.fallback);
}

void NewerImageWatch::setSchedule(NewerImages::Schedule schedule)
{
    if (schedule == this->schedule() || !m_settings)
        return;
    Settings::newerImagesSchedule.write(*m_settings, NewerImages::nameOf(schedule));
    // Before the first reading the settle timer stands; during a check its end schedules.
    if (!m_checking && m_ledgerRead)
        scheduleNext();
    emit changed();
}

bool NewerImageWatch::notifies() const
{
    return m_settings ? Settings::notifyNewerImages.read(*m_settings) : Settings::notifyNewerImages.fallback;
}

void NewerImageWatch::setNotifies(bool on)
{
    if (on == notifies() || !m_settings)
        return;
    Settings::notifyNewerImages.write(*m_settings, on);
    emit changed();
}
