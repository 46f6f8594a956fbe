#include "actions.h"

#include "detailsstate.h"

#include "appstore.h"
#include "mergedview.h"
#include "containerrules.h"
#include "execconsole.h"
#include "logfollower.h"
#include "newertext.h"
#include "restarttext.h"
#include "projectcard.h"
#include "projectdeletion.h"
#include "reclaiming.h"
#include "terminal.h"

#include <QClipboard>
#include <QCoroFuture>
#include <QDateTime>
#include <QSaveFile>
#include <QtConcurrent>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlEngine>
#include <QStandardPaths>

Actions::Actions(AppStore *store, QObject *parent) : QObject(parent), m_store(store) {}

// A row's key names its engine and its id or name; a bare id or name (a notification's,
// a script's) is the selected runtime's row of that id.
QString Actions::named(const QString &key) const
{
    const QString name = key.section(QChar(0x1f), -1);
    const QString engine = key.contains(QChar(0x1f)) ? key.section(QChar(0x1f), 0, 0) : QString();
    return engine.isEmpty() || !m_store->shown().several() ? name : name + QStringLiteral(" on ") + engine;
}

QString Actions::pruneTitle(bool images) const
{
    const QString what = images ? QStringLiteral("Prune unused images") : QStringLiteral("Prune unused volumes");
    // With several engines shown, say which one: a prune goes to the selected runtime alone.
    const auto runtime = m_store->runtime();
    return (m_store->shown().several() && runtime ? what + QStringLiteral(" on ") + runtime->name : what) + u'?';
}

bool Actions::isRow(const QString &key, const QString &engine, const QString &id) const
{
    if (key == MergedView::rowKey(engine, id))
        return true;
    return key == id && (engine.isEmpty() || engine == m_store->runtimeNamed({}).value_or(Runtime()).name);
}

std::optional<Container> Actions::container(const QString &id) const
{
    for (const EngineStore *engine : m_store->engines()) {
        for (Container c : engine->containers()) {
            c.engine = engine->name();
            if (isRow(id, c.engine, c.id))
                return c;
        }
    }
    return std::nullopt;
}

std::optional<ComposeProject> Actions::project(const QString &name) const
{
    // Whatever the search text hides: a notification names a project the list may not show.
    for (const ComposeProject &p : m_store->shown().projects(m_store->directories())) {
        if (isRow(name, p.engine, p.name))
            return p;
    }
    return std::nullopt;
}

void Actions::primary(const QString &id)
{
    const auto c = container(id);
    if (!c)
        return;
    switch (ContainerRules::primary(*c)) {
    case ContainerRules::Primary::Resume: return m_store->unpause(*c);
    case ContainerRules::Primary::Stop: return m_store->stop(*c);
    case ContainerRules::Primary::Start: return m_store->start(*c);
    }
}

void Actions::restart(const QString &id)
{
    withContainer(id, [this](const Container &c) { m_store->restart(c); });
}

void Actions::togglePause(const QString &id)
{
    withContainer(id, [this](const Container &c) {
        if (ContainerRules::primary(c) == ContainerRules::Primary::Resume)
            m_store->unpause(c);
        else if (c.isRunning())
            m_store->pause(c);
    });
}

void Actions::remove(const QString &id)
{
    withContainer(id, [this](const Container &c) { m_store->remove(c); });
}

void Actions::commit(const QString &id, const QString &imageName)
{
    if (const auto c = container(id))
        m_store->commit(*c, imageName);
}

void Actions::copyId(const QString &id)
{
    // A row's key carries its engine's name before the id.
    QGuiApplication::clipboard()->setText(id.section(QChar(0x1f), -1));
}

