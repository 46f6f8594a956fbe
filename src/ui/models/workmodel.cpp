#include "workmodel.h"

#include "worktext.h"

WorkModel::WorkModel(LongWork *work, QList<Work::Kind> kinds, QObject *parent)
    : KeyedRowsModel(parent), m_work(work), m_kinds(std::move(kinds))
{
    m_later.setSingleShot(true);
    m_later.setInterval(1000);
    connect(&m_later, &QTimer::timeout, this, &WorkModel::update);
    connect(work, &LongWork::added, this, [this] {
        update();
        m_later.start();
    });
    connect(work, &LongWork::changed, this, &WorkModel::update);
    connect(work, &LongWork::removed, this, &WorkModel::update);
    update();
}

void WorkModel::update()
{
    if (!m_work)
        return;
    const QString before = line();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<Work> shown;
    for (const Work &w : m_work->list()) {
        if (m_kinds.contains(w.kind) && WorkText::shown(w, now))
            shown.append(w);
    }
    sync(m_rows, shown, [](const Work &w) { return w.id; }, [](const Work &, const Work &) {
        return QList<int>{SubjectRole, TitleRole, DetailRole, FractionRole, StoppingRole, ServicesRole, SpokenRole};
    });
    if (line() != before)
        emit lineChanged();
}

QString WorkModel::line() const
{
    if (m_rows.isEmpty())
        return {};
    const QString first = WorkText::line(m_rows.first());
    return m_rows.size() == 1 ? first : QStringLiteral("%1, and %2 more").arg(first).arg(m_rows.size() - 1);
}

QVariantMap WorkModel::of(const QString &subject, const QString &engine) const
{
    for (const Work &w : m_rows) {
        if (w.subject == subject && (engine.isEmpty() || w.engine.isEmpty() || w.engine == engine))
            return rowMap(w);
    }
    return {};
}

void WorkModel::stop(int workId)
{
    if (m_work)
        m_work->stop(workId);
}

QHash<int, QByteArray> WorkModel::roleNames() const
{
    return {{WorkIdRole, "workId"}, {SubjectRole, "subject"}, {TitleRole, "title"},     {DetailRole, "detail"},
            {FractionRole, "fraction"}, {StoppingRole, "stopping"}, {ServicesRole, "services"}, {SpokenRole, "spoken"}};
}

QVariantMap WorkModel::rowMap(const Work &work) const
{
    QVariantMap map;
    const QHash<int, QByteArray> names = roleNames();
    for (auto it = names.cbegin(); it != names.cend(); ++it)
        map.insert(QString::fromLatin1(it.value()), roleData(work, it.key()));
    return map;
}

QVariant WorkModel::roleData(const Work &row, int role) const
{
    switch (role) {
    case WorkIdRole: return row.id;
    case SubjectRole: return row.subject;
    case TitleRole: return WorkText::title(row);
    case DetailRole: return row.stopping ? QStringLiteral("Stopping…") : WorkText::detail(row);
    case FractionRole: return WorkText::fraction(row);
    case StoppingRole: return row.stopping;
    case ServicesRole: {
        QVariantList services;
        for (const ServiceProgress &s : row.compose.services) {
            services.append(QVariantMap{{QStringLiteral("service"), s.service},
                                        {QStringLiteral("state"), WorkText::serviceState(s)},
                                        {QStringLiteral("failed"), s.phase == ServiceProgress::Phase::Failed}});
        }
        return services;
    }
    case SpokenRole: {
        const QString detail = WorkText::detail(row);
        return detail.isEmpty() ? WorkText::title(row) : WorkText::title(row) + QStringLiteral(", ") + detail;
    }
    }
    return {};
}
