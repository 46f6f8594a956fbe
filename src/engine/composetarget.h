#pragma once

#include "composeproject.h"

#include <QString>
#include <QStringList>

// Where compose finds a project: the directory it runs in, and the name and files the
// project was started with where they are known. From a directory alone, compose names the
// project after the directory and reads the files it finds there, as for one never started.
struct ComposeTarget {
    QString dir;
    QString name;
    QStringList files;

    ComposeTarget() = default;
    // Implicit, so that every query that took a directory still takes one.
    ComposeTarget(const QString &dir) : dir(dir) {}
    ComposeTarget(const QString &dir, const QString &name, const QStringList &files) : dir(dir), name(name), files(files) {}
    static ComposeTarget of(const ComposeProject &project) { return {project.workingDir.value_or(QString()), project.name, project.configFiles}; }

    // The recorded files when every one is still on disk; none otherwise, since a part of
    // them is another configuration. Reads the disk.
    QStringList existingFiles() const;
    // What goes between "compose" and its subcommand: "-p NAME", then "-f FILE" for each
    // existing file. Reads the disk.
    QStringList options() const;

    friend bool operator==(const ComposeTarget &, const ComposeTarget &) = default;
};
