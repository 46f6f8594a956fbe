#pragma once

#include "composeproject.h"
#include "container.h"
#include "directorychecks.h"
#include "dockerimage.h"
#include "dockernetwork.h"
#include "dockervolume.h"
#include "projectregistry.h"

#include <QList>

class EngineStore;

// The rows of every engine the window shows, side by side, each carrying its engine's name
// so that what is done to it goes there. Engines keep the order they were given; within
// one, rows keep the engine's order. Nothing is cached: it is read anew on each change.
class MergedView {
public:
    // What one engine lends the view.
    struct Part {
        QString engine;
        QList<Container> containers;
        QList<DockerImage> images;
        QList<DockerVolume> volumes;
        QList<DockerNetwork> networks;
        // The projects remembered for this engine.
        QList<KnownProject> known;
    };

    MergedView() = default;
    explicit MergedView(QList<Part> parts) : m_parts(std::move(parts)) {}
    static Part partOf(const EngineStore &store, const ProjectRegistry &registry);

    const QList<Part> &parts() const & { return m_parts; }
    // Of a view about to go, a copy: a loop over a temporary view's parts must not outlive it.
    QList<Part> parts() && { return std::move(m_parts); }
    // More than one engine: rows say which is theirs.
    bool several() const { return m_parts.size() > 1; }

    // Rows matching the search text (as Filters reads it).
    QList<Container> containers(const QString &query = {}) const;
    QList<DockerImage> images(const QString &query = {}) const;
    QList<DockerVolume> volumes(const QString &query = {}) const;
    QList<DockerNetwork> networks(const QString &query = {}) const;
    // A project is per engine: the same name on two engines is two projects.
    QList<ComposeProject> projects(const DirectoryMap &directories, const QString &query = {}) const;
    int running() const;
    // The volumes some container of the same engine mounts, by rowKey.
    QSet<QString> mountedVolumes() const;

    // A row's identity across engines: its id or name, and its engine's when it has one.
    static QString rowKey(const QString &engine, const QString &id)
    {
        return engine.isEmpty() ? id : engine + QChar(0x1f) + id;
    }

private:
    template<typename T>
    QList<T> gathered(QList<T> Part::*rows, QList<T> (*filter)(const QList<T> &, const QString &), const QString &query) const;

    QList<Part> m_parts;
};
