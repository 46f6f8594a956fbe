#include "detailsstate.h"

#include "appstore.h"
#include "secrets.h"
#include "volumesize.h"

#include <QCoroFuture>
#include <QtConcurrent>

namespace {
// What one query of the engine found, or why it could not be asked.
template<typename T>
struct Found {
    T found;
    std::optional<QString> problem;
};

// One query of the engine on a worker, its failure in the engine's words.
template<typename Query>
auto onWorker(Query query)
{
    using Result = decltype(query());
    return QtConcurrent::run(AppStore::workers(), [query]() -> Found<Result> {
        try {
            return {query(), std::nullopt};
        } catch (const DockerError &e) {
            return {Result(), e.message()};
        }
    });
}

// A newer image at the registry, said beside the row that names the image it is newer than.
// The row after the one labelled beside; nothing where there is none such.
QList<DetailsText::Section> withRow(QList<DetailsText::Section> sections, const QString &beside, const DetailsText::Row &row)
{
    for (DetailsText::Section &section : sections) {
        for (qsizetype i = 0; i < section.rows.size(); ++i) {
            if (section.rows[i].label == beside) {
                section.rows.insert(i + 1, row);
                return sections;
            }
        }
    }
    return sections;
}

QList<DetailsText::Section> withNewer(QList<DetailsText::Section> sections, const std::optional<ImageFreshness> &freshness, const QString &beside)
{
    if (!freshness || freshness->state != ImageFreshness::State::Newer)
        return sections;
    return withRow(std::move(sections), beside, {QStringLiteral("Newer image"), freshness->reason});
}
}

// ---- the sheet's state, whatever it shows ---------------------------------------------------

Inspection::Inspection(AppStore *store, const QString &engine, const QString &title, QObject *parent)
    : QObject(parent), m_store(store), m_runtime(store ? store->runtimeNamed(engine) : OptRuntime()),
      m_engine(store ? (engine.isEmpty() ? &store->selected() : store->engineNamed(engine)) : nullptr), m_title(title)
{
}

bool Inspection::onItsRuntime() const
{
    return m_store && m_engine && m_engine->runtime() == m_runtime;
}

void Inspection::start()
{
    if (m_active || !m_store)
        return;
    m_active = true;
    follow();
    read();
}

void Inspection::stop()
{
    m_active = false;
    for (const auto &connection : std::as_const(m_following))
        disconnect(connection);
    m_following.clear();
}

QCoro::Task<> Inspection::read()
{
    if (m_reading) {
        m_again = true;
        co_return;
    }
    QPointer<Inspection> self(this);
    do {
        m_again = false;
        m_reading = true;
        ++m_reads;
        auto reading = readOnce();
        const std::optional<QString> problem = co_await reading;
        if (!self)
            co_return;
        m_reading = false;
        m_problem = problem.value_or(QString());
        emit changed();
    } while (m_again && m_active);
}

template<typename Found, typename Query>
QCoro::Task<std::optional<QString>> Inspection::keep(std::optional<Found> &kept, Query query)
{
    QPointer<Inspection> self(this);
    // The document is masked on the worker too: it may run to many thousand lines.
    auto future = onWorker([query = std::move(query)] {
        auto found = query();
        QString masked = found ? Secrets::document(found->document) : QString();
        return std::pair(std::move(found), std::move(masked));
    });
    const auto got = co_await future;
    if (!self)
        co_return std::nullopt;
    if (got.problem)
        co_return got.problem;
    const auto &[found, masked] = got.found;
    // Gone: what was shown stays, for a reader may still want it.
    setGone(!found);
    if (found) {
        setDocument(found->document, masked);
        kept = found;
    }
    co_return std::nullopt;
}

void Inspection::setGone(bool gone)
{
    if (std::exchange(m_gone, gone) != gone)
        emit changed();
}

void Inspection::setDocument(const QString &text, const QString &masked)
{
    m_plainDocument = text;
    m_maskedDocument = masked;
    fillDocument();
}

void Inspection::fillDocument()
{
    const QString &text = m_showSecrets ? m_plainDocument : m_maskedDocument;
    if (text == m_shownDocument)
        return;
    m_shownDocument = text;
    m_document.clear();
    QList<LogLine> lines;
    for (const QString &line : text.split(u'\n'))
        lines.append({Ansi::Line{line, {}}, {}, {}});
    m_document.append(lines);
}

