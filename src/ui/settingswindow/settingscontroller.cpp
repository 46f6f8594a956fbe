#include "settingscontroller.h"
#include "secrets.h"
#include "settings.h"

#include "appstore.h"
#include "docker.h"
#include "enginestartup.h"
#include "hostenginestore.h"
#include "loginitem.h"
#include "runtimeselection.h"
#include "toolchainstore.h"
#include "toolrules.h"

#include <QFileInfo>
#include <QLocale>
#include <QSettings>

void ToolModel::setTools(const QList<Tool> &tools)
{
    sync(m_rows, tools, [](const Tool &t) { return t.formula; }, [](const Tool &, const Tool &) {
        return QList<int>{InstalledRole, LatestRole, BadgeRole, BadgeKindRole, ActionRunsJobRole, ActionLabelRole, ActionHelpRole};
    });
}

QVariant ToolModel::roleData(const Tool &t, int role) const
{
    switch (role) {
    case FormulaRole: return t.formula;
    case Qt::DisplayRole:
    case NameRole: return t.name;
    case PurposeRole: return t.purpose;
    case InstalledRole: return t.installed.value_or(QStringLiteral("—"));
    case LatestRole: return t.latest.value_or(QStringLiteral("—"));
    case BadgeRole: return ToolRules::badge(t).text;
    case BadgeKindRole: return ToolRules::badge(t).kind;
    case ActionRunsJobRole: return ToolRules::action(t).runsJob();
    case ActionLabelRole: return ToolRules::action(t).label;
    case ActionHelpRole: return ToolRules::action(t).help;
    case HomepageRole: return t.homepage;
    }
    return {};
}

QHash<int, QByteArray> ToolModel::roleNames() const
{
    return {{FormulaRole, "formula"}, {NameRole, "name"}, {PurposeRole, "purpose"}, {InstalledRole, "installed"},
            {LatestRole, "latest"}, {BadgeRole, "badge"}, {BadgeKindRole, "badgeKind"}, {ActionRunsJobRole, "actionRunsJob"},
            {ActionLabelRole, "actionLabel"}, {ActionHelpRole, "actionHelp"}, {HomepageRole, "homepage"}};
}

void HostEngineModel::setEngines(const QList<HostEngine> &engines)
{
    sync(m_rows, engines, [](const HostEngine &e) { return e.name; }, [](const HostEngine &, const HostEngine &) {
        return QList<int>{VersionLineRole, NoteRole, UnitsRole, StartupsRole};
    });
}

QVariant HostEngineModel::roleData(const HostEngine &engine, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case NameRole: return engine.name;
    case VersionLineRole: return HostEngines::versionLine(engine);
    case NoteRole: return engine.servicesNote;
    case UnitsRole: {
        QVariantList units;
        for (const auto &unit : engine.units) {
            static const QMap<HostEngines::Verb, QString> actions{{HostEngines::Verb::None, {}},
                                                                  {HostEngines::Verb::Start, QStringLiteral("Start")},
                                                                  {HostEngines::Verb::Restart, QStringLiteral("Restart")}};
            units.append(QVariantMap{{QStringLiteral("name"), unit.name},
                                     {QStringLiteral("scope"), int(unit.scope)},
                                     {QStringLiteral("line"), HostEngines::unitLine(unit)},
                                     {QStringLiteral("action"), actions.value(HostEngines::verb(unit))},
                                     {QStringLiteral("error"), unit.error}});
        }
        return units;
    }
    case StartupsRole: {
        QVariantList startups;
        // An engine with units of both kinds is two engines: each line says whose it is.
        const bool both = std::any_of(engine.units.cbegin(), engine.units.cend(), [](const ServiceUnit &u) { return u.scope == ServiceUnit::Scope::User; })
            && std::any_of(engine.units.cbegin(), engine.units.cend(), [](const ServiceUnit &u) { return u.scope == ServiceUnit::Scope::System; });
        for (const auto scope : {ServiceUnit::Scope::System, ServiceUnit::Scope::User}) {
            QList<ServiceUnit> units;
            std::copy_if(engine.units.cbegin(), engine.units.cend(), std::back_inserter(units),
                         [&](const ServiceUnit &u) { return u.scope == scope; });
            if (units.isEmpty())
                continue;
            const bool user = scope == ServiceUnit::Scope::User;
            const EngineStartup startup = HostEngines::startup(units, engine.linger);
            // Where lingering is known, its error is a refused change: the answer stands.
            const bool refused = user && engine.linger.on.has_value();
            startups.append(QVariantMap{
                {QStringLiteral("scope"), int(scope)},
                {QStringLiteral("line"), both ? (user ? QStringLiteral("Yours: ") : QStringLiteral("For all users: ")) + HostEngines::startupLine(startup).toLower()
                                              : HostEngines::startupLine(startup)},
                {QStringLiteral("reason"), startup.reason},
                {QStringLiteral("error"), refused ? engine.linger.error : QString()},
                {QStringLiteral("enable"), HostEngines::toEnable(units) ? QStringLiteral("Start the engine at boot") : QString()},
                {QStringLiteral("linger"), user && engine.linger.on == false ? QStringLiteral("Keep running after logout") : QString()}});
        }
        return startups;
    }
    }
    return {};
}

