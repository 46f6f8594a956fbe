#pragma once

#include <chrono>

#include "tool.h"

#include <QList>
#include <QMap>
#include <QSet>
#include <memory>

class QProcess;

// The runtime toolchain: its catalogue, version parsing, Homebrew probes and scripts.
// Nothing here throws; failures read as absent values, empty maps or "not installed".
// The probes block while their child runs and belong on a worker thread.
namespace Toolchain {

struct Setup {
    QString launcher = QStringLiteral("/usr/bin/env");
    QString pathPrefix = QStringLiteral("/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/home/linuxbrew/.linuxbrew/bin:");
    QStringList brewLocations = {QStringLiteral("/opt/homebrew/bin/brew"), QStringLiteral("/usr/local/bin/brew"),
                                 QStringLiteral("/home/linuxbrew/.linuxbrew/bin/brew")};
};
const Setup &setup();
// Not thread-safe: set before any worker runs.
void setSetup(const Setup &setup);

const QList<Tool> &all();
const QSet<QString> &runtimeFormulae();
const QSet<QString> &pluginFormulae();

bool isOlder(const QString &a, const QString &than);
std::optional<QString> newest(const QStringList &versions);
std::optional<QString> firstVersion(const QString &text);
QMap<QString, QString> parseBrewList(const QString &text);
QMap<QString, QString> parseBrewInfo(const QString &text);
SystemStatus parseStatus(const QString &text);

struct Captured {
    int status = -1;
    QString out;
    QString err;
};
std::unique_ptr<QProcess> process(const QStringList &args);
// How long a child may run: a probe (a version, a status, a listing) answers in seconds;
// Homebrew's own work (update, info over the network) may take minutes.
inline constexpr std::chrono::seconds probeDeadline{20};
inline constexpr std::chrono::minutes brewDeadline{15};
// Status -1 with the reason when it could not start, did not end in time, or Korvat quit.
Captured capture(const QStringList &args, std::chrono::milliseconds deadline = probeDeadline);

std::optional<QString> brewPath();
std::optional<QString> refreshIndex();
QString installScript(const QStringList &formulae);
// Starts the container service, then socktainer when Homebrew has it; no final line break.
QString startBlock(const QString &socktainerVerb);

QMap<QString, QString> brewOwned();
QMap<QString, QString> brewLatest();
QList<Tool> survey();
SystemStatus systemStatus();

} // namespace Toolchain
