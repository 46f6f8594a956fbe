#pragma once

#include "fakeengine.h"
#include "newerimages.h"
#include "projectregistry.h"
#include "tool.h"
#include "servicemanager.h"
#include "toolchainsource.h"
#include "usage.h"

#include <atomic>

// Built-in sample state for screenshots: projects in every card state, loose containers,
// images, volumes and two runtimes, one of them offline.
namespace SampleData {
// An engine holding the samples; project directories live under root.
std::shared_ptr<FakeEngine> engine(const QString &root);
FakeEngine::Holdings holdings(const QString &root);
// What the details sheet shows of two containers: one whose health check fails, one the
// out-of-memory killer stopped. Times count back from now.
QList<ContainerDetails> details(const QDateTime &now);
// An image of many layers, some of them long, some adding no files.
ImageDetails imageDetails(const QDateTime &now);
// Where the sample's images came from, by image id, as the engine recorded their pulls:
// every tagged image but the notes app's, which was built here. Kept apart from holdings(),
// so that only what asks for them gives the registries something to be asked about.
QMap<QString, QStringList> repoDigests();
// What the registries said of those tags three hours before now: the storefront's php
// images and the backup agent's busybox moved on since they were pulled, the rest did not;
// what moved on was already told of.
TagLedger newerLedger(const QDateTime &now);
// Projects added by hand that run nothing: billing, and archive whose directory is gone.
ProjectRegistry registry(const QString &root);
// Creates the sample projects' directories under root: storefront, website, billing and docs
// with a compose file, notes without one; legacy's and archive's directories stay missing.
void layOut(const QString &root);
QString logText();
// A minute of readings, one a second, for the running containers: a database working in
// bursts, a busy PHP server, the rest near idle.
QList<QList<Usage>> usage(const QList<Container> &containers);
// What the CLI has printed part way through a pull of nginx:1.27 (three of seven layers in,
// one downloading) and an up of storefront (php's image pulling, db running, worker's failed).
QStringList pullProgress();
QStringList upProgress();
// A compose pull of the storefront: three images pulled, the mail relay refused.
QStringList projectPullProgress();
// The storefront's compose file as written, and as compose resolves it with its .env.
QString storefrontFile();
QString storefrontResolved();
// Commands typed into the exec console and what each printed.
QList<std::pair<QString, ExecResult>> commands();
// Tools in every state the settings show: an update, a missing one, one installed outside
// Homebrew with a newer release, one up to date; the service wants a restart.
QList<Tool> tools();
SystemStatus status();
// What a job prints after its own banner line.
QString jobOutput();

// The sample tools as a toolchain answers for them, or no tools at all while empty; a job
// prints jobOutput() and then runs until it is ended.
class Toolchain : public ToolchainSource {
public:
    void setEmpty(bool empty) { m_empty = empty; }
    // Without Homebrew, as on most Linux machines.
    void setBrew(bool brew) { m_brew = brew; }

    bool brewAvailable() const override { return m_brew; }
    QList<Tool> survey() const override;
    SystemStatus systemStatus() const override { return m_empty ? SystemStatus{} : status(); }
    std::optional<QString> refreshIndex() const override { return std::nullopt; }
    QMap<QString, QString> latest() const override;
    std::unique_ptr<QProcess> job(const QString &script) const override;

private:
    std::atomic<bool> m_empty = false;
    std::atomic<bool> m_brew = true;
};

// A Linux machine's engines: the distribution's Docker up to date, running and enabled,
// Podman with a newer package offered and its user socket stopped, enabled but not
// lingering. polkit refuses every change.
QList<HostEngine> hostEngines();
class Services : public ServiceManager {
public:
    QCoro::Task<ServiceUnit> read(ServiceUnit unit) const override;
    QCoro::Task<ServiceUnit> act(ServiceUnit unit, HostEngines::Verb verb) const override;
    QCoro::Task<Linger> linger() const override;
    QCoro::Task<ServiceUnit> enable(ServiceUnit unit) const override;
    QCoro::Task<Linger> keepAfterLogout() const override;
};
}