QVariantList Inspection::sections() const
{
    QVariantList out;
    for (const DetailsText::Section &section : composed()) {
        QVariantList rows;
        for (const DetailsText::Row &row : section.rows) {
            const bool masked = !row.masked.isEmpty() && !m_showSecrets;
            const QString value = masked ? row.masked : row.value;
            rows.append(QVariantMap{{QStringLiteral("label"), row.label},
                                    {QStringLiteral("value"), value},
                                    {QStringLiteral("spoken"), masked ? QString(value).replace(QString::fromUtf16(Secrets::mask), QString::fromUtf16(Secrets::spoken)) : value},
                                    {QStringLiteral("secret"), !row.masked.isEmpty()},
                                    {QStringLiteral("alarm"), row.alarm},
                                    {QStringLiteral("volume"), row.volume},
                                    {QStringLiteral("url"), row.url}});
        }
        out.append(QVariantMap{{QStringLiteral("title"), section.title}, {QStringLiteral("note"), section.note}, {QStringLiteral("rows"), rows}});
    }
    return out;
}

bool Inspection::hasSecrets() const
{
    const auto all = composed();
    return m_maskedDocument != m_plainDocument || std::any_of(all.cbegin(), all.cend(), [](const DetailsText::Section &s) {
        return std::any_of(s.rows.cbegin(), s.rows.cend(), [](const DetailsText::Row &r) { return !r.masked.isEmpty(); });
    });
}

void Inspection::setShowSecrets(bool show)
{
    if (m_showSecrets == show)
        return;
    m_showSecrets = show;
    fillDocument();
    emit changed();
}

// ---- a container ------------------------------------------------------------------------------

ContainerInspection::ContainerInspection(AppStore *store, const Container &container, QObject *parent)
    : Inspection(store, container.engine, container.name, parent), m_container(container)
{
}

void ContainerInspection::follow()
{
    m_following << connect(&m_store->restarts(), &RestartWatch::changed, this, &Inspection::changed);
    if (m_engine)
        m_following << connect(&m_engine->events(), &EngineEvents::containerChanged, this, [this](const ContainerChange &change) {
        // Events name a container by its whole id, listings by a prefix of it.
        if (!onItsRuntime() || m_container.id.isEmpty() || !change.id.startsWith(m_container.id))
            return;
        if (change.kind == ContainerChange::Kind::Destroyed)
            return setGone(true);
        read();
    });
}

QCoro::Task<std::optional<QString>> ContainerInspection::readOnce()
{
    QPointer<ContainerInspection> self(this);
    auto reading = keep(m_details, [engine = m_store->engine(), id = m_container.id, runtime = m_runtime] { return engine->containerDetails(id, runtime); });
    const std::optional<QString> problem = co_await reading;
    // The sheet may have closed while the engine answered.
    if (self && m_details)
        m_title = m_details->name;
    co_return problem;
}

QList<DetailsText::Section> ContainerInspection::composed() const
{
    if (!m_details || !m_store)
        return {};
    QString endpoint;
    for (const RuntimeEntry &entry : m_store->runtimes()) {
        if (entry.runtime == m_runtime)
            endpoint = entry.endpoint;
    }
    const auto freshness = m_engine ? m_store->newer().ofContainer(m_engine->name(), m_container) : std::nullopt;
    auto sections = withNewer(DetailsText::container(*m_details, QDateTime::currentDateTimeUtc(), endpoint), freshness, QStringLiteral("Image"));
    if (const auto comeback = m_engine ? m_store->restarts().of(m_engine->name(), m_container) : std::nullopt)
        sections = withRow(std::move(sections), QStringLiteral("Restart policy"), {QStringLiteral("After a restart"), comeback->reason});
    return sections;
}

QString ContainerInspection::copyText() const
{
    return m_details ? DetailsText::environment(*m_details, showSecrets()) : QString();
}

// ---- an image ---------------------------------------------------------------------------------

ImageInspection::ImageInspection(AppStore *store, const DockerImage &image, QObject *parent)
    : Inspection(store, image.engine, image.repository.isEmpty() || image.repository == QLatin1String("<none>") ? image.id : image.repository + u':' + image.tag, parent),
      m_image(image), m_containers(m_engine ? m_engine->containers() : QList<Container>())
{
}

void ImageInspection::follow()
{
    // Image events reach the store as a listing of the images; it is read again when the
    // listing shows a change, and gone when the listing no longer has it.
    m_following << connect(m_store.data(), &AppStore::imagesChanged, this, [this] {
        if (!onItsRuntime())
            return;
        const auto &images = m_engine->images();
        if (std::none_of(images.cbegin(), images.cend(), [&](const DockerImage &i) { return i.id == m_image.id; }))
            return setGone(true);
        read();
    });
    // Which containers use it is the store's list, read without asking the engine.
    m_following << connect(m_store.data(), &AppStore::containersChanged, this, [this] {
        if (!onItsRuntime())
            return;
        m_containers = m_engine->containers();
        emit changed();
    });
}