QHash<int, QByteArray> HostEngineModel::roleNames() const
{
    return {{NameRole, "name"}, {VersionLineRole, "versionLine"}, {NoteRole, "note"}, {UnitsRole, "units"}, {StartupsRole, "startups"}};
}

void RemoteEngineModel::setEngines(const QList<RemoteEngine> &engines)
{
    sync(m_rows, engines, [](const RemoteEngine &e) { return e.name; }, [](const RemoteEngine &a, const RemoteEngine &b) {
        QList<int> roles;
        if (a.endpoint != b.endpoint)
            roles << EndpointRole;
        if (a.watched != b.watched)
            roles << WatchedRole;
        return roles;
    });
}

QVariant RemoteEngineModel::roleData(const RemoteEngine &engine, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
    case NameRole: return engine.name;
    case EndpointRole: return engine.endpoint;
    case WatchedRole: return engine.watched;
    case SwitchNameRole: return QStringLiteral("Watch ") + engine.name;
    }
    return {};
}

QHash<int, QByteArray> RemoteEngineModel::roleNames() const
{
    return {{NameRole, "name"}, {EndpointRole, "endpoint"}, {WatchedRole, "watched"}, {SwitchNameRole, "switchName"}};
}

SettingsController::SettingsController(ToolchainStore *toolchain, QSettings *settings, QString executable, HostEngineStore *hostEngines,
                                       AppStore *store, QObject *parent)
    : QObject(parent), m_toolchain(toolchain), m_settings(settings), m_executable(std::move(executable)), m_hostEngineStore(hostEngines),
      m_hostEnginesShown(hostEngines
                         && HostEngines::replaceToolchain(toolchain->brewAvailable(), QFileInfo::exists(Docker::launch().appleSocketPath))),
      m_store(store)
{
    if (m_store) {
        connect(m_store, &AppStore::runtimesChanged, this, &SettingsController::listRemotes);
        connect(m_store, &AppStore::watchedChanged, this, &SettingsController::listRemotes);
        listRemotes();
    }
    if (m_hostEngineStore) {
        connect(m_hostEngineStore, &HostEngineStore::enginesChanged, this, [this] {
            m_engines.setEngines(m_hostEngineStore->engines());
            emit hostEnginesChanged();
        });
    }
    const auto tools = [this] { m_tools.setTools(m_toolchain->tools()); };
    connect(m_toolchain, &ToolchainStore::toolsChanged, this, tools);
    connect(m_toolchain, &ToolchainStore::toolsChanged, this, &SettingsController::statusChanged);
    connect(m_toolchain, &ToolchainStore::statusChanged, this, &SettingsController::statusChanged);
    connect(m_toolchain, &ToolchainStore::lastCheckedChanged, this, &SettingsController::statusChanged);
    connect(m_toolchain, &ToolchainStore::checkingChanged, this, &SettingsController::checkingChanged);
    tools();
}

bool SettingsController::showMenuBar() const { return Settings::showMenuBar.read(*m_settings); }

bool SettingsController::notifyOnFailure() const { return Settings::notifyOnFailure.read(*m_settings); }

void SettingsController::setNotifyOnFailure(bool on)
{
    if (on == notifyOnFailure())
        return;
    Settings::notifyOnFailure.write(*m_settings, on);
    emit notifyOnFailureChanged();
}

void SettingsController::setShowMenuBar(bool show)
{
    if (show == showMenuBar())
        return;
    Settings::showMenuBar.write(*m_settings, show);
    emit showMenuBarChanged();
}

bool SettingsController::checkUpdatesAtLaunch() const
{
    return Settings::checkUpdatesAtLaunch.read(*m_settings);
}

void SettingsController::setCheckUpdatesAtLaunch(bool check)
{
    if (check == checkUpdatesAtLaunch())
        return;
    Settings::checkUpdatesAtLaunch.write(*m_settings, check);
    emit checkUpdatesAtLaunchChanged();
}

QStringList SettingsController::newerSchedules() const
{
    // In the order of NewerImages::Schedule.
    return {QStringLiteral("Off"), QStringLiteral("Daily"), QStringLiteral("Every 6 hours"), QStringLiteral("Hourly")};
}

int SettingsController::newerSchedule() const
{
    return int(m_store ? m_store->newer().schedule() : NewerImages::scheduleNamed(Settings::newerImagesSchedule.read(*m_settings)));
}

void SettingsController::setNewerSchedule(int index)
{
    if (index < 0 || index >= newerSchedules().size() || index == newerSchedule())
        return;
    const auto schedule = NewerImages::Schedule(index);
    // Through the watch, which moves its next check to the new pace.
    if (m_store)
        m_store->newer().setSchedule(schedule);
    else
        Settings::newerImagesSchedule.write(*m_settings, NewerImages::nameOf(schedule));
    emit newerImagesChanged();
}

bool SettingsController::notifyNewerImages() const
{
    return m_store ? m_store->newer().notifies() : Settings::notifyNewerImages.read(*m_settings);
}

