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
        QTest::newRow("trailing plan falls through to nothing") << QStringList{"korvat", "--plan"} << Invocation{};
        QTest::newRow("first plan counts") << QStringList{"korvat", "--plan", "a", "--plan", "b"} << Invocation{Mode::Plan, "a", ctx("--plan")};
        QTest::newRow("json is never the context") << QStringList{"korvat", "--dump", "--json", "ctx"} << Invocation{Mode::Dump, {}, ctx("ctx"), false, 1, true};
        QTest::newRow("json before plan") << QStringList{"korvat", "--json", "--plan", "shop"} << Invocation{Mode::Plan, "shop", std::nullopt, false, 1, true};
        QTest::newRow("dump alone") << QStringList{"korvat", "--dump"} << Invocation{Mode::Dump};
        QTest::newRow("dump takes --shot as context") << QStringList{"korvat", "--dump", "--shot"} << Invocation{Mode::Dump, {}, ctx("--shot")};
        QTest::newRow("shot default directory") << QStringList{"korvat", "--shot"} << Invocation{Mode::Shot, "shots"};
        QTest::newRow("shot directory") << QStringList{"korvat", "--shot", "/tmp/s"} << Invocation{Mode::Shot, "/tmp/s"};
        QTest::newRow("shot at a scale") << QStringList{"korvat", "--shot", "/tmp/s", "--scale", "1.5"} << Invocation{Mode::Shot, "/tmp/s", {}, false, 1.5};
        QTest::newRow("shot at no sane scale") << QStringList{"korvat", "--shot", "/tmp/s", "--scale", "x"} << Invocation{Mode::Shot, "/tmp/s"};
        QTest::newRow("whole arguments only") << QStringList{"korvat", "--dump=x", "--selftests", "-dump"} << Invocation{};
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
};

QTEST_GUILESS_MAIN(Dispatch)
#include "tst_dispatch.moc"
