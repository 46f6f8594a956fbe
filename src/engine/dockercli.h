#pragma once

#include "engine.h"

#include <QStringList>
#include <memory>

class QProcess;

// How the docker client is launched: the one place a docker child is made. All calls block
// until the child exits; only CliEngine (and its tests) use them.
namespace Docker {

struct Captured {
    int status = -1;
    QString out;
    QString err;
    friend bool operator==(const Captured &, const Captured &) = default;
};

using Dir = std::optional<QString>;

// Program, arguments, environment and directory set; not started, no streams set.
std::unique_ptr<QProcess> process(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {});
QStringList commandLine(const QStringList &args, const OptRuntime &runtime = {});
// Starts the child with standard input on the null device and waits for it to exit; both
// pipes are drained meanwhile, so a chatty standard error cannot block it. False: it never
// started. Every docker child that is waited for is waited for here.
bool runToEnd(QProcess &child);
// Standard output on success; throws DockerError with the trimmed standard error otherwise.
QByteArray runBytes(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {});
QString run(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {});
// Never fails: status -1 and the launch error when the child could not start.
Captured capture(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {});

} // namespace Docker
