#pragma once

#include "composeproject.h"
#include "knownproject.h"
#include "projectdirectory.h"

#include <QList>
#include <QMap>
#include <optional>

class QSettings;

// The projects remembered per runtime, so that a project stays listed after "down" and a
// relocated project keeps the directory that still holds its compose file. Every
// operation takes the runtime key as optional; without one, nothing changes.
class ProjectRegistry {
public:
    using Key = std::optional<QString>;

    QMap<QString, QList<KnownProject>> byRuntime;

    // Bytes that do not decode give an empty registry; they are first copied aside under
    // "knownProjects.unreadable" so that a later save cannot destroy them.
    static ProjectRegistry load(QSettings &settings);
    void save(QSettings &settings) const;
    QByteArray encode() const;
    static std::optional<ProjectRegistry> decode(const QByteArray &bytes);

    // What the listing showed; dirs is what the disk showed of the directories involved.
    void record(const QList<ComposeProject> &projects, const Key &key, const DirectoryMap &dirs);
    void add(const KnownProject &project, const Key &key);
    void forget(const QString &name, const Key &key);
    bool knows(const QString &name, const Key &key) const;
    QList<KnownProject> projects(const Key &key) const;

    static QList<ComposeProject> merge(const QList<ComposeProject> &discovered, const QList<KnownProject> &known, const DirectoryMap &dirs);

    friend bool operator==(const ProjectRegistry &, const ProjectRegistry &) = default;
};
