#pragma once

#include "keyedlistmodel.h"
#include "longwork.h"
#include "reclaimplan.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// One line of the reclaim sheet: a category's heading with its choice, or one of its items
// with how its removal went.
struct ReclaimRow {
    QString key;
    bool heading = false;
    int kind = 0;
    QString title;
    // A heading's "3 · 12 MB" or "Nothing to remove"; an item's size.
    QString size;
    // A heading's warning; an item's failure, in the engine's words.
    QString note;
    bool chosen = false;
    // "", "pending", "running", "done", "failed", "skipped"
    QString state;
    friend bool operator==(const ReclaimRow &, const ReclaimRow &) = default;
};

class ReclaimModel : public KeyedRowsModel<ReclaimRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Rows come from the reclaim")

public:
    enum Role { HeadingRole = Qt::UserRole + 1, KindRole, TitleRole, SizeRole, NoteRole, ChosenRole, StateRole, IconRole };
    using KeyedRowsModel::KeyedRowsModel;
    void setRows(const QList<ReclaimRow> &rows);
    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const ReclaimRow &row, int role) const override;
};

// The reclaim sheet's state: the plan as read when the sheet opened, the categories
// chosen, and the removal under way. Every text the sheet shows is composed here.
class Reclaiming : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the disk view")
    Q_PROPERTY(ReclaimModel *rows READ rows CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(bool planned READ planned NOTIFY changed)
    Q_PROPERTY(QString error READ error NOTIFY changed)
    Q_PROPERTY(QStringList never READ never CONSTANT)
    Q_PROPERTY(QString label READ label NOTIFY changed)
    Q_PROPERTY(bool canRemove READ canRemove NOTIFY changed)
    Q_PROPERTY(bool working READ working NOTIFY changed)
    Q_PROPERTY(bool stopping READ stopping NOTIFY changed)
    Q_PROPERTY(bool done READ done NOTIFY changed)
    // "3 of 12 removed" while it works; what was freed and what failed once done.
    Q_PROPERTY(QString progress READ progress NOTIFY changed)

public:
    explicit Reclaiming(AppStore *store, QObject *parent = nullptr);

    // The items a choice removes and their sum: "Remove 5 items · 14 MB".
    static QString label(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen);
    static QList<ReclaimRow> rows(const ReclaimPlan &plan, const QList<ReclaimPlan::Kind> &chosen, const QList<DeletionStep> &steps);
    // Once done: "Freed 14 MB. 1 could not be removed; its row says why."
    static QString outcome(const std::optional<qint64> &freed, const QList<DeletionStep> &steps);

    ReclaimModel *rows() { return &m_rows; }
    // "Reclaim space on default": the plan is one runtime's.
    QString title() const { return m_title; }
    bool planned() const { return m_plan.has_value(); }
    QString error() const { return m_error; }
    QStringList never() const { return ReclaimPlan::never(); }
    QString label() const;
    bool canRemove() const;
    bool working() const { return m_working; }
    bool stopping() const { return m_work && m_work->stopping; }
    bool done() const { return m_done; }
    QString progress() const;
    const std::optional<ReclaimPlan> &plan() const { return m_plan; }
    QList<ReclaimPlan::Kind> chosen() const { return m_chosen; }

    // Reads the engine and works out the plan; the sheet calls it when it is shown.
    Q_INVOKABLE void start();
    // Shows a plan made elsewhere, as the pictures do.
    void showPlan(const ReclaimPlan &plan);
    Q_INVOKABLE void setChosen(int kind, bool chosen);
    Q_INVOKABLE void confirm();
    // Ends the reclaim once the removal under way is done.
    Q_INVOKABLE void stop();

signals:
    void changed();
    // The reclaim ended; what it freed, if the engine told.
    void reclaimed();

private:
    void update();

    QPointer<AppStore> m_store;
    std::optional<Runtime> m_runtime;
    ReclaimModel m_rows;
    std::optional<ReclaimPlan> m_plan;
    QList<ReclaimPlan::Kind> m_chosen;
    QString m_error;
    QString m_title;
    bool m_started = false;
    bool m_working = false;
    bool m_done = false;
    int m_workId = 0;
    std::optional<Work> m_work;
    std::optional<qint64> m_freed;
};
