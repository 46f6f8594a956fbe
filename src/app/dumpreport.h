#pragma once

#include "engine.h"

#include <QJsonObject>
#include <QTextStream>
#include <optional>

// "runtime: default · offline  unix:///var/run/docker.sock  [opens here]"
QString runtimeLine(const RuntimeEntry &entry, const std::optional<Runtime> &current);

// What the engine layer sees, asked once; written as text or as JSON, so both hold the same.
struct DumpReport {
    struct Project {
        enum class Compose { Checked, WorkdirMissing, NoComposeFile };
        ComposeProject project;
        Compose compose = Compose::Checked;
        ComposeCheck check = {};   // only when checked
        // What the files define, when compose could read them.
        std::optional<ResolvedProject> defined = {};
    };
    // One watched runtime, read on its own: counts only when its engine answers, each null
    // when its listing failed.
    struct WatchedEngine {
        RuntimeEntry entry;
        bool answers = false;
        std::optional<int> containers = {};
        std::optional<int> running = {};
        std::optional<int> images = {};
        std::optional<int> volumes = {};
        std::optional<int> networks = {};
    };
    RuntimeList runtimes;
    QList<WatchedEngine> engines;
    std::optional<QString> context;
    // Why the containers could not be listed; nothing below it is known then.
    std::optional<QString> failure;
    int containerCount = 0;
    QList<Project> projects;
    QList<Container> ungrouped;
    std::optional<int> images;
    std::optional<int> volumes;
    // Why the images or volumes could not be listed.
    std::optional<QString> totalsFailure;
};

// watchedRemotes: the runtimes of other machines watched beside this machine's, by name.
DumpReport gatherDump(const Engine &engine, const std::optional<QString> &context, const QStringList &watchedRemotes);
// `korvat --dump [context]`.
void writeDump(const DumpReport &report, QTextStream &out);
// `korvat --dump --json [context]`: the schema the README describes.
QJsonObject dumpJson(const DumpReport &report);
