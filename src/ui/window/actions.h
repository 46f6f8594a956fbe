#pragma once

#include "composefilestate.h"
#include "composeproject.h"
#include "detailsstate.h"
#include "container.h"
#include "execconsole.h"
#include "logfollower.h"
#include "projectdeletion.h"
#include "reclaiming.h"
#include "verb.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// Turns the views' verbs, which name containers by id and projects by name, into store
// calls, the desktop's services (terminal, file manager, clipboard), or a request for a
// sheet with the state it shows. Failures of the desktop services go to the error banner
// like any other.
class Actions : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes the actions")

public:
    explicit Actions(AppStore *store, QObject *parent = nullptr);

    // subject: a container's id, a project's or volume's name, an image's id; detail: the
    // image reference an image verb acts on.
    Q_INVOKABLE void perform(Verb::Kind verb, const QString &subject, const QString &detail = {});

    // Containers, by id.
    void primary(const QString &id);
    void restart(const QString &id);
    // Pauses a running container, resumes a paused one.
    void togglePause(const QString &id);
    void remove(const QString &id);
    Q_INVOKABLE void commit(const QString &id, const QString &imageName);
    void copyId(const QString &id);
    void openTerminal(const QString &id);

    // Images by id and reference (one id may carry several), volumes by name.
    void pull(const QString &reference);
    // The newer image of a lone container's tag, on the container's engine; the container
    // runs the old one until it is made again.
    Q_INVOKABLE void pullNewerImage(const QString &id);
    void removeImage(const QString &id, const QString &reference);
    Q_INVOKABLE void pruneImages();
    // At once: the sheet that asked has been answered.
    Q_INVOKABLE void removeVolume(const QString &name);
    // A removal whose volume is first saved to a file the user picks.
    Q_INVOKABLE void backUpFirst(const QString &volume);
    Q_INVOKABLE void pruneVolumes();

    // Projects, by name.
    void up(const QString &project);
    Q_INVOKABLE void down(const QString &project);
    void startAll(const QString &project);
    void stopAll(const QString &project);
    void forget(const QString &project);
    Q_INVOKABLE void relocate(const QString &project, const QUrl &directory);
    void reveal(const QString &project);
    void volumeData(Verb::Kind verb, const QString &volume, const QUrl &file);
    void removeNetwork(const QString &name);
    std::optional<DockerVolume> volume(const QString &name) const;

    // A log's or transcript's text without styles: to the clipboard, or to a file (written
    // off the window's thread; a failure goes to the banner).
    Q_INVOKABLE void copyText(Transcript *transcript);
    Q_INVOKABLE void copyPlain(const QString &text);
    Q_INVOKABLE static void copyString(const QString &text);
    Q_INVOKABLE void saveText(Transcript *transcript, const QUrl &file);
    // Where the save dialog proposes to write: the documents folder, the subject and the
    // time, "shop-web-1 2026-11-23 1657.log".
    Q_INVOKABLE static QUrl saveLocation(const QString &subject);

signals:
    // The sheets a verb opens, with the state each shows; a sheet owns what it is given and
    // lets it go when it closes.
    void logsRequested(LogFollower *source, const QString &title);
    void detailsRequested(Inspection *inspection);
    void consoleRequested(ExecConsole *target);
    void commitRequested(const QString &id, const QString &name);
    void deletionRequested(ProjectDeletion *deletion);
    void reclaimRequested(Reclaiming *reclaim);
    void composeFileRequested(ComposeFileState *file);
    void downRequested(const QString &project, const QString &confirmation);
    // A volume's removal waits for the user's word, or for a backup first.
    void volumeRemovalRequested(const QString &volume, const QString &message);
    // A backup or restore of the volume needs its file: suggested is where a backup would go.
    // A removal (verb RemoveVolume) asks for the file its backup first goes to.
    void volumeFileRequested(int verb, const QString &volume, const QUrl &suggested);
    void pruneRequested(bool images);
    // A container's newer image is pulled on the user's word: container is its key.
    void imagePullRequested(const QString &container, const QString &title, const QString &message);
    // A compose service's restart line, for the user to add to their file.
    void restartLinesRequested(const QString &title, const QString &message, const QString &lines);
    // A volume named on a sheet is to be shown in its section.
    void volumeShown(const QString &volume);
    // The project's directory has gone; the window asks where it went.
    void locateRequested(const QString &project);

private:
    std::optional<Container> container(const QString &id) const;
    bool isRow(const QString &key, const QString &engine, const QString &id) const;

public:
    // A row's key as a person reads it: "shop", or "shop on build-server" while several
    // engines are shown.
    Q_INVOKABLE QString named(const QString &key) const;
    Q_INVOKABLE QString pruneTitle(bool images) const;

private:
    std::optional<ComposeProject> project(const QString &name) const;
    std::optional<DockerNetwork> network(const QString &name) const;
    // A click on something that has gone since it was drawn does nothing.
    template<typename F>
    void withContainer(const QString &id, F act)
    {
        if (const auto c = container(id))
            act(*c);
    }
    template<typename F>
    void withProject(const QString &name, F act)
    {
        if (const auto p = project(name))
            act(*p);
    }

    // A question asked of the user (take down, remove, prune, where to save) is about the
    // runtime shown when it was asked; its answer acts there or, if the window has moved to
    // another runtime since, nowhere, with a line that says so.
    void ask();
    template<typename T>
    T *opened(T *object, const QString &engine = {});
    bool answeredOnAsked();

    QPointer<AppStore> m_store;
    std::optional<Runtime> m_askedOn;
};
