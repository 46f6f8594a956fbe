#include "korvatapp.h"

#include "cliengine.h"
#include "desktop.h"
#include "dumpreport.h"
#include "planreport.h"
#include "selftest.h"
#include "shots.h"
#include "toolsreport.h"

#include <QCoreApplication>
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
    case Mode::Plan:
        runPlan(engine, invocation.value, invocation.context, out);
        break;
    case Mode::Dump:
        runDump(engine, invocation.context, out);
        break;
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
