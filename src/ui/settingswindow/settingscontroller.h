#pragma once

#include "hostengine.h"
#include "jobrun.h"
#include "keyedlistmodel.h"
#include "tool.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class AppStore;
class HostEngineStore;
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

// The engines installed on this machine, keyed by name; each row's units as a list of
// maps (name, scope, line, action, error) for the row's repeater, and for each scope with
// units whether the engine starts at boot (scope, line, reason, error, and the labels of the
// fixes it offers, empty when none).
class HostEngineModel : public KeyedRowsModel<HostEngine> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Engines come from the host engine store")

public:
    enum Role { NameRole = Qt::UserRole + 1, VersionLineRole, NoteRole, UnitsRole, StartupsRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setEngines(const QList<HostEngine> &engines);
    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const HostEngine &engine, int role) const override;
};

// A runtime of another machine, and whether Korvat watches it beside this machine's.
struct RemoteEngine {
    QString name;
    QString endpoint;
    bool watched = false;
    friend bool operator==(const RemoteEngine &, const RemoteEngine &) = default;
};

// The runtimes of other machines, keyed by name.
class RemoteEngineModel : public KeyedRowsModel<RemoteEngine> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Remote engines come from the store's runtimes")

public:
    enum Role { NameRole = Qt::UserRole + 1, EndpointRole, WatchedRole, SwitchNameRole };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setEngines(const QList<RemoteEngine> &engines);
    QHash<int, QByteArray> roleNames() const override;

protected:
    QVariant roleData(const RemoteEngine &engine, int role) const override;
};

// The settings window's state: the three toggles and the appearance written at once, the
// login item, how newer images are looked for and told of, the toolchain's status texts, the
// jobs it runs, and which engines of other machines are watched.
class SettingsController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes the settings")
    Q_PROPERTY(bool showMenuBar READ showMenuBar WRITE setShowMenuBar NOTIFY showMenuBarChanged)
    Q_PROPERTY(bool notifyOnFailure READ notifyOnFailure WRITE setNotifyOnFailure NOTIFY notifyOnFailureChanged)
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
    Q_PROPERTY(bool hostEnginesShown READ hostEnginesShown CONSTANT)
    Q_PROPERTY(HostEngineModel *hostEngines READ hostEngines CONSTANT)
    Q_PROPERTY(QString hostEnginesNote READ hostEnginesNote NOTIFY hostEnginesChanged)
    Q_PROPERTY(QString eventsNote READ eventsNote CONSTANT)
    // How often the registries are asked whether the images run here moved on: an index
    // into the choices, "Off", "Daily", "Every 6 hours", "Hourly".
    Q_PROPERTY(QStringList newerSchedules READ newerSchedules CONSTANT)
    Q_PROPERTY(int newerSchedule READ newerSchedule WRITE setNewerSchedule NOTIFY newerImagesChanged)
    Q_PROPERTY(bool notifyNewerImages READ notifyNewerImages WRITE setNotifyNewerImages NOTIFY newerImagesChanged)
    Q_PROPERTY(RemoteEngineModel *remoteEngines READ remoteEngines CONSTANT)
    Q_PROPERTY(QString remoteEnginesNote READ remoteEnginesNote NOTIFY remoteEnginesChanged)

public:
    // executable: what the login item starts. Without host engines, the toolchain is shown
    // wherever it is; without a store, no runtime of another machine.
    SettingsController(ToolchainStore *toolchain, QSettings *settings, QString executable, HostEngineStore *hostEngines = nullptr,
                       AppStore *store = nullptr, QObject *parent = nullptr);

    bool showMenuBar() const;
    void setShowMenuBar(bool show);
    bool notifyOnFailure() const;
    void setNotifyOnFailure(bool on);
    bool checkUpdatesAtLaunch() const;
    void setCheckUpdatesAtLaunch(bool check);
    bool openAtLogin() const;
    QString loginError() const { return m_loginError; }
    QStringList newerSchedules() const;
    int newerSchedule() const;
    void setNewerSchedule(int index);
    bool notifyNewerImages() const;
    void setNotifyNewerImages(bool on);
    Q_INVOKABLE void setOpenAtLogin(bool on);

    ToolModel *tools() { return &m_tools; }
    QString statusLine() const;
    bool restartNeeded() const;
    QString restartText() const;
    bool brewAvailable() const;
    bool canStartServices() const;
    bool checking() const;
    // On a Linux machine with neither Homebrew nor the Apple socket, the engines installed
    // here take the runtime tools' place.
    bool hostEnginesShown() const { return m_hostEnginesShown; }
    HostEngineModel *hostEngines() { return &m_engines; }
    QString hostEnginesNote() const;
    // What the window says of how it learns of changes.
    QString eventsNote() const;
    RemoteEngineModel *remoteEngines() { return &m_remotes; }
    // What stands in for the runtimes of other machines when there are none.
    QString remoteEnginesNote() const;
    // Remembered by name, so a context made again under the same name is watched again.
    Q_INVOKABLE void setWatched(const QString &runtimeName, bool on);

    // The window opened: the installed versions, then a check when the last one is a day old.
    Q_INVOKABLE void opened();
    Q_INVOKABLE void check();
    // Opens the job of the tool's own action (install or update); none when its action
    // opens a page.
    Q_INVOKABLE void runTool(const QString &formula);
    Q_INVOKABLE void startServices();
    Q_INVOKABLE void restartServices();
    // Start or Restart on one of an engine's units; scope as ServiceUnit::Scope.
    Q_INVOKABLE void actOnUnit(const QString &engine, int scope, const QString &unit);
    // The start-up fixes an engine's row offers; polkit asks first.
    Q_INVOKABLE void startAtBoot(const QString &engine, int scope);
    Q_INVOKABLE void keepRunningAfterLogout();
    // A job sheet closed: a job still running ends with it, and one that ran shows what it changed.
    Q_INVOKABLE void jobClosed(JobRun *run);

signals:
    void showMenuBarChanged();
    void notifyOnFailureChanged();
    void checkUpdatesAtLaunchChanged();
    void openAtLoginChanged();
    void newerImagesChanged();
    void statusChanged();
    void checkingChanged();
    void hostEnginesChanged();
    void remoteEnginesChanged();
    // A job for the window's job sheet, which runs it and owns it until it closes.
    void jobOpened(JobRun *run);

private:
    void open(const ToolJob &job);
    void listRemotes();

    QPointer<ToolchainStore> m_toolchain;
    QSettings *m_settings;
    QString m_executable;
    QString m_loginError;
    ToolModel m_tools;
    QPointer<HostEngineStore> m_hostEngineStore;
    bool m_hostEnginesShown = false;
    HostEngineModel m_engines;
    QPointer<AppStore> m_store;
    RemoteEngineModel m_remotes;
};
