#include "quitsignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
int wakeFds[2] = {-1, -1};
constexpr int quitSignals[] = {SIGTERM, SIGINT, SIGHUP};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(wakeFds[0], &byte, 1);
}
}

QuitSignals::QuitSignals(QObject *parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, wakeFds) != 0) {
        qWarning("korvat: no socket for quit signals; SIGTERM will end Korvat abruptly");
        return;
    }
    m_notifier = new QSocketNotifier(wakeFds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [] {
        char bytes[16];
        while (::read(wakeFds[1], bytes, sizeof bytes) > 0) {
        }
        // A second signal while shutting down ends Korvat the default way.
        for (const int signal : quitSignals)
            ::signal(signal, SIG_DFL);
        QCoreApplication::quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : quitSignals)
        ::sigaction(signal, &action, nullptr);
}

QuitSignals::~QuitSignals()
{
    if (!m_notifier)
        return;
    for (const int signal : quitSignals)
        ::signal(signal, SIG_DFL);
    ::close(wakeFds[0]);
    ::close(wakeFds[1]);
    wakeFds[0] = wakeFds[1] = -1;
}