QCoro::Task<std::optional<QString>> ImageInspection::readOnce()
{
    return keep(m_details, [engine = m_store->engine(), id = m_image.id, runtime = m_runtime] { return engine->imageDetails(id, runtime); });
}

QList<DetailsText::Section> ImageInspection::composed() const
{
    if (!m_details || !m_store)
        return {};
    const auto freshness = m_engine ? m_store->newer().ofImage(m_engine->name(), m_image) : std::nullopt;
    return withNewer(DetailsText::image(*m_details, DetailsText::usersOf(*m_details, m_containers), QDateTime::currentDateTimeUtc()), freshness,
                     QStringLiteral("Tags"));
}

QString ImageInspection::copyText() const
{
    QString text;
    if (m_details) {
        for (const ImageDetails::Layer &layer : m_details->layers)
            text += layer.size + u'\t' + (showSecrets() ? layer.instruction : Secrets::text(layer.instruction)) + u'\n';
    }
    return text;
}

// ---- a volume ---------------------------------------------------------------------------------

VolumeInspection::VolumeInspection(AppStore *store, const DockerVolume &volume, QObject *parent)
    : Inspection(store, volume.engine, volume.name, parent), m_volume(volume)
{
}

void VolumeInspection::follow()
{
    // Volume events reach the store as a listing of the volumes, container events as one of
    // the containers: either may change what mounts it.
    const auto again = [this] {
        if (!onItsRuntime())
            return;
        const auto &volumes = m_engine->volumes();
        if (std::none_of(volumes.cbegin(), volumes.cend(), [&](const DockerVolume &v) { return v.name == m_volume.name; }))
            return setGone(true);
        read();
    };
    m_following << connect(m_store.data(), &AppStore::volumesChanged, this, again);
    if (m_engine)
        m_following << connect(&m_engine->events(), &EngineEvents::containerChanged, this, [again](const ContainerChange &change) {
        if (change.kind == ContainerChange::Kind::Started || change.kind == ContainerChange::Kind::Died || change.kind == ContainerChange::Kind::Destroyed)
            again();
    });
}

QCoro::Task<std::optional<QString>> VolumeInspection::readOnce()
{
    return keep(m_details, [engine = m_store->engine(), name = m_volume.name, runtime = m_runtime] { return engine->volumeDetails(name, runtime); });
}

QList<DetailsText::Section> VolumeInspection::composed() const
{
    return m_details ? DetailsText::volume(*m_details, QDateTime::currentDateTimeUtc()) : QList<DetailsText::Section>();
}

QString VolumeInspection::copyText() const
{
    QString text;
    if (m_details) {
        for (const Container &c : m_details->users)
            text += c.name + u'\t' + c.status + u'\n';
    }
    return text;
}

// ---- a network --------------------------------------------------------------------------------

NetworkInspection::NetworkInspection(AppStore *store, const DockerNetwork &network, QObject *parent)
    : Inspection(store, network.engine, network.name, parent), m_network(network)
{
}

void NetworkInspection::follow()
{
    // Network events, containers joining and leaving among them, reach the store as a
    // listing of the networks.
    m_following << connect(m_store.data(), &AppStore::networksChanged, this, [this] {
        if (!onItsRuntime())
            return;
        const auto &networks = m_engine->networks();
        const auto found = std::find_if(networks.cbegin(), networks.cend(), [&](const DockerNetwork &n) { return n.id == m_network.id; });
        if (found == networks.cend())
            return setGone(true);
        if (m_details && found->members == m_details->network.members && found->labels == m_details->network.labels)
            return;
        read();
    });
}

QCoro::Task<std::optional<QString>> NetworkInspection::readOnce()
{
    return keep(m_details, [engine = m_store->engine(), name = m_network.name, runtime = m_runtime] { return engine->networkDetails(name, runtime); });
}

QList<DetailsText::Section> NetworkInspection::composed() const
{
    return m_details ? DetailsText::network(m_details->network, QDateTime::currentDateTimeUtc()) : QList<DetailsText::Section>();
}

QString NetworkInspection::copyText() const
{
    QString text;
    if (m_details) {
        for (const NetworkMember &m : m_details->network.members)
            text += m.name + u'\t' + m.ipv4 + u'\n';
    }
    return text;
}
