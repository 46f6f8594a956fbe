#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QSet>

// A list model whose rows have an identity. Bringing it a new list turns the difference
// into row moves, insertions, removals and dataChanged for just the roles that differ, so
// delegates, selection and scroll position survive every poll; the same rows emit nothing.
class KeyedListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    using QAbstractListModel::QAbstractListModel;

    int count() const { return rowCount(); }

signals:
    void countChanged();

protected:
    // key(row) gives the identity; changed(old, new) the roles whose values differ.
    template<typename T, typename Key, typename Changed>
    void sync(QList<T> &rows, const QList<T> &next, Key key, Changed changed);
};

template<typename T, typename Key, typename Changed>
void KeyedListModel::sync(QList<T> &rows, const QList<T> &next, Key key, Changed changed)
{
    const int before = int(rows.size());
    if (rows == next)
        return;

    // Removals first, from the back, so the indices still to visit stay valid.
    QSet<decltype(key(next.first()))> wanted;
    wanted.reserve(next.size());
    for (const T &row : next)
        wanted.insert(key(row));
    for (int i = int(rows.size()) - 1; i >= 0; --i) {
        if (wanted.contains(key(rows[i])))
            continue;
        int first = i;
        while (first > 0 && !wanted.contains(key(rows[first - 1])))
            --first;
        beginRemoveRows({}, first, i);
        rows.remove(first, i - first + 1);
        endRemoveRows();
        i = first;
    }

    // Then walk the new order: each position either already holds its row, receives it
    // from further down, or gets it inserted.
    for (int i = 0; i < int(next.size()); ++i) {
        const auto wantedKey = key(next[i]);
        if (i < int(rows.size()) && key(rows[i]) == wantedKey) {
        } else {
            int from = -1;
            for (int j = i + 1; j < int(rows.size()); ++j) {
                if (key(rows[j]) == wantedKey) {
                    from = j;
                    break;
                }
            }
            if (from >= 0) {
                beginMoveRows({}, from, from, {}, i);
                rows.move(from, i);
                endMoveRows();
            } else {
                beginInsertRows({}, i, i);
                rows.insert(i, next[i]);
                endInsertRows();
                continue;
            }
        }
        if (!(rows[i] == next[i])) {
            const QList<int> roles = changed(rows[i], next[i]);
            rows[i] = next[i];
            if (!roles.isEmpty())
                emit dataChanged(index(i), index(i), roles);
        }
    }
    if (int(rows.size()) != before)
        emit countChanged();
}

// A keyed model over a list of records of one type: rows, counts and the checked lookup
// shared by every list of the interface; each model says what its roles show.
template<typename T>
class KeyedRowsModel : public KeyedListModel {
public:
    using KeyedListModel::KeyedListModel;

    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : int(m_rows.size()); }
    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
            return {};
        return roleData(m_rows[index.row()], role);
    }

    // Rows of more than one engine are shown: each says its engine, on screen and aloud.
    void setSeveral(bool several)
    {
        if (m_several == several)
            return;
        m_several = several;
        if (!m_rows.isEmpty())
            emit dataChanged(index(0), index(int(m_rows.size()) - 1), {EngineRole, SubjectRole, KeyRole});
    }
    bool several() const { return m_several; }

    // Roles every keyed list has, beyond its own: the row's identity across engines (what
    // actions are asked with), its engine's name while several are shown, and how a button
    // names the row to a screen reader ("web", or "web on build-server").
    enum SharedRole { KeyRole = Qt::UserRole + 100, EngineRole, SubjectRole };

protected:
    virtual QVariant roleData(const T &row, int role) const = 0;
    // The row's identity and engine, and its name as the user knows it.
    QVariant sharedRole(int role, const QString &engine, const QString &id, const QString &name) const
    {
        switch (role) {
        case KeyRole: return engine.isEmpty() ? id : engine + QChar(0x1f) + id;
        case EngineRole: return m_several ? engine : QString();
        case SubjectRole: return m_several && !engine.isEmpty() ? name + QStringLiteral(" on ") + engine : name;
        }
        return {};
    }
    static QHash<int, QByteArray> sharedRoleNames()
    {
        return {{KeyRole, "key"}, {EngineRole, "engine"}, {SubjectRole, "subject"}};
    }

    QList<T> m_rows;
    bool m_several = false;
};
