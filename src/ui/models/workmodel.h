#pragma once

#include "keyedlistmodel.h"
#include "longwork.h"

#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

// The long actions of some kinds under way, keyed by their id, as the views show them: a
// row for each, with its title, how far it got and whether it is stopping. A pull that the
// engine turns out to have already never gets a row.
class WorkModel : public KeyedRowsModel<Work> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Work comes from the store")
    // The first row's line for the tray panel, "and 2 more" after it; empty when idle.
    Q_PROPERTY(QString line READ line NOTIFY lineChanged)

public:
    enum Role { WorkIdRole = Qt::UserRole + 1, SubjectRole, TitleRole, DetailRole, FractionRole, StoppingRole, ServicesRole, SpokenRole };
    Q_ENUM(Role)

    WorkModel(LongWork *work, QList<Work::Kind> kinds, QObject *parent = nullptr);

    QString line() const;
    // The row of the work of this kind on the subject: a project's up, a volume's backup.
    Q_INVOKABLE QVariantMap of(const QString &subject, const QString &engine = {}) const;
    Q_INVOKABLE void stop(int workId);

    QHash<int, QByteArray> roleNames() const override;

signals:
    void lineChanged();

protected:
    QVariantMap rowMap(const Work &work) const;
    QVariant roleData(const Work &row, int role) const override;

private:
    void update();

    QPointer<LongWork> m_work;
    QList<Work::Kind> m_kinds;
    // Looks again once a pull has had its moment to finish unseen.
    QTimer m_later;
};
