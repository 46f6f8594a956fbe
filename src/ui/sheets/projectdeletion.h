#pragma once

#include "composeproject.h"
#include "longwork.h"
#include "teardownplan.h"

#include <QObject>
#include <QPointer>
#include <QDateTime>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// The delete sheet's state: the plan once it is worked out, the trash choice, and the
// deletion under way. Every text the sheet shows is composed here.
class ProjectDeletion : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a project by Actions")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(bool planned READ planned NOTIFY planChanged)
    Q_PROPERTY(QStringList containers READ containers NOTIFY planChanged)
    Q_PROPERTY(QVariantList removable READ removable NOTIFY planChanged)
    Q_PROPERTY(QVariantList kept READ kept NOTIFY planChanged)
    Q_PROPERTY(QString keptDetail READ keptDetail NOTIFY planChanged)
    Q_PROPERTY(QString workingDir READ workingDir NOTIFY planChanged)
    Q_PROPERTY(bool trashDirectory READ trashDirectory WRITE setTrashDirectory NOTIFY trashDirectoryChanged)
    Q_PROPERTY(bool working READ working NOTIFY workingChanged)
    Q_PROPERTY(QString label READ label NOTIFY labelChanged)
    // Where the volumes are backed up before anything is removed; empty: no backup.
    Q_PROPERTY(QString backupFolder READ backupFolder WRITE setBackupFolder NOTIFY backupChanged)
    Q_PROPERTY(QString backupLine READ backupLine NOTIFY backupChanged)
    Q_PROPERTY(bool backupFailed READ backupFailed NOTIFY backupChanged)
    // The deletion's steps as they run: text, state ("pending", "running", "done", "failed",
    // "skipped") and failure of each.
    Q_PROPERTY(QVariantList steps READ steps NOTIFY stepsChanged)
    Q_PROPERTY(QString progress READ progress NOTIFY stepsChanged)
    Q_PROPERTY(bool stopping READ stopping NOTIFY stepsChanged)

public:
    ProjectDeletion(AppStore *store, const ComposeProject &project, QObject *parent = nullptr);

    // "Delete 2 containers + 1 volume + files", "Remove from Korvat", or "Delete" before a plan.
    static QString label(const std::optional<TeardownPlan> &plan, bool trashDirectory);
    // Why the kept volumes stay: other containers use them, or they are not the project's.
    static QString keptDetail(const TeardownPlan &plan);

    QString title() const { return QStringLiteral("Delete ") + m_project.name + (m_runtime ? QStringLiteral(" on ") + m_runtime->name : QString()); }
    bool planned() const { return m_plan.has_value(); }
    QStringList containers() const;
    QVariantList removable() const;
    QVariantList kept() const;
    QString keptDetail() const { return m_plan ? keptDetail(*m_plan) : QString(); }
    QString workingDir() const;
    bool trashDirectory() const { return m_trash; }
    void setTrashDirectory(bool trash);
    bool working() const { return m_working; }
    QString label() const { return label(m_plan, m_trash); }
    QString backupFolder() const { return m_backupFolder; }
    void setBackupFolder(const QString &folder);
    Q_INVOKABLE void setBackupFolderUrl(const QUrl &folder) { setBackupFolder(folder.toLocalFile()); }
    QString backupLine() const;
    bool backupFailed() const { return !m_backupProblem.isEmpty(); }
    QVariantList steps() const;
    QString progress() const;
    bool stopping() const;

    // Works out the plan; the sheet calls it when it is shown.
    Q_INVOKABLE void start();
    // Runs the deletion; finished follows when it is done.
    Q_INVOKABLE void confirm();
    // Ends the deletion once the step under way is done.
    Q_INVOKABLE void stop();

signals:
    void planChanged();
    void trashDirectoryChanged();
    void workingChanged();
    void labelChanged();
    void backupChanged();
    void stepsChanged();
    void finished();

private:
    QPointer<AppStore> m_store;
    ComposeProject m_project;
    // The engine the sheet was opened on; its plan and every step go there.
    std::optional<Runtime> m_runtime;
    std::optional<TeardownPlan> m_plan;
    bool m_trash = false;
    bool m_working = false;
    bool m_started = false;
    QString m_backupFolder;
    QString m_backupProblem;
    int m_workId = 0;
    // Kept when the work ends, so the sheet shows the last of it while it closes.
    std::optional<Work> m_work;
};
