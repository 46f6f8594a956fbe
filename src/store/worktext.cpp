#include "worktext.h"

#include <QLocale>

namespace WorkText {

namespace {
using Phase = ServiceProgress::Phase;
using Step = DeletionStep;

QString layers(const PullProgress &pull)
{
    return QStringLiteral("%1 of %2 layers").arg(pull.done()).arg(pull.toFetch());
}

// "1.5 MB": work in progress moves by less than a whole unit at a time.
QString size(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString bytes(qint64 done, qint64 total)
{
    if (total <= 0)
        return done > 0 ? size(done) : QString();
    return size(std::min(done, total)) + QStringLiteral(" of ") + size(total);
}

QString pullDetail(const PullProgress &pull)
{
    if (pull.toFetch() == 0)
        return {};
    QStringList parts{layers(pull)};
    // A total that grows as layers begin would only mislead: until it is whole, what came so far.
    if (const QString b = bytes(pull.bytesDone(), pull.totalKnown() ? pull.bytesTotal() : 0); !b.isEmpty() && pull.bytesTotal() > 0)
        parts << b;
    return parts.join(QStringLiteral(" · "));
}

int finishedSteps(const Work &work)
{
    return int(std::count_if(work.steps.cbegin(), work.steps.cend(),
                             [](const Step &s) { return s.state == Step::State::Done || s.state == Step::State::Failed; }));
}
}

QString title(const Work &work)
{
    switch (work.kind) {
    case Work::Kind::Pull: return QStringLiteral("Pulling ") + work.subject;
    case Work::Kind::Up: return QStringLiteral("Bringing up ") + work.subject;
    case Work::Kind::Deletion: return QStringLiteral("Deleting ") + work.subject;
    case Work::Kind::Backup: return QStringLiteral("Backing up ") + work.subject;
    case Work::Kind::Restore: return QStringLiteral("Restoring ") + work.subject;
    case Work::Kind::Reclaim: return QStringLiteral("Reclaiming space on ") + work.subject;
    case Work::Kind::ProjectPull: return QStringLiteral("Pulling images for ") + work.subject;
    }
    return {};
}

QString detail(const Work &work)
{
    switch (work.kind) {
    case Work::Kind::Pull: return pullDetail(work.pull);
    case Work::Kind::Up: {
        const QString pulls = pullDetail(work.compose.pulls);
        const auto started = std::count_if(work.compose.services.cbegin(), work.compose.services.cend(),
                                           [](const ServiceProgress &s) { return s.phase == Phase::Started; });
        if (started > 0 || pulls.isEmpty())
            return work.compose.services.isEmpty() ? QString() : QStringLiteral("%1 of %2 started").arg(started).arg(work.compose.services.size());
        return pulls;
    }
    case Work::Kind::Deletion: return QStringLiteral("%1 of %2 steps").arg(finishedSteps(work)).arg(work.steps.size());
    case Work::Kind::Reclaim: return QStringLiteral("%1 of %2 done").arg(finishedSteps(work)).arg(work.steps.size());
    case Work::Kind::Backup:
    case Work::Kind::Restore: return bytes(work.moved.bytes, work.moved.total);
    case Work::Kind::ProjectPull: {
        const auto &services = work.compose.services;
        const auto ended = std::count_if(services.cbegin(), services.cend(), [](const ServiceProgress &s) { return s.phase != Phase::Pulling; });
        const QString pulls = pullDetail(work.compose.pulls);
        const QString count = services.isEmpty() ? QString() : QStringLiteral("%1 of %2 services").arg(ended).arg(services.size());
        return pulls.isEmpty() || count.isEmpty() ? count + pulls : count + QStringLiteral(" · ") + pulls;
    }
    }
    return {};
}

double fraction(const Work &work)
{
    switch (work.kind) {
    case Work::Kind::Pull: return work.pull.toFetch() > 0 ? work.pull.fraction() : -1;
    case Work::Kind::ProjectPull: {
        // Compose does not say which service a layer is for, and a service's layers are only
        // known once it begins: over several services the layers would fill the bar early,
        // so it moves by services ended.
        const auto &services = work.compose.services;
        if (services.size() > 1) {
            const auto ended = std::count_if(services.cbegin(), services.cend(), [](const ServiceProgress &s) { return s.phase != Phase::Pulling; });
            return double(ended) / double(services.size());
        }
        return work.compose.pulls.toFetch() > 0 ? work.compose.pulls.fraction() : -1;
    }
    case Work::Kind::Up: {
        const auto &services = work.compose.services;
        const bool pulling = std::any_of(services.cbegin(), services.cend(), [](const ServiceProgress &s) { return s.phase == Phase::Pulling; });
        return pulling && work.compose.pulls.toFetch() > 0 ? work.compose.pulls.fraction() : -1;
    }
    case Work::Kind::Deletion:
    case Work::Kind::Reclaim: return work.steps.isEmpty() ? -1 : double(finishedSteps(work)) / double(work.steps.size());
    case Work::Kind::Backup:
    case Work::Kind::Restore:
        // The archive outgrows the data a little; the bar waits at its end rather than overrun.
        return work.moved.total > 0 ? std::min(0.99, double(work.moved.bytes) / double(work.moved.total)) : -1;
    }
    return -1;
}

bool shown(const Work &work, const QDateTime &now)
{
    if (work.kind != Work::Kind::Pull)
        return true;
    return work.pull.toFetch() > 0 || work.startedAt.msecsTo(now) >= 1000;
}

QString line(const Work &work)
{
    const double f = fraction(work);
    return f < 0 ? title(work) : QStringLiteral("%1 — %2%").arg(title(work)).arg(int(f * 100));
}

QString serviceState(const ServiceProgress &service)
{
    switch (service.phase) {
    case Phase::Pulling: return QStringLiteral("Pulling");
    case Phase::Pulled: return QStringLiteral("Pulled");
    case Phase::Creating: return QStringLiteral("Creating");
    case Phase::Created: return QStringLiteral("Created");
    case Phase::Starting: return QStringLiteral("Starting");
    case Phase::Started: return QStringLiteral("Started");
    case Phase::Failed: return service.error.isEmpty() ? QStringLiteral("Failed") : service.error;
    }
    return {};
}

QString stepText(const DeletionStep &step)
{
    switch (step.kind) {
    case Step::Kind::Backup: return QStringLiteral("Back up ") + step.subject;
    case Step::Kind::Containers: return QStringLiteral("Remove the containers");
    case Step::Kind::Volume: return QStringLiteral("Remove ") + (step.name.isEmpty() ? step.subject : step.name);
    case Step::Kind::Directory: return QStringLiteral("Move ") + step.subject + QStringLiteral(" to the Trash");
    case Step::Kind::Image:
    case Step::Kind::Container:
    case Step::Kind::Cache: return QStringLiteral("Remove ") + (step.name.isEmpty() ? step.subject : step.name);
    }
    return {};
}

QString listed(const QStringList &names)
{
    if (names.size() < 2)
        return names.value(0);
    return names.first(names.size() - 1).join(QStringLiteral(", ")) + QStringLiteral(" and ") + names.last();
}

QString pulled(const Work &work)
{
    return work.pull.status.isEmpty() ? QStringLiteral("Pulled ") + work.subject : work.pull.status;
}

QString stopped(const Work &work, const QStringList &services)
{
    switch (work.kind) {
    case Work::Kind::Pull:
        return work.pull.toFetch() > 0 ? QStringLiteral("Stopped after ") + layers(work.pull)
                                        : QStringLiteral("Stopped before any layer came");
    case Work::Kind::Up: {
        QStringList started, created, notCreated;
        QStringList all = services;
        for (const ServiceProgress &s : work.compose.services) {
            if (!all.contains(s.service))
                all << s.service;
        }
        for (const QString &name : all) {
            const ServiceProgress *s = work.compose.service(name);
            if (s && s->phase == Phase::Started)
                started << name;
            else if (s && (s->phase == Phase::Created || s->phase == Phase::Starting))
                created << name;
            else
                notCreated << name;
        }
        QStringList parts;
        if (!started.isEmpty())
            parts << listed(started) + QStringLiteral(" started");
        if (!created.isEmpty())
            parts << listed(created) + QStringLiteral(" created");
        if (!notCreated.isEmpty())
            parts << listed(notCreated) + QStringLiteral(" not created");
        return parts.isEmpty() ? QStringLiteral("Up stopped") : QStringLiteral("Up stopped: ") + parts.join(QStringLiteral(", "));
    }
    case Work::Kind::Deletion: {
        QStringList done;
        for (const DeletionStep &s : work.steps) {
            if (s.state == Step::State::Done)
                done << stepText(s).toLower();
        }
        return done.isEmpty() ? QStringLiteral("Deletion stopped: nothing was removed")
                              : QStringLiteral("Deletion stopped after %1 of %2 steps").arg(done.size()).arg(work.steps.size());
    }
    case Work::Kind::Reclaim: {
        const auto done = std::count_if(work.steps.cbegin(), work.steps.cend(), [](const Step &s) { return s.state == Step::State::Done; });
        return done == 0 ? QStringLiteral("Reclaim stopped: nothing was removed")
                         : QStringLiteral("Reclaim stopped after removing %1 of %2").arg(done).arg(work.steps.size());
    }
    case Work::Kind::Backup: return QStringLiteral("Backup of %1 stopped; no file was written").arg(work.subject);
    case Work::Kind::ProjectPull: {
        QStringList pulled;
        for (const ServiceProgress &s : work.compose.services) {
            if (s.phase == Phase::Pulled)
                pulled << s.service;
        }
        return pulled.isEmpty() ? QStringLiteral("Pull stopped: no image came")
                                : QStringLiteral("Pull stopped after %1; nothing was recreated").arg(listed(pulled));
    }
    case Work::Kind::Restore:
        return QStringLiteral("Restore into %1 stopped after %2; the volume holds part of the archive")
            .arg(work.subject, size(work.moved.bytes));
    }
    return {};
}

QString backedUp(const Work &work, const QString &file)
{
    const QString done = QStringLiteral("Backed up %1 to %2").arg(work.subject, file);
    const QStringList &out = work.moved.leftOut;
    if (out.isEmpty())
        return done;
    constexpr qsizetype named = 3;
    QStringList shown = out.mid(0, named);
    if (out.size() > named)
        shown << QStringLiteral("%1 more").arg(out.size() - named);
    return done + QStringLiteral(", without %1: %2").arg(listed(shown), out.size() == 1 ? QStringLiteral("a socket cannot be archived")
                                                                                       : QStringLiteral("sockets cannot be archived"));
}

}
