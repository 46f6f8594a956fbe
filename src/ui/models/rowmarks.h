#pragma once

#include "newerimages.h"

#include <QHash>
#include <QList>
#include <functional>

// Which rows of a list run, or are, an image whose tag the registry has moved on from, and
// why Korvat says so, by row key. Kept between readings so that a check that changes
// nothing for a row tells that row nothing.
class NewerMarks {
public:
    // The rows whose mark or reason changed, by index.
    template<typename T, typename Key, typename Of>
    QList<int> update(const QList<T> &rows, Key key, Of of)
    {
        QHash<QString, QString> next;
        for (const T &row : rows) {
            const std::optional<ImageFreshness> freshness = of ? of(row) : std::nullopt;
            if (freshness && freshness->state == ImageFreshness::State::Newer)
                next.insert(key(row), freshness->reason);
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

    bool newer(const QString &key) const { return m_reasons.contains(key); }
    // Empty where the row's image is not known to be behind.
    QString reason(const QString &key) const { return m_reasons.value(key); }

private:
    QHash<QString, QString> m_reasons;
};
