#include "korvatapp.h"

#include "cliengine.h"
#include "desktop.h"
#include "dumpreport.h"
#include "planreport.h"
#include "reclaimreport.h"
#include "updatesreport.h"
#include "rebootreport.h"
#include "selftest.h"
#include "settings.h"
#include "shots.h"
#include "toolsreport.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSettings>
#include <QTextStream>

namespace {
// The variables that say where a window would open.
QMap<QString, QString> displayEnvironment()
{
    QMap<QString, QString> env;
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"}) {
        if (qEnvironmentVariableIsSet(name))
            env.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    }
    return env;
}
}

int KorvatApp::exec(int argc, char **argv)
{
    QStringList args;
    for (int i = 0; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const Invocation invocation = dispatch(args);
    using Mode = Invocation::Mode;
    switch (invocation.mode) {
    case Mode::Help:
        QTextStream(stdout) << usage();
        return 0;
    case Mode::Version:
        QTextStream(stdout) << "korvat " << KORVAT_VERSION << '\n';
        return 0;
    case Mode::Misused:
        QTextStream(stderr) << invocation.value << "\n\n" << usage();
        return Invocation::misusedStatus;
    default: break;
    }
    if (invocation.mode == Mode::Window) {
        // Qt aborts when it finds no display; a person is told what to do instead.
        if (const std::optional<QString> missing = Desktop::missingDisplay(displayEnvironment())) {
            QTextStream(stderr) << "korvat: " << *missing
                                << "; the window cannot open. The reports need no display: korvat --help lists them.\n";
            return 1;
        }
        return Desktop::run(argc, argv);
    }
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
    // Each report as its text, or as one JSON document with --json.
    const auto print = [&](const auto &report, auto json, auto text) {
        if (invocation.json)
            out << QJsonDocument(json(report)).toJson();
        else
            text(report, out);
    };
    using Mode = Invocation::Mode;
    switch (invocation.mode) {
    case Mode::SelfTest:
        runSelfTest(engine, out);
        break;
    case Mode::Plan:
        print(gatherPlan(engine, invocation.value, invocation.context), planJson, writePlan);
        break;
    case Mode::Dump:
        print(gatherDump(engine, invocation.context, Settings::watchedRemotes.read(QSettings())), dumpJson, writeDump);
        break;
    case Mode::Reclaim:
        print(gatherReclaim(engine, invocation.context, invocation.all), reclaimJson, writeReclaim);
        break;
    case Mode::Updates:
        print(gatherUpdates(engine, invocation.context), updatesJson, writeUpdates);
        break;
    case Mode::AfterReboot:
        print(gatherReboot(engine, invocation.context, SystemdManager()), rebootJson, writeReboot);
        break;
    case Mode::Tools:
        runToolsDump(invocation.scripts, out);
        break;
    case Mode::Shot:
    case Mode::Window:
    case Mode::Help:
    case Mode::Version:
    case Mode::Misused:
        break;
    }
    out.flush();
    return 0;
}
