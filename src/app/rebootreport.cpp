#include "rebootreport.h"

#include "docker.h"
#include "dockererror.h"

#include <QJsonArray>

namespace {

QString answerName(EngineStartup::Answer answer)
{
    switch (answer) {
    case EngineStartup::Answer::Yes: return QStringLiteral("yes");
    case EngineStartup::Answer::No: return QStringLiteral("no");
    case EngineStartup::Answer::Unknown: break;
    }
    return QStringLiteral("unknown");
}

} // namespace

RebootReport gatherReboot(const Engine &engine, const std::optional<QString> &context, const ServiceManager &services)
{
    const std::optional<Runtime> runtime = context ? std::optional(Docker::runtimeNamed(*context)) : std::nullopt;
    RebootReport report{context};
    try {
        // The containers and the endpoint are one runtime's: the one asked for, else the one
        // the window would show.
        const RuntimeList runtimes = engine.runtimes();
        const std::optional<Runtime> asked = runtime ? runtime : runtimes.current;
        std::optional<QString> endpoint;
        for (const RuntimeEntry &entry : runtimes.list)
            if (asked && entry.runtime == *asked)
                endpoint = entry.endpoint;
        QStringList ids;
        for (const Container &c : engine.containers(asked))
            ids.append(c.id);
        const RestartReading reading = engine.restartFacts(ids, asked);
        for (const RestartFacts &facts : reading.containers)
            report.containers.append({facts, AfterRestart::predict(facts, reading.podman)});
        std::sort(report.containers.begin(), report.containers.end(),
                  [](const auto &a, const auto &b) { return Docker::codePointLess(a.facts.name, b.facts.name); });
        // Asked only of an engine that answered: its endpoint is then the one in use.
        report.engine = endpoint ? QCoro::waitFor(readStartup(services, *endpoint))
                                 : EngineStartup{EngineStartup::Answer::Unknown, QStringLiteral("Korvat does not know where this runtime's engine listens.")};
    } catch (const DockerError &e) {
        report.error = e.message();
    }
    return report;
}

void writeReboot(const RebootReport &report, QTextStream &out)
{
    if (!report.error.isEmpty()) {
        out << "after-reboot failed: " << report.error << '\n';
        return;
    }
    out << "engine  starts at boot: " << answerName(report.engine.answer) << "  " << report.engine.reason << '\n';
    if (report.containers.isEmpty()) {
        out << "no containers\n";
        return;
    }
    qsizetype name = 0;
    qsizetype policy = 0;
    for (const auto &c : report.containers) {
        name = std::max(name, c.facts.name.size());
        policy = std::max(policy, AfterRestart::policyText(c.facts).size());
    }
    for (const auto &c : report.containers)
        out << (c.comeback.comesBack() ? QStringLiteral("back") : c.comeback.kind == Comeback::Kind::Perhaps ? QStringLiteral("maybe") : QStringLiteral("stays")).leftJustified(8) << c.facts.name.leftJustified(name + 2)
            << AfterRestart::policyText(c.facts).leftJustified(policy + 2) << c.comeback.reason << '\n';
}

QJsonObject rebootJson(const RebootReport &report)
{
    QJsonObject root{{QStringLiteral("schema"), 1},
                     {QStringLiteral("context"), report.context ? QJsonValue(*report.context) : QJsonValue(QJsonValue::Null)}};
    if (!report.error.isEmpty()) {
        root.insert(QStringLiteral("error"), report.error);
        return root;
    }
    root.insert(QStringLiteral("engine"), QJsonObject{{QStringLiteral("startsAtBoot"), answerName(report.engine.answer)},
                                                      {QStringLiteral("reason"), report.engine.reason}});
    QJsonArray containers;
    for (const auto &c : report.containers)
        containers.append(QJsonObject{{QStringLiteral("name"), c.facts.name},
                                      {QStringLiteral("policy"), AfterRestart::policyText(c.facts)},
                                      {QStringLiteral("comesBack"), c.comeback.comesBack()},
                                      {QStringLiteral("reason"), c.comeback.reason}});
    root.insert(QStringLiteral("containers"), containers);
    return root;
}
