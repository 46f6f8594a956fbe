#include "childprocess.h"

#include <QDeadlineTimer>

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ChildProcess {

namespace {
// Runs in the forked child before exec: only async-signal-safe calls.
void inChild(pid_t parent, int deathSignal, int standardOutput, int standardError)
{
    ::setpgid(0, 0);
    if (standardOutput >= 0)
        ::dup2(standardOutput, STDOUT_FILENO);
    if (standardError >= 0)
        ::dup2(standardError, STDERR_FILENO);
    // The signal comes when the thread that forked ends. Streams and jobs are forked on the
    // interface thread, and a worker waits for the children it forks, so either outlives
    // its children.
    ::prctl(PR_SET_PDEATHSIG, deathSignal);
    if (::getppid() != parent)
        ::_exit(127);   // Korvat died before the signal was armed
    // Marked, not closed: QProcess reports a failed exec through one of these until exec.
    if (::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC) != 0) {
        const long last = std::min(::sysconf(_SC_OPEN_MAX), 65536L);
        for (int fd = 3; fd < last; ++fd)
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

void signalGroup(const QProcess &child, int signal)
{
    const qint64 pid = child.processId();
    if (pid > 0)
        ::kill(-pid_t(pid), signal);
}
}

void prepare(QProcess &child, int deathSignal, int standardOutput, int standardError)
{
    child.setChildProcessModifier([parent = ::getpid(), deathSignal, standardOutput, standardError] {
        inChild(parent, deathSignal, standardOutput, standardError);
    });
}

namespace {
// Holds a child that is being ended. Whatever is still dying when the application goes is
// killed outright then, rather than left for QProcess to complain about.
class Dying : public QObject {
public:
    explicit Dying(std::unique_ptr<QProcess> child) : QObject(QCoreApplication::instance()), m_child(std::move(child))
    {
        connect(m_child.get(), &QProcess::finished, this, &QObject::deleteLater);
    }
    ~Dying() override
    {
        if (m_child->state() != QProcess::NotRunning)
            kill(*m_child);
    }
    QProcess &child() { return *m_child; }

private:
    std::unique_ptr<QProcess> m_child;
};
}

void endInBackground(std::unique_ptr<QProcess> child, std::chrono::milliseconds grace)
{
    child->disconnect();
    if (child->state() == QProcess::NotRunning)
        return;
    if (!QCoreApplication::instance()) {
        kill(*child);
        return;
    }
    auto *dying = new Dying(std::move(child));
    QTimer::singleShot(grace, dying, [dying] { signalGroup(dying->child(), SIGKILL); });
    signalGroup(dying->child(), SIGTERM);
}

void kill(QProcess &child)
{
    signalGroup(child, SIGKILL);
    child.kill();
    child.waitForFinished(5000);
}

namespace {
std::atomic_bool quit{false};
}

void quitting()
{
    quit = true;
}

Ended runToEnd(QProcess &child, std::optional<std::chrono::milliseconds> deadline, const std::shared_ptr<const std::atomic_bool> &cancelled,
               const std::function<void()> &tick)
{
    if (quit)
        return Ended::Cancelled;
    child.start();
    // Starting is fork and exec, done within moments; a bound all the same, so nothing here
    // can wait forever.
    if (!child.waitForStarted(30000)) {
        kill(child);
        return Ended::NotStarted;
    }
    const QDeadlineTimer end = deadline ? QDeadlineTimer(*deadline) : QDeadlineTimer(QDeadlineTimer::Forever);
    // Looks at its flags a few times a second, so a quit is never waited out.
    while (child.state() != QProcess::NotRunning) {
        const qint64 slice = end.isForever() ? 100 : std::clamp<qint64>(end.remainingTime(), 1, 100);
        if (child.waitForFinished(int(slice)))
            break;
        if (tick)
            tick();
        if ((cancelled && *cancelled) || quit) {
            kill(child);
            return Ended::Cancelled;
        }
        if (end.hasExpired()) {
            kill(child);
            return Ended::TimedOut;
        }
    }
    return Ended::Exited;
}

} // namespace ChildProcess
