#pragma once

#include "composeproject.h"
#include "container.h"
#include "execconsole.h"
#include "logfollower.h"
#include "projectdeletion.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// Turns the views' clicks, which name containers by id and projects by name, into store
// calls, sheets' state objects, and the desktop's services (terminal, file manager,
// clipboard). Failures of the desktop services go to the error banner like any other.
class Actions : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes the actions")

public:
    explicit Actions(AppStore *store, QObject *parent = nullptr);

    // Containers, by id.
    Q_INVOKABLE void primary(const QString &id);
    Q_INVOKABLE void restart(const QString &id);
    // Pauses a running container, resumes a paused one.
    Q_INVOKABLE void togglePause(const QString &id);
    Q_INVOKABLE void remove(const QString &id);
    Q_INVOKABLE void commit(const QString &id, const QString &imageName);
    Q_INVOKABLE void copyId(const QString &id);
    Q_INVOKABLE void openTerminal(const QString &id);
    Q_INVOKABLE QString terminalCommand(const QString &name) const;
    Q_INVOKABLE QString containerName(const QString &id) const;

    // Images by id and reference (one id may carry several), volumes by name.
    Q_INVOKABLE void pull(const QString &reference);
    Q_INVOKABLE void removeImage(const QString &id, const QString &reference);
    Q_INVOKABLE void pruneImages();
    Q_INVOKABLE void removeVolume(const QString &name);
    Q_INVOKABLE void pruneVolumes();

    // Projects, by name.
    Q_INVOKABLE void up(const QString &project);
    Q_INVOKABLE void down(const QString &project);
    Q_INVOKABLE void startAll(const QString &project);
    Q_INVOKABLE void stopAll(const QString &project);
    Q_INVOKABLE void forget(const QString &project);
    Q_INVOKABLE void relocate(const QString &project, const QUrl &directory);
    Q_INVOKABLE void reveal(const QString &project);
    Q_INVOKABLE QString downConfirmation(const QString &project) const;

    // The state behind a sheet; the sheet owns it and lets it go when it closes.
    Q_INVOKABLE LogFollower *containerLogs(const QString &id);
    Q_INVOKABLE LogFollower *projectLogs(const QString &project);
    Q_INVOKABLE ExecConsole *console(const QString &id);
    Q_INVOKABLE ProjectDeletion *deletion(const QString &project);

private:
    std::optional<Container> container(const QString &id) const;
    std::optional<ComposeProject> project(const QString &name) const;
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

    QPointer<AppStore> m_store;
};
