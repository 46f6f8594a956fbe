#pragma once

#include "composetarget.h"

#include <QStringList>
#include <optional>

// One thing a user asks the engine to do, as a value: what kind, on which objects. How it
// is carried out (the docker arguments) is the engine's business.
struct EngineAction {
    enum class Kind {
        Start,          // containers
        Stop,           // containers
        Restart,        // containers
        Pause,          // containers
        Unpause,        // containers
        Remove,         // containers, forced
        Commit,         // one container, into the image named by argument
        RestartPolicy,  // containers get the restart policy in argument
        Pull,           // the image reference in argument
        RemoveImage,    // images
        PruneImages,
        RemoveVolume,   // volumes
        PruneVolumes,
        RemoveNetwork,  // networks
        // A reclaim's exact removals, one object each, never forced and never by a rule.
        ReclaimContainer,  // a stopped container by id
        ReclaimImage,      // an image by id, then the names the plan showed for it
        ReclaimCache,      // a build cache record by id
        // The project in dir, under its recorded name and files where given; with targets,
        // only those services.
        ComposeUp,      // detached, with what the services depend on
        ComposeDown,    // the whole project
        ComposeStart,
        ComposeStop,
        ComposeRestart,
        ComposePull,    // every service's image but those it builds; one failure stops no other
        ComposeRecreate,  // up for exactly the targets, none of what they depend on
        BackupVolume,   // one volume's content into the .tar file in argument
        RestoreVolume,  // one volume filled from the .tar file in argument
    };

    Kind kind = Kind::Start;
    QStringList targets;
    QString argument;
    std::optional<QString> dir;
    // A compose project's recorded name and configuration files: compose then acts on the
    // project as it was started, not on a namesake made from the directory.
    QString project = {};
    QStringList files = {};

    static EngineAction on(Kind kind, QStringList targets) { return {kind, std::move(targets), {}, std::nullopt}; }
    static EngineAction commit(const QString &container, const QString &image) { return {Kind::Commit, {container}, image, std::nullopt}; }
    static EngineAction restartPolicy(const QString &container, const QString &policy) { return {Kind::RestartPolicy, {container}, policy, std::nullopt}; }
    static EngineAction pull(const QString &reference) { return {Kind::Pull, {}, reference, std::nullopt}; }
    static EngineAction prune(Kind kind) { return {kind, {}, {}, std::nullopt}; }
    // Up from a directory never started: compose names the project itself.
    static EngineAction compose(Kind kind, const QString &dir, QStringList services = {}) { return {kind, std::move(services), {}, dir}; }
    static EngineAction compose(Kind kind, const ComposeTarget &target, QStringList services = {})
    {
        return {kind, std::move(services), {}, target.dir, target.name, target.files};
    }
    static EngineAction compose(Kind kind, const ComposeProject &project, QStringList services = {})
    {
        return {kind, std::move(services), {}, project.workingDir, project.name, project.configFiles};
    }
    ComposeTarget composeTarget() const { return {dir.value_or(QString()), project, files}; }
    static EngineAction reclaimImage(const QString &id, const QStringList &names) { return {Kind::ReclaimImage, QStringList{id} + names, {}, std::nullopt}; }
    static EngineAction volumeData(Kind kind, const QString &volume, const QString &file) { return {kind, {volume}, file, std::nullopt}; }

    friend bool operator==(const EngineAction &, const EngineAction &) = default;
};
