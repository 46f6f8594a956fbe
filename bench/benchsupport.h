#pragma once

// What the benchmarks share: waiting with the event loop running, and what the kernel counts
// of processes' time, to weigh Korvat whole (its own threads and every child it runs).

#include <QByteArray>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QList>
#include <QString>
#include <QTimer>

inline void wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

inline QByteArray readProc(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// utime + stime of every thread, and with waited set cutime + cstime (its reaped children)
// too, in clock ticks.
inline qint64 ticks(qint64 pid, bool waited = false)
{
    const QByteArray stat = readProc(QStringLiteral("/proc/%1/stat").arg(pid));
    const QList<QByteArray> f = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    if (f.size() < 15)
        return 0;
    // Fields 14 to 17 of the whole line.
    return f[11].toLongLong() + f[12].toLongLong() + (waited ? f[13].toLongLong() + f[14].toLongLong() : 0);
}

// Every process under pid, each child before its own children.
inline QList<qint64> descendants(qint64 pid)
{
    QList<qint64> found;
    for (const QString &task : QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QByteArray &child : readProc(QStringLiteral("/proc/%1/task/%2/children").arg(pid).arg(task)).split(' ')) {
            if (!child.trimmed().isEmpty())
                found << child.toLongLong() << descendants(child.toLongLong());
        }
    }
    return found;
}

// A process and everything it ran or runs.
inline qint64 treeTicks(qint64 pid)
{
    qint64 sum = ticks(pid, true);
    for (const qint64 child : descendants(pid))
        sum += ticks(child, true);
    return sum;
}
