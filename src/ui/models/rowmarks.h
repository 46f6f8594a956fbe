#pragma once

#include "newerimages.h"

#include <QHash>
#include <QList>
#include <functional>

// Which rows of a list carry a mark (an image behind its tag, a container that will not come
// back) and why, by row key. Kept between readings so that a reading that changes nothing
// for a row tells that row nothing.
class RowMarks {
public:
    // The rows whose mark or reason changed, by index. reasonOf gives a row's reason, empty
    // where it has no mark.
    template<typename T, typename Key, typename ReasonOf>
    QList<int> update(const QList<T> &rows, Key key, ReasonOf reasonOf)
    {
        QHash<QString, QString> next;
        for (const T &row : rows) {
            if (QString reason = reasonOf(row); !reason.isEmpty())
                next.insert(key(row), std::move(reason));
        }
        QList<int> changed;
        for (int i = 0; i < int(rows.size()); ++i) {
            const QString k = key(rows[i]);
            if (next.contains(k) != m_reasons.contains(k) || next.value(k) != m_reasons.value(k))
                changed.append(i);
        }
        m_reasons = std::move(next);
        return changed;
    }

    bool marked(const QString &key) const { return m_reasons.contains(key); }
    // Empty where the row has no mark.
    QString reason(const QString &key) const { return m_reasons.value(key); }

private:
    QHash<QString, QString> m_reasons;
};

// Why a row's image is behind its tag, or empty where it is not known to be.
template<typename T>
QString newerReason(const std::function<std::optional<ImageFreshness>(const T &)> &of, const T &row)
{
    const std::optional<ImageFreshness> freshness = of ? of(row) : std::nullopt;
    return freshness && freshness->state == ImageFreshness::State::Newer ? freshness->reason : QString();
}
