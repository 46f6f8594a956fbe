#pragma once

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>

class QProcess;

// What every child of Korvat gets, docker or not: its own process group, so ending it
// reaches whatever it started (compose's plugin under the docker client); a parent-death
// signal, so a crashed or killed Korvat leaves nothing running; and no descriptor of ours
// beyond its three standard ones.
namespace ChildProcess {

// Call before start(); replaces any child modifier set earlier. The death signal is for
// children that ignore SIGTERM; a standard output or error descriptor (a terminal's, a
// pipe of ours) replaces the one QProcess set up.
void prepare(QProcess &child, int deathSignal = SIGTERM, int standardOutput = -1, int standardError = -1);

// Ends the child's whole group without waiting on this thread: SIGTERM now, SIGKILL after
// grace, the QProcess deleted once the child has been reaped. Call on a thread with an event
// loop; a child that never started or has ended is simply deleted.
void endInBackground(std::unique_ptr<QProcess> child, std::chrono::milliseconds grace);

// Ends the child's whole group at once and reaps it: for workers that own the child.
void kill(QProcess &child);

enum class Ended { Exited, NotStarted, TimedOut, Cancelled };

// Starts a prepared child and waits on this (worker) thread for its end: until deadline
// (none: no end but a cancel), or until cancelled is set, or until Korvat begins to quit;
// the child's group is then killed. tick runs every tenth of a second while it waits.
Ended runToEnd(QProcess &child, std::optional<std::chrono::milliseconds> deadline,
               const std::shared_ptr<const std::atomic_bool> &cancelled = nullptr, const std::function<void()> &tick = {});

// Called once as Korvat begins to quit: every wait in runToEnd ends within a tenth of a
// second, so no child, however hung, holds the quit.
void quitting();

} // namespace ChildProcess
