#include "pipestream.h"

#include "childprocess.h"

#include <QProcess>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {
// As large as the system grants without privilege by default: at a million short lines a
// second it holds about a tenth of a second, so the writer does not wait on us.
constexpr int pipeSize = 1024 * 1024;
// After each read the pipe is left to fill for a moment, well within a frame: a writer that
// finds no reader waiting wakes nobody, and a flood is read in a few large pieces a frame.
// The first line of a quiet log is read the moment it comes.
constexpr int gatherMs = 10;
}

PipeStream::PipeStream(std::unique_ptr<QProcess> child, std::chrono::milliseconds grace, qsizetype limit)
    : m_child(std::move(child)), m_grace(grace), m_backlog(limit)
{
    m_child->setStandardInputFile(QProcess::nullDevice());
    // Both are replaced by the pipe in the child; QProcess makes no pipes of its own for them.
    m_child->setStandardOutputFile(QProcess::nullDevice());
    m_child->setStandardErrorFile(QProcess::nullDevice());
    follow(m_child.get());
}

PipeStream::~PipeStream()
{
    stop();
    // A child that ended by itself left its reader to be joined.
    endReading();
}

void PipeStream::start()
{
    if (!m_child || m_child->state() != QProcess::NotRunning || m_reader.joinable())
        return;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        emit failedToStart(qt_error_string(errno));
        emit finished();
        return;
    }
    if ((m_wake = ::eventfd(0, EFD_CLOEXEC)) < 0) {
        const QString why = qt_error_string(errno);
        ::close(ends[0]);
        ::close(ends[1]);
        emit failedToStart(why);
        emit finished();
        return;
    }
    ::fcntl(ends[0], F_SETPIPE_SZ, pipeSize);   // refused above the system's limit: the default stays
    // Forked here, on the interface thread, so that the child's parent-death signal holds.
    ChildProcess::prepare(*m_child, SIGTERM, ends[1], ends[1]);
    m_child->start();
    // Ours closed, the pipe ends once the child and whatever it started have gone.
    ::close(ends[1]);
    m_reader = std::thread([this, from = ends[0]] {
        readUntilEnd(from);
        ::close(from);
    });
}

void PipeStream::stop()
{
    endReading();
    if (!m_child || m_child->state() == QProcess::NotRunning)
        return;
    // A stream holds nothing worth a clean exit, but the plugin under compose is given a
    // moment to pass the signal on.
    ChildProcess::endInBackground(std::move(m_child), m_grace);
    emit runningChanged();
}

void PipeStream::endReading()
{
    if (m_reader.joinable()) {
        ::eventfd_write(m_wake, 1);
        m_reader.join();
    }
    if (m_wake >= 0)
        ::close(std::exchange(m_wake, -1));
}

bool PipeStream::running() const
{
    return m_child && m_child->state() != QProcess::NotRunning;
}

qint64 PipeStream::pid() const
{
    return m_child ? m_child->processId() : 0;
}

LineBatch PipeStream::take()
{
    QMutexLocker lock(&m_mutex);
    m_told = false;
    return m_backlog.take();
}

void PipeStream::readUntilEnd(int from)
{
    QByteArray buffer(pipeSize, Qt::Uninitialized);
    pollfd either[2] = {{from, POLLIN, 0}, {m_wake, POLLIN, 0}};
    pollfd woken{m_wake, POLLIN, 0};
    for (;;) {
        if (::poll(either, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (either[1].revents != 0)
            return;
        const ssize_t got = ::read(from, buffer.data(), buffer.size());
        if (got == 0)
            return;   // every writer has gone
        if (got < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            return;
        }
        bool tell = false;
        {
            QMutexLocker lock(&m_mutex);
            m_backlog.add(QByteArrayView(buffer.constData(), got));
            tell = !std::exchange(m_told, true);
        }
        // One notice until the reader takes: however fast the output, the interface thread
        // hears of it once per batch it takes.
        if (tell)
            QMetaObject::invokeMethod(this, [this] { emit readyRead(); }, Qt::QueuedConnection);
        if (::poll(&woken, 1, gatherMs) > 0)
            return;
    }
}
