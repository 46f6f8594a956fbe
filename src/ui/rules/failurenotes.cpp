#include "failurenotes.h"

namespace FailureNotes {

namespace {
Note single(const Failure &f)
{
    const QString in = f.project.isEmpty() ? QString() : QStringLiteral(" · project ") + f.project;
    switch (f.why) {
    case Failure::Why::Exited:
        return {f.name + QStringLiteral(" stopped unexpectedly"), QStringLiteral("Exited with code %1").arg(f.exitCode) + in, f.id, f.project, f.engine};
    case Failure::Why::OutOfMemory:
        return {f.name + QStringLiteral(" ran out of memory"), QStringLiteral("The out-of-memory killer stopped a process in it") + in, f.id, f.project, f.engine};
    case Failure::Why::Unhealthy:
        return {f.name + QStringLiteral(" is unhealthy"), QStringLiteral("Its health check is failing") + in, f.id, f.project, f.engine};
    }
    return {};
}

QString named(const QList<Failure> &failures)
{
    constexpr qsizetype shown = 5;
    QStringList names;
    for (const Failure &f : failures.mid(0, shown))
        names << f.name;
    if (failures.size() > shown)
        names << QStringLiteral("and %1 more").arg(failures.size() - shown);
    return names.join(QStringLiteral(", "));
}

Note folded(const QString &project, const QList<Failure> &failures)
{
    const bool allUnhealthy = std::all_of(failures.cbegin(), failures.cend(), [](const Failure &f) { return f.why == Failure::Why::Unhealthy; });
    const bool noneUnhealthy = std::none_of(failures.cbegin(), failures.cend(), [](const Failure &f) { return f.why == Failure::Why::Unhealthy; });
    const QString what = allUnhealthy ? QStringLiteral(" are unhealthy") : noneUnhealthy ? QStringLiteral(" stopped unexpectedly") : QStringLiteral(" are failing");
    const QString whose = project.isEmpty() ? QStringLiteral("%1 containers").arg(failures.size())
                                            : QStringLiteral("%1 containers of %2").arg(failures.size()).arg(project);
    // A burst comes from one engine's watch, so its failures share their engine.
    return {whose + what, named(failures), {}, project, failures.isEmpty() ? QString() : failures.first().engine};
}
}

QList<Note> notes(const QList<Failure> &failures)
{
    QList<Note> out;
    QStringList projects;
    for (const Failure &f : failures) {
        if (f.project.isEmpty())
            out.append(single(f));
        else if (!projects.contains(f.project))
            projects.append(f.project);
    }
    for (const QString &project : projects) {
        QList<Failure> of;
        std::copy_if(failures.cbegin(), failures.cend(), std::back_inserter(of), [&](const Failure &f) { return f.project == project; });
        out.append(of.size() == 1 ? single(of.first()) : folded(project, of));
    }
    // A desktop flooded with notes tells less than one that says how many.
    if (out.size() > maxNotes)
        return {folded({}, failures)};
    return out;
}

}