void Actions::copyPlain(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void Actions::copyText(Transcript *transcript)
{
    if (transcript)
        QGuiApplication::clipboard()->setText(transcript->plainText());
}

void Actions::copyString(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

QUrl Actions::saveLocation(const QString &subject)
{
    QString name = subject.isEmpty() ? QStringLiteral("log") : subject;
    name.replace(u'/', u'-');
    name += QDateTime::currentDateTime().toString(QStringLiteral(" yyyy-MM-dd HHmm")) + QStringLiteral(".log");
    return QUrl::fromLocalFile(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + u'/' + name);
}

void Actions::saveText(Transcript *transcript, const QUrl &file)
{
    if (!transcript || !file.isLocalFile())
        return;
    [](QPointer<AppStore> store, QString path, QString text) -> QCoro::Task<> {
        auto written = QtConcurrent::run([path, text]() -> QString {
            QSaveFile out(path);
            if (!out.open(QIODevice::WriteOnly) || out.write(text.toUtf8()) < 0 || !out.commit())
                return out.errorString();
            return {};
        });
        const QString problem = co_await written;
        if (store && !problem.isEmpty())
            store->reportError(QStringLiteral("Could not save the log to %1: %2").arg(path, problem));
    }(m_store, file.toLocalFile(), transcript->plainText());
}

void Actions::openTerminal(const QString &id)
{
    const auto c = container(id);
    if (!c)
        return;
    const auto launch = Terminal::launch(m_store->engine()->shell(c->name, m_store->runtimeNamed(c->engine)), QProcessEnvironment::systemEnvironment(),
                                         [](const QString &name) { return QStandardPaths::findExecutable(name); });
    if (!launch) {
        m_store->reportError(QStringLiteral("No terminal emulator found. Set $TERMINAL, or install one of: ")
                             + Terminal::candidates().join(QStringLiteral(", ")) + u'.');
        return;
    }
    QProcess process;
    process.setProgram(launch->program);
    process.setArguments(launch->arguments);
    process.setProcessEnvironment(launch->environment);
    if (!process.startDetached())
        m_store->reportError(QStringLiteral("Could not start ") + launch->program + QStringLiteral(": ") + process.errorString());
}

void Actions::pull(const QString &reference)
{
    // Passed exactly as typed: the engine is the judge of what a reference is.
    if (!reference.trimmed().isEmpty())
        m_store->pull(reference);
}

void Actions::pullNewerImage(const QString &id)
{
    withContainer(id, [this](const Container &c) {
        // Only a tag known to have moved on: the listing's name may be another image's by now.
        const auto freshness = m_store->newer().ofContainer(c.engine, c);
        if (freshness && freshness->state == ImageFreshness::State::Newer)
            m_store->pull(freshness->reference, c.engine);
    });
}

void Actions::removeImage(const QString &id, const QString &reference)
{
    for (const DockerImage &image : m_store->shown().images()) {
        if (isRow(id, image.engine, image.id) && image.repository + u':' + image.tag == reference)
            return m_store->remove(image);
    }
}

void Actions::ask()
{
    m_askedOn = m_store->runtime();
}

bool Actions::answeredOnAsked()
{
    if (m_store->runtime() == m_askedOn)
        return true;
    m_store->reportError(QStringLiteral("Nothing was done: the window moved from %1 to %2 while you were asked. Ask again on the runtime you mean.")
                             .arg(m_askedOn ? m_askedOn->name : QStringLiteral("the default runtime"),
                                  m_store->runtime() ? m_store->runtime()->name : QStringLiteral("the default runtime")));
    return false;
}

void Actions::pruneImages()
{
    if (answeredOnAsked())
        m_store->pruneImages();
}

std::optional<DockerVolume> Actions::volume(const QString &name) const
{
    for (const DockerVolume &v : m_store->shown().volumes()) {
        if (isRow(name, v.engine, v.name))
            return v;
    }
    return std::nullopt;
}

void Actions::removeVolume(const QString &name)
{
    if (!answeredOnAsked())
        return;
    if (const auto v = volume(name))
        m_store->remove(*v);
}

void Actions::backUpFirst(const QString &volume)
{
    if (answeredOnAsked())
        volumeData(Verb::RemoveVolume, volume, {});
}

void Actions::pruneVolumes()
{
    if (answeredOnAsked())
        m_store->pruneVolumes();
}

std::optional<DockerNetwork> Actions::network(const QString &name) const
{
    const auto networks = m_store->shown().networks();
    const auto found = std::find_if(networks.cbegin(), networks.cend(), [&](const DockerNetwork &n) { return isRow(name, n.engine, n.name); });
    return found == networks.cend() ? std::nullopt : std::optional(*found);
}

// No question first: nothing is lost with a network no container uses, and compose makes
// its own again on the next up.
void Actions::removeNetwork(const QString &name)
{
    if (const auto found = network(name))
        m_store->remove(*found);
}

void Actions::up(const QString &name)
{
    withProject(name, [this](const ComposeProject &p) { m_store->up(p); });
}

void Actions::down(const QString &name)
{
    if (answeredOnAsked())
        withProject(name, [this](const ComposeProject &p) { m_store->down(p); });
}

void Actions::startAll(const QString &name)
{
    withProject(name, [this](const ComposeProject &p) { m_store->startAll(p); });
}

void Actions::stopAll(const QString &name)
{
    withProject(name, [this](const ComposeProject &p) { m_store->stopAll(p); });
}

void Actions::forget(const QString &name)
{
    withProject(name, [this](const ComposeProject &p) { m_store->forget(p); });
}

void Actions::relocate(const QString &name, const QUrl &directory)
{
    const auto p = project(name);
    if (!p || !directory.isLocalFile())
        return;
    [](QPointer<AppStore> store, ComposeProject project, QString dir) -> QCoro::Task<> {
        auto relocating = store->relocate(project, dir);
        const std::optional<QString> message = co_await relocating;
        if (store && message)
            store->reportError(*message);
    }(m_store, *p, directory.toLocalFile());
}

void Actions::volumeData(Verb::Kind verb, const QString &name, const QUrl &file)
{
    if (file.isLocalFile() && !answeredOnAsked())
        return;
    const auto volume = this->volume(name);
    if (!volume)
        return;
    if (!file.isLocalFile()) {
        ask();
        const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral(" yyyy-MM-dd HHmm"));
        emit volumeFileRequested(verb, name, QUrl::fromLocalFile(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + u'/' + volume->name + stamp + QStringLiteral(".tar")));
        return;
    }
    if (verb == Verb::BackupVolume)
        m_store->backUp(*volume, file.toLocalFile());
    else if (verb == Verb::RemoveVolume)
        m_store->backUpAndRemove(volume->name, file.toLocalFile(), volume->engine);
    else
        m_store->restore(*volume, file.toLocalFile());
}

void Actions::reveal(const QString &name)
{
    const auto p = project(name);
    if (!p || !p->workingDir)
        return;
    const QUrl url = QUrl::fromLocalFile(*p->workingDir);
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                                       QStringLiteral("/org/freedesktop/FileManager1"),
                                                       QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{url.toString()} << QString();
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    // Without a file manager service, the directory itself opens in whatever handles folders.
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, url](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        if (!w->isError())
            return;
        if (!QDesktopServices::openUrl(url) && m_store)
            m_store->reportError(QStringLiteral("Could not show ") + url.toLocalFile() + QStringLiteral(": no file manager answered."));
    });
}

