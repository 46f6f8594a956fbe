#pragma once

#include "dockererror.h"
#include "engine.h"
#include "engineevent.h"
#include "listings.h"
#include "usage.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QSet>
#include <QStringList>
#include <chrono>
#include <memory>
#include <optional>

// The docker client's formats and the rules over what it lists: parsing, grouping, compose
// messages, runtimes. Nothing here starts a child; CliEngine does, through these.
namespace Docker {

// $XDG_RUNTIME_DIR followed by path, or empty when the variable is not set.
QString userRuntimePath(const QString &path);

// How children are launched. Tests swap these; the defaults are what ships.
struct Launch {
    QString launcher = QStringLiteral("/usr/bin/env");
    QString pathPrefix = QStringLiteral("/opt/homebrew/bin:/usr/local/bin:");
    // A query that has not answered by then is ended and reported.
    std::chrono::milliseconds queryDeadline{60000};
    QString appleSocketPath = QStringLiteral("/opt/homebrew/var/run/socktainer/.socktainer/container.sock");
    // The Linux engines' Docker-compatible sockets; an empty path is never looked at.
    QString rootlessSocketPath = userRuntimePath(QStringLiteral("/docker.sock"));
    // The user's Podman first, then the system's: the first that exists is "podman".
    QStringList podmanSocketPaths = {userRuntimePath(QStringLiteral("/podman/podman.sock")),
                                     QStringLiteral("/run/podman/podman.sock")};
};
const Launch &launch();
// Not thread-safe: set before any worker runs.
void setLaunch(const Launch &launch);

inline const QString appleRuntimeName = QStringLiteral("apple-container");
inline const QString rootlessRuntimeName = QStringLiteral("docker-rootless");
inline const QString podmanRuntimeName = QStringLiteral("podman");
Runtime appleRuntime();
// A runtime from a command-line value: "apple-container" is the socket, anything else a context.
Runtime runtimeNamed(const QString &value);

// Strict UTF-8: invalid input decodes to the empty text.
QString utf8(const QByteArray &bytes);
QList<QJsonObject> ndjson(const QString &text);
// The texts of a JSON array; anything else in it is skipped.
QStringList strings(const QJsonValue &value);

QList<Container> parseContainers(const QString &text);
QList<DockerImage> parseImages(const QString &text);
QList<DockerVolume> parseVolumes(const QString &text);

// Spaces and tabs off both ends; line breaks stay. The rule of every text the user types.
QStringView trimBlanks(QStringView text);

QMap<QString, QString> parseLabels(const QString &text);
// A listing's "CreatedAt", "2026-11-23 13:33:30 +0000 UTC"; invalid when it reads otherwise.
QDateTime parseCreated(const QString &text);
QString shortPorts(const QString &text);
// "0.0.0.0:8000-8001->8000-8001/tcp, [::]:53->53/udp, 443/tcp": one binding per port, ranges
// taken apart; what does not read as a port is left out.
QList<PortBinding> parsePorts(const QString &text);

// Plain code-point order, which QString's own operator< (UTF-16 units) is not.
bool codePointLess(const QString &a, const QString &b);

QList<ComposeProject> group(const QList<Container> &containers);
QList<Container> ungrouped(const QList<Container> &containers);
// The volumes some container mounts, as far as the listing's cut names tell: a name cut
// to its first 14 characters counts only when no other volume starts the same way.
QSet<QString> mountedVolumes(const QList<Container> &containers, const QList<DockerVolume> &volumes);

inline const QStringList composeFileNames = {
    QStringLiteral("compose.yaml"), QStringLiteral("compose.yml"),
    QStringLiteral("docker-compose.yaml"), QStringLiteral("docker-compose.yml"),
};
std::optional<QString> composeFile(const QString &dir);
QString missingComposeFileMessage(const QString &dir);
QStringList composeMessages(const QString &stderrText);
std::optional<QString> composeWarningSummary(const QString &stderrText);

ResolvedProject parseComposeConfig(const QString &json, const QString &dir);

// One line of that stream. A container's event changes the containers, an image's the
// images, a volume's the volumes. Commands run inside a container (health checks among them)
// and mounts change nothing listed; a line that is not an event object counts for every
// list, so an unknown stream format errs towards refreshing.
EngineEvent readEvent(QByteArrayView line);
// One line of `docker stats --format json`, which redraws its table in place: the
// cursor and erase sequences around the object are skipped. Nothing when the line holds
// no container.
std::optional<Usage> readUsage(QByteArrayView line);
// "12.5MiB", "1.2GB", "0B": the client's sizes, in either unit family.
std::optional<qint64> parseByteSize(QStringView text);
// The rows as they stand after the change, in the client's own words ("Exited (137) Less
// than a second ago"), so the listing that follows finds nothing to change. A change to a
// container not listed changes nothing: its listing brings it.
QList<Container> withChange(QList<Container> rows, const ContainerChange &change);

// A unix:// endpoint is reachable when something exists at its path; any other is assumed to be.
bool endpointReachable(const QString &endpoint);
RuntimeList parseRuntimes(const QString &contextJson);
std::optional<Runtime> preferred(const QList<RuntimeEntry> &list, const std::optional<Runtime> &current);
// Where the store may turn when the runtime it shows stops answering: the reachable others,
// in list order; none while that runtime is itself reachable. Each is probed before it is
// taken.
QList<Runtime> handoverCandidates(const std::optional<Runtime> &from, const QList<RuntimeEntry> &in);

MountMap parseMounts(const QString &text);
// One JSON object a line, as `volume inspect --format {{json .}}` prints them.
VolumeLabels parseVolumeLabels(const QString &text);

} // namespace Docker