void SettingsController::setNotifyNewerImages(bool on)
{
    if (on == notifyNewerImages())
        return;
    if (m_store)
        m_store->newer().setNotifies(on);
    else
        Settings::notifyNewerImages.write(*m_settings, on);
    emit newerImagesChanged();
}

bool SettingsController::openAtLogin() const { return LoginItem::state() == QLatin1String("on"); }

void SettingsController::setOpenAtLogin(bool on)
{
    const bool done = on ? LoginItem::enable(m_executable) : LoginItem::disable();
    // The toggle shows the entry's real state either way; a failure says why beneath it.
    m_loginError = done ? QString()
                        : QStringLiteral("Could not ") + (on ? QStringLiteral("enable") : QStringLiteral("disable"))
            + QStringLiteral(" this: ") + (on ? QStringLiteral("cannot write ") : QStringLiteral("cannot remove ")) + LoginItem::entryPath();
    emit openAtLoginChanged();
}

QString SettingsController::statusLine() const
{
    return ToolRules::statusLine(m_toolchain->status(), m_toolchain->lastChecked(), QLocale());
}

bool SettingsController::restartNeeded() const { return m_toolchain->status().restartNeeded(); }
QString SettingsController::restartText() const { return ToolRules::restartText(m_toolchain->status()); }
bool SettingsController::brewAvailable() const { return m_toolchain->brewAvailable(); }
bool SettingsController::canStartServices() const { return m_toolchain->containerInstalled() && !m_toolchain->status().running; }
bool SettingsController::checking() const { return m_toolchain->checking(); }

QString SettingsController::hostEnginesNote() const
{
    if (!m_hostEngineStore || !m_hostEngineStore->surveyed())
        return QStringLiteral("Looking for engines…");
    return m_hostEngineStore->engines().isEmpty()
        ? QStringLiteral("No container engine is installed. Install Docker (docker.io) or Podman (podman) with your package manager.")
        : QString();
}

QString SettingsController::eventsNote() const
{
    if (m_hostEnginesShown)
        return QStringLiteral("Korvat follows each engine’s event stream and polls only while the stream is down.");
    return QStringLiteral("Korvat polls the Docker API; there is no event stream on Apple container. The launch check runs at most once a day.");
}

QString SettingsController::remoteEnginesNote() const
{
    return m_remotes.count() == 0 ? QStringLiteral("No remote contexts. Add one with docker context create.") : QString();
}

void SettingsController::setWatched(const QString &runtimeName, bool on)
{
    if (m_store)
        m_store->setWatched(runtimeName, on);
}

void SettingsController::listRemotes()
{
    const QStringList watched = m_store->watchedRemotes();
    QList<RemoteEngine> remotes;
    for (const RuntimeEntry &e : m_store->runtimes()) {
        // A tcp:// endpoint may carry a password.
        if (!RuntimeSelection::isLocal(e))
            remotes.append({e.runtime.name, Secrets::text(e.endpoint), watched.contains(e.runtime.name)});
    }
    const bool hadNone = m_remotes.count() == 0;
    m_remotes.setEngines(remotes);
    if (hadNone != (m_remotes.count() == 0))
        emit remoteEnginesChanged();
}

void SettingsController::actOnUnit(const QString &engine, int scope, const QString &unit)
{
    if (m_hostEngineStore)
        m_hostEngineStore->act(engine, ServiceUnit::Scope(scope), unit);
}

void SettingsController::startAtBoot(const QString &engine, int scope)
{
    if (m_hostEngineStore)
        m_hostEngineStore->startAtBoot(engine, ServiceUnit::Scope(scope));
}

void SettingsController::keepRunningAfterLogout()
{
    if (m_hostEngineStore)
        m_hostEngineStore->keepRunningAfterLogout();
}

void SettingsController::opened()
{
    if (m_hostEnginesShown && m_hostEngineStore)
        m_hostEngineStore->survey();
    [](QPointer<ToolchainStore> toolchain) -> QCoro::Task<> {
        auto loading = toolchain->load();
        co_await loading;
        if (!toolchain)
            co_return;
        auto checking = toolchain->checkIfStale();
        co_await checking;
    }(m_toolchain);
}

void SettingsController::check() { m_toolchain->check(); }

void SettingsController::open(const ToolJob &job)
{
    // Ours until the sheet that shows it closes; see jobClosed.
    emit jobOpened(new JobRun(job, m_toolchain->source(), this));
}

void SettingsController::runTool(const QString &formula)
{
    const auto &tools = m_toolchain->tools();
    const auto tool = std::find_if(tools.cbegin(), tools.cend(), [&](const Tool &t) { return t.formula == formula; });
    if (tool == tools.cend())
        return;
    if (const auto job = ToolRules::job(*tool))
        open(*job);
}

void SettingsController::startServices() { open(ToolJob::start()); }
void SettingsController::restartServices() { open(ToolJob::restart()); }

void SettingsController::jobClosed(JobRun *run)
{
    if (!run)
        return;
    const bool ran = run->finished();
    run->deleteLater();
    if (ran)
        m_toolchain->load();
}