namespace {
template<typename T>
T *ownedByQml(T *object)
{
    QQmlEngine::setObjectOwnership(object, QQmlEngine::JavaScriptOwnership);
    return object;
}

// Holds a runtime in use for as long as its parent lives.
class HeldEngine : public QObject {
public:
    HeldEngine(OnEngine on, QObject *parent) : QObject(parent), m_on(std::move(on)) {}

private:
    OnEngine m_on;
};
}

// A sheet reads and runs on the runtime it was opened on, and that runtime stays in use (a
// remote one keeps its connection) until the sheet's object is gone.
template<typename T>
T *Actions::opened(T *object, const QString &engine)
{
    new HeldEngine(m_store->onEngine(engine), object);
    return ownedByQml(object);
}

void Actions::perform(Verb::Kind verb, const QString &subject, const QString &detail)
{
    const auto onContainer = [&](auto act) { withContainer(subject, act); };
    const auto onProject = [&](auto act) { withProject(subject, act); };
    switch (verb) {
    case Verb::Primary: return primary(subject);
    case Verb::Restart: return restart(subject);
    case Verb::TogglePause: return togglePause(subject);
    case Verb::RemoveContainer: return remove(subject);
    case Verb::CopyId: return copyId(subject);
    case Verb::OpenTerminal: return openTerminal(subject);
    case Verb::ContainerLogs:
        return onContainer([this](const Container &c) {
            emit logsRequested(opened(new LogFollower(m_store->engine(), LogSource::container(c), m_store->runtimeNamed(c.engine)), c.engine), c.name);
        });
    case Verb::Details:
        return onContainer([this](const Container &c) { emit detailsRequested(opened(new ContainerInspection(m_store, c), c.engine)); });
    case Verb::Console:
        return onContainer([this](const Container &c) {
            emit consoleRequested(opened(new ExecConsole(m_store->engine(), c, m_store->runtimeNamed(c.engine)), c.engine));
        });
    case Verb::Commit:
        return onContainer([this](const Container &c) { emit commitRequested(MergedView::rowKey(c.engine, c.id), c.name); });
    case Verb::PullNewerImage:
        return onContainer([this](const Container &c) {
            const auto freshness = m_store->newer().ofContainer(c.engine, c);
            if (!freshness || freshness->state != ImageFreshness::State::Newer)
                return;
            emit imagePullRequested(MergedView::rowKey(c.engine, c.id), QStringLiteral("Pull %1?").arg(freshness->reference),
                                    NewerText::pullMessage(freshness->reference, c.name, m_store->shown().several() ? c.engine : QString()));
        });
    case Verb::KeepRunning:
        return onContainer([this](const Container &c) {
            // Only where the policy would help: not on Podman, not for a container run with --rm.
            const auto comeback = m_store->restarts().of(c.engine.isEmpty() ? m_store->selected().name() : c.engine, c);
            if (!comeback || !comeback->fixable)
                return;
            const std::optional<QString> project = c.project();
            if (!project)
                return void(m_store->keepRunning(c));
            const QString service = c.labels.value(QLatin1String(Labels::service), c.name);
            const QString file = c.labels.value(QLatin1String(Labels::configFiles)).section(u',', 0, 0);
            const RestartText::Sheet sheet = RestartText::composeSheet({service}, file);
            emit restartLinesRequested(sheet.title, sheet.message, sheet.lines);
        });
    case Verb::OpenInBrowser:
        if (!QDesktopServices::openUrl(QUrl(detail)))
            m_store->reportError(QStringLiteral("Could not open ") + detail + QStringLiteral(": no web browser answered."));
        return;
    case Verb::Up: return up(subject);
    case Verb::Down:
        return onProject([this](const ComposeProject &p) {
            ask();
            emit downRequested(MergedView::rowKey(p.engine, p.name), ProjectCard::downConfirmation(int(p.containers.size())));
        });
    case Verb::StartAll: return startAll(subject);
    case Verb::StopAll: return stopAll(subject);
    case Verb::Forget: return forget(subject);
    case Verb::Reveal: return reveal(subject);
    case Verb::Locate:
        return onProject([this](const ComposeProject &p) { emit locateRequested(MergedView::rowKey(p.engine, p.name)); });
    case Verb::KeepServicesRunning:
        return onProject([this](const ComposeProject &p) {
            QList<std::pair<QString, Comeback>> comebacks;
            for (const Container &c : p.containers)
                if (const auto comeback = m_store->restarts().of(p.engine.isEmpty() ? m_store->selected().name() : p.engine, c); comeback && comeback->fixable)
                    comebacks.append({c.labels.value(QLatin1String(Labels::service), c.name), *comeback});
            const QStringList services = RestartText::staying(comebacks);
            if (services.isEmpty())
                return;
            const RestartText::Sheet sheet = RestartText::composeSheet(services, p.configFiles.value(0));
            emit restartLinesRequested(sheet.title, sheet.message, sheet.lines);
        });
    case Verb::PullNewer: return onProject([this](const ComposeProject &p) { m_store->pullNewer(p); });
    case Verb::Recreate: return onProject([this](const ComposeProject &p) { m_store->recreate(p); });
    case Verb::DismissPull: return onProject([this](const ComposeProject &p) { m_store->dismissPull(p.name, p.engine); });
    case Verb::ShowComposeFile:
        return onProject([this](const ComposeProject &p) {
            if (p.workingDir)
                emit composeFileRequested(ownedByQml(new ComposeFileState(m_store->engine(), p.name, ComposeTarget::of(p))));
        });
    case Verb::ServiceUp:
    case Verb::ServiceStart:
    case Verb::ServiceStop:
    case Verb::ServiceRestart: {
        using Kind = EngineAction::Kind;
        const Kind kind = verb == Verb::ServiceUp ? Kind::ComposeUp
                        : verb == Verb::ServiceStart ? Kind::ComposeStart
                        : verb == Verb::ServiceStop ? Kind::ComposeStop
                                                    : Kind::ComposeRestart;
        return onProject([this, kind, detail](const ComposeProject &p) { m_store->serviceAction(p, kind, detail); });
    }
    case Verb::ServiceLogs:
        return onProject([this, detail](const ComposeProject &p) {
            emit logsRequested(opened(new LogFollower(m_store->engine(), LogSource::project(p, detail), m_store->runtimeNamed(p.engine)), p.engine),
                               p.name + QStringLiteral(" · ") + detail);
        });
    case Verb::ProjectLogs:
        return onProject([this](const ComposeProject &p) {
            emit logsRequested(opened(new LogFollower(m_store->engine(), LogSource::project(p), m_store->runtimeNamed(p.engine)), p.engine), p.name);
        });
    case Verb::ToggleMute: {
        FailureWatch &failures = m_store->failures();
        const QString name = project(subject) ? project(subject)->name : subject;
        return failures.setMuted(name, !failures.muted(name));
    }
    case Verb::DeleteProject:
        return onProject([this](const ComposeProject &p) { emit deletionRequested(opened(new ProjectDeletion(m_store, p), p.engine)); });
    case Verb::Pull: return pull(detail);
    case Verb::RemoveImage: return removeImage(subject, detail);
    case Verb::PruneImages: ask(); emit pruneRequested(true); return;
    case Verb::VolumeDetails:
        if (const auto found = volume(subject))
            emit detailsRequested(opened(new VolumeInspection(m_store, *found), found->engine));
        return;
    case Verb::ImageDetails: {
        const auto images = m_store->shown().images();
        const auto image = std::find_if(images.cbegin(), images.cend(), [&](const DockerImage &i) { return isRow(subject, i.engine, i.id); });
        if (image != images.cend())
            emit detailsRequested(opened(new ImageInspection(m_store, *image), image->engine));
        return;
    }
    case Verb::RemoveVolume:
        if (!detail.isEmpty())
            return volumeData(verb, subject, QUrl(detail));
        if (const auto found = volume(subject)) {
            ask();
            emit volumeRemovalRequested(subject, QStringLiteral("%1 and every file in it are deleted, and cannot be brought back. "
                                                                "Back up first saves its files to a .tar archive you choose, and "
                                                                "removes the volume only once the archive is whole.").arg(named(subject)));
        }
        return;
    case Verb::PruneVolumes: ask(); emit pruneRequested(false); return;
    case Verb::BackupVolume:
    case Verb::RestoreVolume: return volumeData(verb, subject, QUrl(detail));
    case Verb::ShowVolume: emit volumeShown(subject); return;
    case Verb::Reclaim: emit reclaimRequested(opened(new Reclaiming(m_store))); return;
    case Verb::RemoveNetwork: return removeNetwork(subject);
    case Verb::NetworkDetails:
        if (const auto found = network(subject))
            emit detailsRequested(opened(new NetworkInspection(m_store, *found), found->engine));
        return;
    }
}
