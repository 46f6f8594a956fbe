#include "korvatapp.h"

#include "cliengine.h"
#include "desktop.h"
#include "dumpreport.h"
#include "planreport.h"
#include "selftest.h"
#include "shots.h"
#include "toolsreport.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextStream>

int KorvatApp::exec(int argc, char **argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const Invocation invocation = dispatch(args);
    if (invocation.mode == Invocation::Mode::Window)
        return Desktop::run(argc, argv);
    if (invocation.mode == Invocation::Mode::Shot)
        return Shots::shoot(argc, argv, invocation.value, invocation.scale);

    // Headless modes get a core application only: no display, no GUI object.
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Korvat"));
    QCoreApplication::setApplicationName(QStringLiteral("Korvat"));
    return runHeadless(invocation);
}

int KorvatApp::runHeadless(const Invocation &invocation)
{
    QTextStream out(stdout);
    const CliEngine engine;
    using Mode = Invocation::Mode;
    switch (invocation.mode) {
    case Mode::SelfTest:
        runSelfTest(engine, out);
        break;
    case Mode::Plan: {
        const PlanReport plan = gatherPlan(engine, invocation.value, invocation.context);
        if (invocation.json)
            out << QJsonDocument(planJson(plan)).toJson();
        else
            writePlan(plan, out);
        break;
    }
    case Mode::Dump: {
        const DumpReport dump = gatherDump(engine, invocation.context);
        if (invocation.json)
            out << QJsonDocument(dumpJson(dump)).toJson();
        else
            writeDump(dump, out);
        break;
    }
    case Mode::Tools:
        runToolsDump(invocation.scripts, out);
        break;
    case Mode::Shot:
    case Mode::Window:
        break;
    }
    out.flush();
    return 0;
}
