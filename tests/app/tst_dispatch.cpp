#include "desktop.h"
#include "dispatch.h"

#include <QTest>

using Mode = Invocation::Mode;
Q_DECLARE_METATYPE(Invocation)

class Dispatch : public QObject {
    Q_OBJECT
private slots:
    void dispatch_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<Invocation>("expected");
        const auto ctx = [](const char *c) { return std::optional<QString>(c); };
        QTest::newRow("nothing") << QStringList{"korvat"} << Invocation{};
        QTest::newRow("selftest anywhere wins") << QStringList{"korvat", "--dump", "x", "--tools", "--selftest"} << Invocation{Mode::SelfTest};
        QTest::newRow("tools beats plan and dump") << QStringList{"korvat", "--plan", "p", "--dump", "--tools"} << Invocation{Mode::Tools};
        QTest::newRow("scripts anywhere") << QStringList{"korvat", "--scripts", "--tools"} << Invocation{Mode::Tools, {}, std::nullopt, true};
        QTest::newRow("plan with context") << QStringList{"korvat", "--plan", "shop", "apple-container"} << Invocation{Mode::Plan, "shop", ctx("apple-container")};
        QTest::newRow("plan without context") << QStringList{"korvat", "--plan", "shop"} << Invocation{Mode::Plan, "shop", std::nullopt};
        QTest::newRow("plan takes a flag as its project") << QStringList{"korvat", "--plan", "--dump"} << Invocation{Mode::Plan, "--dump", std::nullopt};
        QTest::newRow("trailing plan falls through to dump") << QStringList{"korvat", "--dump", "--plan"} << Invocation{Mode::Dump, {}, ctx("--plan")};
        QTest::newRow("plan without a project") << QStringList{"korvat", "--plan"} << Invocation{Mode::Misused, "korvat: --plan needs the name of a project"};
        QTest::newRow("first plan counts") << QStringList{"korvat", "--plan", "a", "--plan", "b"} << Invocation{Mode::Plan, "a", ctx("--plan")};
        QTest::newRow("json is never the context") << QStringList{"korvat", "--dump", "--json", "ctx"} << Invocation{Mode::Dump, {}, ctx("ctx"), false, 1, true};
        QTest::newRow("reclaim, every category, a context after its flags")
            << QStringList{"korvat", "--reclaim", "--all", "--json", "ctx"} << Invocation{Mode::Reclaim, {}, ctx("ctx"), false, 1, true, true};
        QTest::newRow("reclaim alone") << QStringList{"korvat", "--reclaim"} << Invocation{Mode::Reclaim};
        QTest::newRow("after-reboot of a context") << QStringList{"korvat", "--json", "--after-reboot", "ctx"} << Invocation{Mode::AfterReboot, {}, ctx("ctx"), false, 1, true};
        QTest::newRow("updates, json after the context") << QStringList{"korvat", "--updates", "ctx", "--json"} << Invocation{Mode::Updates, {}, ctx("ctx"), false, 1, true};
        QTest::newRow("all without reclaim") << QStringList{"korvat", "--all"} << Invocation{Mode::Misused, "korvat: unknown option '--all'"};
        QTest::newRow("json before plan") << QStringList{"korvat", "--json", "--plan", "shop"} << Invocation{Mode::Plan, "shop", std::nullopt, false, 1, true};
        QTest::newRow("dump alone") << QStringList{"korvat", "--dump"} << Invocation{Mode::Dump};
        QTest::newRow("dump takes --shot as context") << QStringList{"korvat", "--dump", "--shot"} << Invocation{Mode::Dump, {}, ctx("--shot")};
        QTest::newRow("shot default directory") << QStringList{"korvat", "--shot"} << Invocation{Mode::Shot, "shots"};
        QTest::newRow("shot directory") << QStringList{"korvat", "--shot", "/tmp/s"} << Invocation{Mode::Shot, "/tmp/s"};
        QTest::newRow("shot at a scale") << QStringList{"korvat", "--shot", "/tmp/s", "--scale", "1.5"} << Invocation{Mode::Shot, "/tmp/s", {}, false, 1.5};
        QTest::newRow("shot at no sane scale") << QStringList{"korvat", "--shot", "/tmp/s", "--scale", "x"} << Invocation{Mode::Shot, "/tmp/s"};
        QTest::newRow("whole arguments only") << QStringList{"korvat", "--dump=x", "--selftests"} << Invocation{Mode::Misused, "korvat: unknown option '--dump=x'"};
        QTest::newRow("unknown option") << QStringList{"korvat", "--bogus"} << Invocation{Mode::Misused, "korvat: unknown option '--bogus'"};
        QTest::newRow("unknown beside a mode") << QStringList{"korvat", "--dump", "ctx", "-x"} << Invocation{Mode::Misused, "korvat: unknown option '-x'"};
        QTest::newRow("help wins") << QStringList{"korvat", "--dump", "--bogus", "--help"} << Invocation{Mode::Help};
        QTest::newRow("short help") << QStringList{"korvat", "-h"} << Invocation{Mode::Help};
        QTest::newRow("version") << QStringList{"korvat", "--version"} << Invocation{Mode::Version};
        QTest::newRow("Qt's own window options") << QStringList{"korvat", "-platform", "offscreen", "--reverse", "-style", "x"} << Invocation{};
        QTest::newRow("program path is searched too") << QStringList{"--dump"} << Invocation{Mode::Dump};
    }
    void dispatch()
    {
        QFETCH(QStringList, args);
        QFETCH(Invocation, expected);
        const Invocation got = ::dispatch(args);
        QCOMPARE(int(got.mode), int(expected.mode));
        QCOMPARE(got.value, expected.value);
        QCOMPARE(got.context, expected.context);
        QCOMPARE(got.scripts, expected.scripts);
        QCOMPARE(got.json, expected.json);
    }

    void missingDisplay_data()
    {
        QTest::addColumn<QStringList>("env");
        QTest::addColumn<QStringList>("answering");
        QTest::addColumn<QString>("missing");
        const QStringList x1{"/tmp/.X11-unix/X1"}, wl{"/run/user/1/wayland-0"};
        QTest::newRow("nothing set") << QStringList{} << QStringList{} << "no display: neither DISPLAY nor WAYLAND_DISPLAY is set";
        QTest::newRow("X answers") << QStringList{"DISPLAY=:1.0"} << x1 << "";
        QTest::newRow("X does not") << QStringList{"DISPLAY=:1"} << QStringList{} << "no X server answers on DISPLAY :1";
        QTest::newRow("X over the network: Qt's to try") << QStringList{"DISPLAY=host:1"} << QStringList{} << "";
        QTest::newRow("Wayland answers") << QStringList{"WAYLAND_DISPLAY=wayland-0", "XDG_RUNTIME_DIR=/run/user/1"} << wl << "";
        QTest::newRow("a dead Wayland, a live X") << QStringList{"WAYLAND_DISPLAY=wayland-0", "XDG_RUNTIME_DIR=/run/user/1", "DISPLAY=:1"} << x1 << "";
        QTest::newRow("offscreen needs none") << QStringList{"QT_QPA_PLATFORM=offscreen"} << QStringList{} << "";
        QTest::newRow("xcb asked, none set") << QStringList{"QT_QPA_PLATFORM=xcb", "WAYLAND_DISPLAY=w"} << QStringList{} << "no display: DISPLAY is unset";
    }
    void missingDisplay()
    {
        QFETCH(QStringList, env);
        QFETCH(QStringList, answering);
        QMap<QString, QString> vars;
        for (const QString &v : env)
            vars.insert(v.section(u'=', 0, 0), v.section(u'=', 1));
        QTEST(Desktop::missingDisplay(vars, [&](const QString &path) { return answering.contains(path); }).value_or(QString()), "missing");
    }
};

QTEST_GUILESS_MAIN(Dispatch)
#include "tst_dispatch.moc"
