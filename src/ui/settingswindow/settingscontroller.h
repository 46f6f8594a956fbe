#pragma once

#include "jobrun.h"
#include "keyedlistmodel.h"
#include "tool.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class QSettings;
class ToolchainStore;

// The tools as the settings window lists them, keyed by formula.
class ToolModel : public KeyedRowsModel<Tool> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Tools come from the toolchain store")

public:
    enum Role { FormulaRole = Qt::UserRole + 1, NameRole, PurposeRole, InstalledRole, LatestRole, BadgeRole,
                BadgeKindRole, ActionRunsJobRole, ActionLabelRole, ActionHelpRole, HomepageRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setTools(const QList<Tool> &tools);
    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const Tool &tool, int role) const override;
};

// The settings window's state: the three toggles and the appearance written at once, the
// login item, the toolchain's status texts, and the jobs it runs.
class SettingsController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes the settings")
    Q_PROPERTY(bool showMenuBar READ showMenuBar WRITE setShowMenuBar NOTIFY showMenuBarChanged)
    Q_PROPERTY(bool checkUpdatesAtLaunch READ checkUpdatesAtLaunch WRITE setCheckUpdatesAtLaunch NOTIFY checkUpdatesAtLaunchChanged)
    Q_PROPERTY(bool openAtLogin READ openAtLogin NOTIFY openAtLoginChanged)
    Q_PROPERTY(QString loginError READ loginError NOTIFY openAtLoginChanged)
    Q_PROPERTY(ToolModel *tools READ tools CONSTANT)
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY statusChanged)
    Q_PROPERTY(bool restartNeeded READ restartNeeded NOTIFY statusChanged)
    Q_PROPERTY(QString restartText READ restartText NOTIFY statusChanged)
    Q_PROPERTY(bool brewAvailable READ brewAvailable CONSTANT)
    Q_PROPERTY(bool canStartServices READ canStartServices NOTIFY statusChanged)
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)

public:
    // executable: what the login item starts.
    SettingsController(ToolchainStore *toolchain, QSettings *settings, QString executable, QObject *parent = nullptr);

    bool showMenuBar() const;
    void setShowMenuBar(bool show);
    bool checkUpdatesAtLaunch() const;
    void setCheckUpdatesAtLaunch(bool check);
    bool openAtLogin() const;
    QString loginError() const { return m_loginError; }
    Q_INVOKABLE void setOpenAtLogin(bool on);

    ToolModel *tools() { return &m_tools; }
    QString statusLine() const;
    bool restartNeeded() const;
    QString restartText() const;
    bool brewAvailable() const;
    bool canStartServices() const;
    bool checking() const;

    // The window opened: the installed versions, then a check when the last one is a day old.
    Q_INVOKABLE void opened();
    Q_INVOKABLE void check();
    // Opens the job of the tool's own action (install or update); none when its action
    // opens a page.
    Q_INVOKABLE void runTool(const QString &formula);
    Q_INVOKABLE void startServices();
    Q_INVOKABLE void restartServices();
    // A job sheet closed: a job still running ends with it, and one that ran shows what it changed.
    Q_INVOKABLE void jobClosed(JobRun *run);

signals:
    void showMenuBarChanged();
    void checkUpdatesAtLaunchChanged();
    void openAtLoginChanged();
    void statusChanged();
    void checkingChanged();
    // A job for the window's job sheet, which runs it and owns it until it closes.
    void jobOpened(JobRun *run);

private:
    void open(const ToolJob &job);

    QPointer<ToolchainStore> m_toolchain;
    QSettings *m_settings;
    QString m_executable;
    QString m_loginError;
    ToolModel m_tools;
};
