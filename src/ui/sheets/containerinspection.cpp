#include "containerinspection.h"

#include "appstore.h"
#include "detailstext.h"

#include <QCoroFuture>
#include <QtConcurrent>

ContainerInspection::ContainerInspection(AppStore *store, const Container &container, QObject *parent)
    : QObject(parent), m_store(store), m_container(container)
{
}

QString ContainerInspection::title() const
{
    return m_details && !m_details->name.isEmpty() ? m_details->name : m_container.name;
}

void ContainerInspection::start()
{
    if (m_following || !m_store)
        return;
    m_following = true;
    m_events = connect(&m_store->events(), &EngineEvents::containerChanged, this, &ContainerInspection::seen);
    read();
}

void ContainerInspection::stop()
{
    m_following = false;
    disconnect(m_events);
}

void ContainerInspection::seen(const ContainerChange &change)
{
    // Events name a container by its whole id, listings by a prefix of it.
    if (m_container.id.isEmpty() || !change.id.startsWith(m_container.id))
        return;
    if (change.kind == ContainerChange::Kind::Destroyed) {
        m_gone = true;
        emit changed();
        return;
    }
    read();
}

QCoro::Task<> ContainerInspection::read()
{
    if (m_reading) {
        m_again = true;
        co_return;
    }
    QPointer<ContainerInspection> self(this);
    do {
        m_again = false;
        m_reading = true;
        ++m_reads;
        struct Read {
            std::optional<ContainerDetails> details;
            std::optional<QString> problem;
        };
        auto future = QtConcurrent::run(AppStore::workers(), [engine = m_store->engine(), id = m_container.id, runtime = m_store->runtime()]() -> Read {
            try {
                return {engine->containerDetails(id, runtime), std::nullopt};
            } catch (const DockerError &e) {
                return {std::nullopt, e.message()};
            }
        });
        const Read got = co_await future;
        if (!self)
            co_return;
        m_reading = false;
        if (!m_following)
            co_return;
        if (got.problem) {
            m_problem = *got.problem;
            emit changed();
        } else {
            show(got.details);
        }
    } while (m_again && m_following);
}

void ContainerInspection::show(const std::optional<ContainerDetails> &details)
{
    m_problem.clear();
    if (!details) {
        // Keep what was shown: a reader may still want it.
        m_gone = true;
        emit changed();
        return;
    }
    if (details == m_details) {
        emit changed();
        return;
    }
    m_gone = false;
    if (!m_details || m_details->document != details->document) {
        m_document.clear();
        QList<LogLine> lines;
        for (const QString &line : details->document.split(u'\n'))
            lines.append({Ansi::Line{line, {}}, {}, {}});
        m_document.append(lines);
    }
    m_details = details;
    emit changed();
}

QVariantList ContainerInspection::sections() const
{
    QVariantList out;
    if (!m_details)
        return out;
    for (const DetailsText::Section &section : DetailsText::container(*m_details, QDateTime::currentDateTimeUtc())) {
        QVariantList rows;
        for (const DetailsText::Row &row : section.rows) {
            const bool masked = row.secret && !m_showSecrets;
            const QString value = masked ? QString::fromUtf16(DetailsText::maskedValue) : row.value;
            rows.append(QVariantMap{{QStringLiteral("label"), row.label},
                                    {QStringLiteral("value"), value},
                                    {QStringLiteral("spoken"), masked ? QString::fromUtf16(DetailsText::hiddenValue) : row.value},
                                    {QStringLiteral("secret"), row.secret},
                                    {QStringLiteral("alarm"), row.alarm},
                                    {QStringLiteral("volume"), row.volume}});
        }
        out.append(QVariantMap{{QStringLiteral("title"), section.title}, {QStringLiteral("note"), section.note}, {QStringLiteral("rows"), rows}});
    }
    return out;
}

bool ContainerInspection::hasSecrets() const
{
    return m_details && std::any_of(m_details->environment.cbegin(), m_details->environment.cend(),
                                    [](const auto &variable) { return Docker::looksSecret(variable.first); });
}

void ContainerInspection::setShowSecrets(bool show)
{
    if (m_showSecrets == show)
        return;
    m_showSecrets = show;
    emit changed();
}

QString ContainerInspection::environmentText() const
{
    return m_details ? DetailsText::environment(*m_details, m_showSecrets) : QString();
}
