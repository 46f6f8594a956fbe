#pragma once

#include "container.h"
#include "containerdetails.h"
#include "imagedetails.h"
#include "volumedetails.h"
#include "dockernetwork.h"

#include <QDateTime>
#include <QList>
#include <QString>

// What a container's details sheet says, section by section: every text composed here, so
// the sheet only lays it out.
namespace DetailsText {

struct Row {
    QString label;
    QString value;
    // The value as shown while values are hidden, a screen reader hearing "hidden value" for
    // each mask; empty where nothing in it is secret.
    QString masked;
    // A volume's name, which the row can show in Volumes.
    QString volume;
    // What went wrong: a failed exit, a failing check; drawn in the danger colour.
    bool alarm = false;
    // Where a browser reaches it, for a published TCP port.
    QString url;
    friend bool operator==(const Row &, const Row &) = default;
};

struct Section {
    QString title;
    QList<Row> rows;
    // Said under the heading when there are no rows, or beside them.
    QString note;
    friend bool operator==(const Section &, const Section &) = default;
};

// "24 Nov 2026, 18:22 · 3 minutes ago" in local time; "never" for an invalid time.
QString when(const QDateTime &at, const QDateTime &now);
// "3 minutes ago", "in 1 second", "just now".
QString ago(const QDateTime &at, const QDateTime &now);
// "exited (3) · failed (its program's own code)", "running", "exited (137) · Killed: out of memory".
QString state(const ContainerDetails &d);
// A command as a shell would take it: words with spaces quoted.
QString command(const QStringList &words);

// State, Health (with a check), Configuration, Environment, Mounts, Ports, Networks, Labels.
// endpoint: the runtime's, which says on which host published ports open.
QList<Section> container(const ContainerDetails &d, const QDateTime &now, const QString &endpoint = {});

// The containers made from the image, running or not: by a tag they name (a bare name
// meaning its "latest"), or by a prefix of its id.
QList<Container> usersOf(const ImageDetails &image, const QList<Container> &containers);
// Image (tags, id, created, size, platform, command, ports), Used by, Layers (newest first,
// the steps that add no files folded into one row for each run of them).
QList<Section> image(const ImageDetails &d, const QList<Container> &users, const QDateTime &now);

// Volume (driver, mountpoint, scope, created, size), Mounted by (each container with its
// state and project), Labels, Options.
QList<Section> volume(const VolumeDetails &d, const QDateTime &now);

// Network (driver, scope, subnets, gateways, internal, created, project), Containers (each
// with its addresses), Labels. Why it cannot be removed, where it cannot, is the note
// under Network.
QList<Section> network(const DockerNetwork &n, const QDateTime &now);

// The environment as Copy gives it, one NAME=value a line, secret values as shown.
QString environment(const ContainerDetails &d, bool showSecrets);
}
