#pragma once

#include "childprocess.h"
#include "engine.h"

#include <QStringList>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

class QProcess;

// How the docker client is launched: the one place a docker child is made. All calls block
// until the child exits or its wait runs out; only CliEngine (and its tests) use them.
namespace Docker {

struct Captured {
    int status = -1;
    QString out;
    QString err;
    friend bool operator==(const Captured &, const Captured &) = default;
};

using Dir = std::optional<QString>;

// How long a child may take. A query (a listing, an inspection, a probe) ends at its
// deadline; a user's action has none, and ends only when it finishes or its caller cancels.
struct Wait {
    std::optional<std::chrono::milliseconds> deadline;
    std::shared_ptr<const std::atomic_bool> cancelled;
    // Called every tenth of a second while the child runs.
    std::function<void()> tick;
    static Wait query();
    static Wait untilDone() { return {}; }
};

using Ended = ChildProcess::Ended;

// "docker ps did not answer within 60 s"
QString timeoutMessage(const QStringList &args, std::chrono::milliseconds deadline);

// Program, arguments, environment and directory set; not started, no streams set.
std::unique_ptr<QProcess> process(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {});
QStringList commandLine(const QStringList &args, const OptRuntime &runtime = {});
// Starts the child with standard input on the null device and waits for it to exit, or for
// the wait to run out, then ends its whole group; both pipes are drained meanwhile, so a
// chatty standard error cannot block it. Every docker child that is waited for is waited
// for here.
Ended runToEnd(QProcess &child, const Wait &wait, const QString &input = {});
// Standard output on success; throws DockerError with the trimmed standard error, the
// launch error or the timeout otherwise.
QByteArray runBytes(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {}, const Wait &wait = Wait::query());
QString run(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {}, const Wait &wait = Wait::query());
// Runs a user's action with standard input read from input and standard output written to
// output (either may be empty: the null device, a pipe), so bulk data never passes through
// Korvat; the bytes moved of total are told to watch.moved as they go. Throws as run does.
void transfer(const QStringList &args, const OptRuntime &runtime, const QString &input, const QString &output,
              const Watch &watch = {}, qint64 total = 0);
// Runs a user's action and hands each line its output draws to watch.line as it comes,
// until it ends or watch.cancel is set. With a terminal, standard output is a
// pseudo-terminal: the client then draws byte counts, as it does for a person. Throws as
// run does, with the lines of standard error that isProgress does not claim as the message.
void follow(const QStringList &args, const OptRuntime &runtime, const Dir &dir, const Watch &watch, bool terminal,
            const std::function<bool(QStringView)> &isProgress);
// Never fails: status -1 with the launch error or the timeout when there is no status.
Captured capture(const QStringList &args, const OptRuntime &runtime = {}, const Dir &dir = {}, const Wait &wait = Wait::query());

} // namespace Docker
