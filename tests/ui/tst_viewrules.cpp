#include "cliengine.h"
#include "containerrules.h"
#include "listcursor.h"
#include "listorder.h"
#include "portlinks.h"
#include "detailstext.h"
#include "secrets.h"
#include "disktext.h"
#include "diskusage.h"
#include "failurenotes.h"
#include "newertext.h"
#include "restarttext.h"
#include "docker.h"
#include "volumemodel.h"
#include "runtimeselection.h"
#include "projectcard.h"
#include "projectdeletion.h"
#include "shell.h"
#include "terminal.h"
#include "toolrules.h"
#include "usagetext.h"
#include "testsupport.h"

#include <QJsonDocument>
#include <QLocale>

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(std::optional<Runtime>)
Q_DECLARE_METATYPE(ListCursor::Stop)
Q_DECLARE_METATYPE(ListCursor::Move)

namespace QTest {
template<> char *toString(const ListCursor::Stop &s)
{
    return qstrdup(QByteArray::number(s.item) + ", " + QByteArray::number(s.row));
}
}

namespace {
Container running(bool yes)
{
    return {QStringLiteral("id"), QStringLiteral("c"), QStringLiteral("img"), yes ? QStringLiteral("running") : QStringLiteral("exited"),
            QString(), QString(), {}};
}
}

// The rules the projects and containers views show: pure functions over values.
class TestViewRules : public QObject {
    Q_OBJECT

private slots:
    void containerRules_data();
    void containerRules();
    void cardState_data();
    void cardState();
    void spokenTexts();
    void listCursor_data();
    void listOrder();
    void listCursor();
    void deleteLabel_data();
    void deleteLabel();
    void keptDetail_data();
    void keptDetail();
    void terminal_data();
    void terminal();
    void portLinks_data();
    void portLinks();
    void failureNotes_data();
    void failureNotes();
    void failuresFoundAcrossAGap();
    void newerNotes_data();
    void newerNotes();
    void detailsTexts();
    void masking_data();
    void masking();
    void recordedDetails_data();
    void recordedDetails();
    void usageTexts_data();
    void usageTexts();
    void usageTrend();
    void terminalPicksTheFirstEmulatorFound();
    void toolRow_data();
    void toolRow();
    void serviceTexts();
    void staleLine_data();
    void staleLine();
    void diskTexts();
};

void TestViewRules::containerRules_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("primary");
    QTest::addColumn<QString>("pause");
    QTest::newRow("running") << "running" << "Stop" << "Pause";
    QTest::newRow("paused") << "paused" << "Resume" << "Resume";
    QTest::newRow("exited") << "exited" << "Start" << "";
    QTest::newRow("created") << "created" << "Start" << "";
    QTest::newRow("restarting") << "restarting" << "Start" << "";
}

void TestViewRules::containerRules()
{
    QFETCH(QString, state);
    const Container c{"id", "c", "img", state, {}, {}, {}};
    QTEST(ContainerRules::label(ContainerRules::primary(c)), "primary");
    QTEST(ContainerRules::pauseLabel(c).value_or(QString()), "pause");
    QCOMPARE(RuntimeSelection::label({Runtime::context("default"), {}, state == "running"}),
             state == "running" ? "default" : "default · offline");
}

void TestViewRules::cardState_data()
{
    QTest::addColumn<bool>("hasDir");
    QTest::addColumn<bool>("exists");
    QTest::addColumn<bool>("composeFile");
    QTest::addColumn<int>("containers");
    QTest::addColumn<int>("runningCount");
    QTest::addColumn<QString>("badge");
    QTest::addColumn<QString>("help");
    QTest::addColumn<bool>("composeEnabled");

    const QString gone = QStringLiteral("compose up/down need the project directory; start/stop still work");
    const QString nothing = QStringLiteral("Nothing to act on: no containers, and the directory compose would need is gone");
    const QString noFile = QStringLiteral("Nothing here for compose to read, and it would search the parent directories. up/down are disabled; start/stop still work.");
    QTest::newRow("no directory, containers run") << false << false << false << 2 << 2 << "Dir missing" << gone << false;
    QTest::newRow("directory deleted, containers") << true << false << false << 1 << 0 << "Dir missing" << gone << false;
    QTest::newRow("directory deleted, nothing left") << true << false << false << 0 << 0 << "Dir missing" << nothing << false;
    QTest::newRow("no directory, nothing left") << false << false << false << 0 << 0 << "Dir missing" << nothing << false;
    // A compose file in a deleted directory cannot be; the directory rule comes first anyway.
    QTest::newRow("gone beats the compose file") << true << false << true << 1 << 1 << "Dir missing" << gone << false;
    QTest::newRow("no compose file, running") << true << true << false << 1 << 1 << "No compose file" << noFile << false;
    QTest::newRow("no compose file, empty") << true << true << false << 0 << 0 << "No compose file" << noFile << false;
    QTest::newRow("registered, no containers") << true << true << true << 0 << 0 << "Not running"
                                               << "No containers. Up creates them from the compose file." << true;
    QTest::newRow("all stopped") << true << true << true << 3 << 0 << "Not running" << "" << true;
    QTest::newRow("one of three running") << true << true << true << 3 << 1 << "" << "" << true;
}

void TestViewRules::cardState()
{
    QFETCH(bool, hasDir);
    QFETCH(bool, exists);
    QFETCH(bool, composeFile);
    QFETCH(int, containers);
    QFETCH(int, runningCount);
    QFETCH(QString, badge);
    QFETCH(QString, help);
    QFETCH(bool, composeEnabled);

    ComposeProject p{QStringLiteral("shop"), hasDir ? std::optional(QStringLiteral("/srv/shop")) : std::nullopt, {}, containers};
    for (int i = 0; i < containers; ++i)
        p.containers.append(running(i < runningCount));
    QCOMPARE(ProjectCard::state(p, exists, composeFile), (CardState{badge, help, composeEnabled}));
    QCOMPARE(ProjectCard::directoryLine(p, exists), hasDir && exists ? QStringLiteral("/srv/shop") : QStringLiteral("working directory no longer exists"));
}

// What a screen reader hears after a row's or a card's name: what the line shows, in order.
void TestViewRules::spokenTexts()
{
    Container web{"id", "shop-web-1", "nginx:1.27", "running", "Up 7 minutes", "0.0.0.0:8080->80/tcp, [::]:8080->80/tcp", {}};
    QCOMPARE(ContainerRules::spoken(web), "Up 7 minutes · nginx:1.27 · 8080:80");
    web.ports.clear();
    QCOMPARE(ContainerRules::spoken(web), "Up 7 minutes · nginx:1.27");

    ComposeProject shop{QStringLiteral("shop"), QStringLiteral("/srv/shop"), {running(true), running(false), running(false)}, 3};
    QCOMPARE(ProjectCard::spoken(shop, ProjectCard::state(shop, true, true), true), "1 of 3 running · /srv/shop");
    const ComposeProject empty{QStringLiteral("billing"), QStringLiteral("/srv/billing"), {}, 2};
    QCOMPARE(ProjectCard::spoken(empty, ProjectCard::state(empty, true, true), true),
             "Not running · /srv/billing · No containers. Up creates them from the compose file.");
    QCOMPARE(Categories::spoken(Category::Containers, 12), "Containers, 12");
    QCOMPARE(VolumeModel::spoken({{"data", "local", "/v/data"}, true}), "local · /v/data · in use");
    QCOMPARE(ProjectCard::spoken(shop, ProjectCard::state(shop, false, false), false),
             "Dir missing · 1 of 3 running · working directory no longer exists · compose up/down need the project directory; start/stop still work");
    // A service the files define without a container counts towards the whole.
    QCOMPARE(ProjectCard::spoken(shop, ProjectCard::state(shop, true, true), true, 4), "1 of 4 running · 1 not created · /srv/shop");
    QCOMPARE(ProjectCard::serviceSpoken({"dbg", "busybox", ProjectService::State::Inactive, {"debug", "tools"}}), "dbg, Profiles debug or tools, busybox");

    // What a pull found, as the card says it.
    const QList<std::pair<PullSummary, QString>> pulls{
        {{{"web"}, {"db", "cache"}, {"job"}, {}}, "Newer image for web. Up to date: db and cache. Not pulled: job, built here or pinned by digest."},
        {{{}, {"db", "cache"}, {}, {}}, "All 2 images are up to date."},
        {{{"web", "api"}, {}, {}, {{"mail", "pull access denied"}}}, "Newer images for web and api. mail could not be pulled: pull access denied."},
        {{}, "No service has an image to pull."},
    };
    for (const auto &[summary, text] : pulls)
        QCOMPARE(ProjectCard::pullSummary(summary), text);
    QCOMPARE(ProjectCard::recreateLabel(2), "Recreate 2 services");
    QCOMPARE(NewerText::pullMessage("nginx:latest", "web", "rootless"),
             "Pulls nginx:latest on rootless. web keeps running the old image until it is made again.");

    // What comes back after a restart, by service: a service of two containers comes back
    // only if both do; a "perhaps" is not a promise.
    const Comeback back{Comeback::Kind::Yes, {}}, stays{Comeback::Kind::No, {}}, perhaps{Comeback::Kind::Perhaps, {}};
    const QList<std::pair<QList<std::pair<QString, Comeback>>, QString>> comebacks{
        {{{"web", back}, {"db", back}}, ""},
        {{{"web", back}, {"web", stays}, {"db", back}, {"job", perhaps}}, "1 of 3 services comes back after a restart"},
        {{{"web", back}, {"db", stays}, {"job", back}}, "2 of 3 services come back after a restart"},
        {{{"web", stays}}, "0 of 1 service comes back after a restart"},
    };
    for (const auto &[services, line] : comebacks)
        QCOMPARE(RestartText::servicesLine(services), line);
    QCOMPARE(RestartText::composeSheet({"web", "job"}, "/srv/shop/compose.yaml"),
             (RestartText::Sheet{"Keep web and job running after restarts",
                                 "Korvat leaves your compose file as it is. Add the restart line under each of these services in /srv/shop/compose.yaml, then choose Up to apply it.",
                                 "services:\n  web:\n    restart: unless-stopped\n  job:\n    restart: unless-stopped"}));
    QVERIFY(RestartText::marked("paused", perhaps) && !RestartText::marked("exited", stays) && !RestartText::marked("running", back));
}

void TestViewRules::listCursor_data()
{
    using ListCursor::Move;
    using ListCursor::Stop;
    QTest::addColumn<QList<int>>("rows");
    QTest::addColumn<bool>("headers");
    QTest::addColumn<Stop>("at");
    QTest::addColumn<Move>("move");
    QTest::addColumn<Stop>("to");
    // Cards of 2, 0 and 3 containers: the arrows go through a card's rows to the next card.
    const QList<int> cards{2, 0, 3};
    QTest::newRow("card into its rows") << cards << true << Stop{0, -1} << Move::Down << Stop{0, 0};
    QTest::newRow("last row to next card") << cards << true << Stop{0, 1} << Move::Down << Stop{1, -1};
    QTest::newRow("empty card to the next") << cards << true << Stop{1, -1} << Move::Down << Stop{2, -1};
    QTest::newRow("up into the rows above") << cards << true << Stop{2, -1} << Move::Up << Stop{1, -1};
    QTest::newRow("up from a header") << cards << true << Stop{1, -1} << Move::Up << Stop{0, 1};
    QTest::newRow("stays at the top") << cards << true << Stop{0, -1} << Move::Up << Stop{0, -1};
    QTest::newRow("stays at the end") << cards << true << Stop{2, 2} << Move::Down << Stop{2, 2};
    QTest::newRow("page down of 4") << cards << true << Stop{0, -1} << Move::PageDown << Stop{2, -1};
    QTest::newRow("page up") << cards << true << Stop{2, 1} << Move::PageUp << Stop{0, 1};
    QTest::newRow("page up past the top") << cards << true << Stop{1, -1} << Move::PageUp << Stop{0, -1};
    QTest::newRow("home") << cards << true << Stop{2, 1} << Move::Home << Stop{0, -1};
    QTest::newRow("end") << cards << true << Stop{0, 0} << Move::End << Stop{2, 2};
    // A refresh took rows away under the cursor.
    QTest::newRow("row gone") << cards << true << Stop{0, 5} << Move::Here << Stop{0, 1};
    QTest::newRow("card gone") << cards << true << Stop{7, 0} << Move::Here << Stop{2, 2};
    QTest::newRow("nothing yet") << cards << true << Stop{} << Move::Here << Stop{0, -1};
    // Groups whose headers are captions: only their rows are stops, empty groups are skipped.
    const QList<int> groups{1, 0, 2};
    QTest::newRow("over an empty group") << groups << false << Stop{0, 0} << Move::Down << Stop{2, 0};
    QTest::newRow("header is no stop") << groups << false << Stop{2, -1} << Move::Here << Stop{2, 0};
    QTest::newRow("flat list") << QList<int>{0, 0, 0} << true << Stop{1, -1} << Move::Down << Stop{2, -1};
    QTest::newRow("no stops") << QList<int>{0, 0} << false << Stop{0, 0} << Move::Down << Stop{};
}

void TestViewRules::listCursor()
{
    QFETCH(QList<int>, rows);
    QFETCH(bool, headers);
    QFETCH(ListCursor::Stop, at);
    QFETCH(ListCursor::Move, move);
    const auto to = ListCursor::step(rows, headers, at, move, 4);
    QTEST(to, "to");
}

void TestViewRules::listOrder()
{
    using ListOrder::Key;
    const auto at = [](int day) { return QDateTime(QDate(2026, 11, day), QTime(12, 0), Qt::UTC); };
    const QList<Container> rows{{"1", "web-10", "i", "exited", {}, {}, {}, at(3)}, {"2", "Web-2", "i", "running", {}, {}, {}, {}},
                                {"3", "db", "i", "paused", {}, {}, {}, at(5)}, {"4", "api", "i", "running", {}, {}, {}, at(1)}};
    const auto names = [](const QList<Container> &list) {
        QStringList out;
        for (const auto &c : list)
            out << c.name;
        return out;
    };
    QCOMPARE(names(ListOrder::sorted(rows, Key::Listed)), (QStringList{"web-10", "Web-2", "db", "api"}));
    // As a person reads: case aside, 2 before 10.
    QCOMPARE(names(ListOrder::sorted(rows, Key::Name)), (QStringList{"api", "db", "Web-2", "web-10"}));
    QCOMPARE(names(ListOrder::sorted(rows, Key::State)), (QStringList{"api", "Web-2", "db", "web-10"}));
    // Newest first; a row with no date last.
    QCOMPARE(names(ListOrder::sorted(rows, Key::Created)), (QStringList{"db", "web-10", "api", "Web-2"}));

    const QList<DockerImage> images{{"a", "small", "1", "512kB"}, {"b", "big", "1", "1.2GB"}, {"c", "odd", "1", "N/A"},
                                    {"d", "mid", "1", "188MB"}};
    QStringList bySize;
    for (const auto &i : ListOrder::sorted(images, Key::Size))
        bySize << i.repository;
    QCOMPARE(bySize, (QStringList{"big", "mid", "small", "odd"}));
}

void TestViewRules::deleteLabel_data()
{
    QTest::addColumn<bool>("planned");
    QTest::addColumn<QStringList>("containers");
    QTest::addColumn<QStringList>("keptVolumes");
    QTest::addColumn<QStringList>("ownVolumes");
    QTest::addColumn<bool>("hasDir");
    QTest::addColumn<bool>("trash");
    QTest::addColumn<QString>("label");

    const QStringList two{"a", "b"};
    QTest::newRow("no plan yet") << false << two << QStringList() << QStringList() << false << false << "Delete";
    QTest::newRow("one container, singular") << true << QStringList{"a"} << QStringList() << QStringList() << false << false << "Delete 1 container";
    QTest::newRow("nothing left") << true << QStringList() << QStringList() << QStringList() << false << false << "Remove from Korvat";
    QTest::newRow("everything") << true << two << QStringList() << QStringList{"data"} << true << true << "Delete 2 containers + 1 volume + files";
    QTest::newRow("trash off") << true << two << QStringList() << QStringList{"data"} << true << false << "Delete 2 containers + 1 volume";
    QTest::newRow("only files") << true << QStringList() << QStringList() << QStringList() << true << true << "Delete files";
    QTest::newRow("kept volume is not counted") << true << two << QStringList{"shared"} << QStringList{"x", "y"} << false << false
                                                << "Delete 2 containers + 2 volumes";
    QTest::newRow("only kept volumes") << true << QStringList() << QStringList{"shared"} << QStringList() << false << false << "Remove from Korvat";
}

void TestViewRules::deleteLabel()
{
    QFETCH(bool, planned);
    QFETCH(QStringList, containers);
    QFETCH(QStringList, keptVolumes);
    QFETCH(QStringList, ownVolumes);
    QFETCH(bool, hasDir);
    QFETCH(bool, trash);
    QFETCH(QString, label);

    std::optional<TeardownPlan> plan;
    if (planned) {
        plan = TeardownPlan{QStringLiteral("shop"), containers, {}, hasDir ? std::optional(QStringLiteral("/srv/shop")) : std::nullopt};
        for (const QString &v : ownVolumes)
            plan->volumes.append({v, {}, std::nullopt});
        for (const QString &v : keptVolumes)
            plan->volumes.append({v, {QStringLiteral("backup")}, std::nullopt});
    }
    QCOMPARE(ProjectDeletion::label(plan, trash), label);
}

void TestViewRules::keptDetail_data()
{
    QTest::addColumn<QList<VolumeUse>>("volumes");
    QTest::addColumn<QString>("detail");
    const VolumeUse shared{"shared", {"backup"}, std::nullopt, {}}, external{"ext", {}, std::nullopt, "external"},
        own{"data", {}, std::nullopt, {}};
    QTest::newRow("in use elsewhere") << QList<VolumeUse>{shared, own} << "Mounted by containers outside this project, so they are left alone.";
    QTest::newRow("not the project's") << QList<VolumeUse>{external, own} << "Not this project’s to remove, so they are left alone.";
    QTest::newRow("both") << QList<VolumeUse>{shared, external}
                          << "Mounted by containers outside this project, or not this project’s to remove, so they are left alone.";
}

void TestViewRules::keptDetail()
{
    QFETCH(QList<VolumeUse>, volumes);
    const TeardownPlan plan{QStringLiteral("shop"), {}, volumes, std::nullopt};
    QTEST(ProjectDeletion::keptDetail(plan), "detail");
    // A volume kept for either reason is never counted as going.
    QVERIFY(!ProjectDeletion::label(plan, false).contains(QLatin1String("2 volumes")));
}

// What the menu shows for a terminal; tst_actions runs the terminal itself.
void TestViewRules::terminal_data()
{
    QTest::addColumn<std::optional<Runtime>>("runtime");
    QTest::addColumn<QString>("line");
    QTest::newRow("default context") << std::optional<Runtime>() << "docker exec -it web-1 sh";
    QTest::newRow("named context") << std::optional(Runtime::context("staging")) << "docker --context staging exec -it web-1 sh";
    QTest::newRow("socket") << std::optional(Runtime::socket("apple-container", "/opt/homebrew/var/run/socktainer/.socktainer/container.sock"))
                            << "DOCKER_HOST=unix:///opt/homebrew/var/run/socktainer/.socktainer/container.sock docker exec -it web-1 sh";
}

void TestViewRules::terminal()
{
    QFETCH(std::optional<Runtime>, runtime);
    QTEST(Terminal::commandLine(runtime, QStringLiteral("web-1")), "line");
}

void TestViewRules::portLinks_data()
{
    QTest::addColumn<QString>("ports");
    QTest::addColumn<QString>("endpoint");
    QTest::addColumn<QStringList>("urls");
    const QString local = "unix:///var/run/docker.sock";
    QTest::newRow("all addresses, both families, once") << "0.0.0.0:8080->80/tcp, [::]:8080->80/tcp" << local << QStringList{"http://localhost:8080"};
    QTest::newRow("loopback") << "127.0.0.1:5432->5432/tcp" << local << QStringList{"http://127.0.0.1:5432"};
    QTest::newRow("one IPv6 address") << "[fd00::5]:8443->443/tcp" << local << QStringList{"http://[fd00::5]:8443"};
    QTest::newRow("UDP and unpublished left out") << "0.0.0.0:53->53/udp, 9000/tcp, 0.0.0.0:3000->3000/tcp" << local << QStringList{"http://localhost:3000"};
    QTest::newRow("remote over tcp") << "0.0.0.0:8080->80/tcp" << "tcp://10.0.0.2:2375" << QStringList{"http://10.0.0.2:8080"};
    QTest::newRow("remote over ssh") << "127.0.0.1:8080->80/tcp, 0.0.0.0:9090->90/tcp" << "ssh://me@build-host:2222"
                                     << QStringList{"http://build-host:8080", "http://build-host:9090"};
}

void TestViewRules::portLinks()
{
    QFETCH(QString, ports);
    QFETCH(QString, endpoint);
    QStringList urls;
    for (const PortLinks::Link &link : PortLinks::links(Docker::parsePorts(ports), endpoint))
        urls << link.url.toString();
    QTEST(urls, "urls");
}

// Events as the stream gives them, "verb project/name [exit code]", and what the desktop is
// told once the burst falls quiet.
void TestViewRules::usageTexts_data()
{
    QTest::addColumn<std::optional<double>>("cpu");
    QTest::addColumn<std::optional<qint64>>("memory");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("spoken");
    QTest::newRow("idle") << std::optional(0.0) << std::optional<qint64>(1'200'000) << "CPU 0% · 1.2 MB" << "CPU 0 percent, memory 1.2 MB";
    QTest::newRow("a little") << std::optional(0.44) << std::optional<qint64>(48'400'000) << "CPU 0.4% · 48 MB" << "CPU 0.4 percent, memory 48 MB";
    QTest::newRow("rounds up to ten") << std::optional(9.97) << std::optional<qint64>(2'000'000'000) << "CPU 10% · 2 GB" << "CPU 10 percent, memory 2 GB";
    QTest::newRow("several cores") << std::optional(251.4) << std::optional<qint64>(999) << "CPU 251% · 999 bytes" << "CPU 251 percent, memory 999 bytes";
    QTest::newRow("memory only") << std::optional<double>() << std::optional<qint64>(512'000) << "512 kB" << "memory 512 kB";
    QTest::newRow("nothing read") << std::optional<double>() << std::optional<qint64>() << "" << "";
}

void TestViewRules::usageTexts()
{
    QFETCH(std::optional<double>, cpu);
    QFETCH(std::optional<qint64>, memory);
    const UsageText::Now now{cpu, memory};
    QTEST(UsageText::line(now), "line");
    QTEST(UsageText::spoken(now), "spoken");
    // A card adds up what its rows read, and leaves out what they did not.
    QCOMPARE(UsageText::sum({now, now, {}}), (UsageText::Now{cpu ? std::optional(*cpu * 2) : std::nullopt, memory ? std::optional(*memory * 2) : std::nullopt}));
}

void TestViewRules::usageTrend()
{
    using Point = UsageHistory::Point;
    QCOMPARE(UsageText::trend(nullptr, 10'000, 4000, 1000), (QList<qreal>{-1, -1, -1, -1}));
    // Against the span's peak; the newest reading in the last step; one older than the span
    // neither drawn nor counted.
    const UsageHistory busy{{Point{5'000, 80}, Point{7'900, 20}, Point{9'000, 40}, Point{10'000, 10}}, {}, {}};
    QCOMPARE(UsageText::trend(&busy, 10'000, 4000, 1000), (QList<qreal>{-1, 0.5, 1, 0.25}));
    // Below 5% is drawn against 5%: an idle container's noise stays low.
    const UsageHistory idle{{Point{9'000, 0.1}, Point{10'000, 0.5}}, {}, {}};
    QCOMPARE(UsageText::trend(&idle, 10'000, 2000, 1000), (QList<qreal>{0.02, 0.1}));
    // Readings due seconds apart are joined across the steps between; one missed leaves a gap,
    // and the pace each was read at holds for it, whatever came after.
    const UsageHistory spaced{{Point{1'000, 10, 1000}, Point{2'000, 10, 4000}, Point{6'000, 30, 4000}, Point{14'000, 20, 1000}}, {}, {}};
    QCOMPARE(UsageText::trend(&spaced, 14'000, 14'000, 1000),
             (QList<qreal>{10. / 30, 10. / 30, 15. / 30, 20. / 30, 25. / 30, 1, -1, -1, -1, -1, -1, -1, -1, 20. / 30}));
}

void TestViewRules::failureNotes_data()
{
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("notes");
    QTest::newRow("exits 3 on its own") << QStringList{"start shop/web", "die shop/web 3"}
                                        << QStringList{"web stopped unexpectedly | Exited with code 3 · project shop"};
    QTest::newRow("stopped: a kill came first") << QStringList{"start shop/web", "kill shop/web 15", "die shop/web 137"} << QStringList{};
    QTest::newRow("a clean exit") << QStringList{"die shop/web 0"} << QStringList{};
    QTest::newRow("restarted, then fails alone") << QStringList{"kill shop/web 9", "die shop/web 143", "start shop/web", "die shop/web 1"}
                                                 << QStringList{"web stopped unexpectedly | Exited with code 1 · project shop"};
    QTest::newRow("three of one project, folded")
        << QStringList{"die shop/web 1", "die shop/db 2", "unhealthy other/api", "die shop/worker 3"}
        << QStringList{"3 containers of shop stopped unexpectedly | web, db, worker", "api is unhealthy | Its health check is failing · project other"};
    QTest::newRow("outside a project, each its own") << QStringList{"die /a 1", "die /b 2"}
                                                     << QStringList{"a stopped unexpectedly | Exited with code 1", "b stopped unexpectedly | Exited with code 2"};
    QTest::newRow("out of memory, its death not told again") << QStringList{"oom shop/web", "die shop/web 137"}
                                                             << QStringList{"web ran out of memory | The out-of-memory killer stopped a process in it · project shop"};
    QTest::newRow("a crash loop: once in five minutes") << QStringList{"die shop/web 1", "start shop/web", "die shop/web 1"}
                                                        << QStringList{"web stopped unexpectedly | Exited with code 1 · project shop"};
    QTest::newRow("muted project") << QStringList{"die muted/web 1"} << QStringList{};
    QTest::newRow("a reload's hangup excuses nothing") << QStringList{"kill shop/web 1", "die shop/web 1"}
                                                       << QStringList{"web stopped unexpectedly | Exited with code 1 · project shop"};
    QTest::newRow("a stop by its own signal, told after") << QStringList{"kill shop/web 3", "die shop/web 131", "stop shop/web"} << QStringList{};
    QTest::newRow("many at once: one note")
        << QStringList{"die /a 1", "die /b 1", "die /c 1", "die /d 1", "die /e 1", "die /f 1", "die shop/web 1"}
        << QStringList{"7 containers stopped unexpectedly | a, b, c, d, e, and 2 more"};
}

void TestViewRules::failureNotes()
{
    QFETCH(QStringList, events);
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    QDateTime now(QDate(2026, 11, 23), QTime(9, 0), Qt::UTC);
    FailureWatch watch(&settings, [&now] { return now; }, {std::chrono::milliseconds(0), std::chrono::seconds(300)});
    watch.setMuted(QStringLiteral("muted"), true);
    QSignalSpy told(&watch, &FailureWatch::failed);
    using Kind = ContainerChange::Kind;
    static const QMap<QString, Kind> kinds{{"start", Kind::Started}, {"die", Kind::Died}, {"kill", Kind::Killed},
                                           {"oom", Kind::OutOfMemory}, {"unhealthy", Kind::Unhealthy}, {"stop", Kind::Stopped}};
    for (const QString &event : events) {
        const QStringList parts = event.split(u' ');
        const QString project = parts[1].section(u'/', 0, 0), name = parts[1].section(u'/', 1);
        // A kill's number is the signal it sent, a death's its exit code.
        const int number = parts.value(2).toInt();
        const Kind kind = kinds.value(parts[0]);
        watch.see({name + QStringLiteral("-id"), kind, kind == Kind::Killed ? 0 : number, name, project, kind == Kind::Killed ? number : 0});
        now = now.addSecs(1);
    }
    QCoreApplication::processEvents();
    QStringList notes;
    for (const QList<QVariant> &burst : told) {
        for (const FailureNotes::Note &note : FailureNotes::notes(burst.first().value<QList<Failure>>()))
            notes << note.summary + QStringLiteral(" | ") + note.body;
    }
    QTEST(notes, "notes");

    // Turned off in Settings, nothing is told.
    watch.setEnabled(false);
    now = now.addSecs(600);
    watch.see({QStringLiteral("x-id"), Kind::Died, 1, QStringLiteral("x"), {}});
    QCoreApplication::processEvents();
    QCOMPARE(told.size(), notes.isEmpty() ? 0 : 1);
}

// One notification per check: an image by name with who runs it where, several counted
// once each however many engines run them.
void TestViewRules::newerNotes_data()
{
    // Each notice: "engine reference container…", "-" for no engine.
    QTest::addColumn<QStringList>("found");
    QTest::addColumn<QString>("note");
    QTest::newRow("one container") << QStringList{"default nginx:latest web"}
                                   << "Newer image for nginx:latest | web runs it on default. Pull it when you choose.";
    QTest::newRow("one image on two engines") << QStringList{"default nginx:latest web api", "rootless nginx:latest web"}
                                              << "Newer image for nginx:latest | web and api run it on default. web runs it on rootless. Pull it when you choose.";
    QTest::newRow("no engine named") << QStringList{"- busybox:1.36 agent"} << "Newer image for busybox:1.36 | agent runs it. Pull it when you choose.";
    QTest::newRow("several images") << QStringList{"default nginx:latest web", "default redis:7 cache", "rootless nginx:latest web", "rootless php:8.3-fpm app"}
                                    << "3 newer images | nginx:latest, redis:7 and php:8.3-fpm. Pull them when you choose.";
}

void TestViewRules::newerNotes()
{
    QFETCH(QStringList, found);
    QList<NewerNotice> notices;
    for (const QString &line : found) {
        const QStringList parts = line.split(u' ');
        notices.append({parts[0] == "-" ? QString() : parts[0], ImageFreshness{parts[1], ImageFreshness::State::Newer, {}}, parts.mid(2)});
    }
    const NewerText::Note note = NewerText::notification(notices);
    QTEST(note.summary + " | " + note.body, "note");
}

// What died while the event stream was down is found by the listing after it, once.
void TestViewRules::failuresFoundAcrossAGap()
{
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    FailureWatch watch(&settings, [] { return QDateTime::currentDateTimeUtc(); }, {std::chrono::milliseconds(0), std::chrono::seconds(300)});
    QSignalSpy told(&watch, &FailureWatch::failed);
    const auto row = [](const QString &name, const QString &status) {
        return Container{name + QStringLiteral("-id"), name, {}, status.startsWith(u'U') ? QStringLiteral("running") : QStringLiteral("exited"), status};
    };
    const QList<Container> before{row("crash", "Up 1 hour"), row("stopped", "Up 1 hour"), row("done", "Up 1 hour"), row("old", "Exited (1) 2 days ago")};
    const QList<Container> after{row("crash", "Exited (2) 5 seconds ago"), row("stopped", "Exited (143) 4 seconds ago"),
                                 row("done", "Exited (0) 3 seconds ago"), row("old", "Exited (1) 2 days ago")};
    watch.listed(after, true);   // the first listing only sets what later ones are compared with
    watch.listed(before, true);
    watch.listed(after, false);   // the stream was up: it told of each death itself
    QCoreApplication::processEvents();
    QCOMPARE(told.size(), 0);
    watch.listed(before, true);
    watch.listed(after, true);
    watch.listed(after, true);
    QCoreApplication::processEvents();
    QCOMPARE(told.size(), 1);
    const auto failures = told.first().first().value<QList<Failure>>();
    QCOMPARE(failures.size(), 1);
    QCOMPARE(failures.first().name, QStringLiteral("crash"));
    QCOMPARE(failures.first().exitCode, 2);
}

void TestViewRules::detailsTexts()
{
    const QDateTime now(QDate(2026, 11, 24), QTime(18, 0), Qt::UTC);
    QCOMPARE(DetailsText::ago(now.addSecs(-3), now), "just now");
    QCOMPARE(DetailsText::ago(now.addSecs(-90), now), "1 minute ago");
    QCOMPARE(DetailsText::ago(now.addSecs(7200), now), "in 2 hours");
    QCOMPARE(DetailsText::ago(now.addDays(-3), now), "3 days ago");
    QCOMPARE(DetailsText::when(QDateTime(), now), "never");
    QCOMPARE(DetailsText::command({"sh", "-c", "echo hi"}), "sh -c \"echo hi\"");

    ContainerDetails d;
    d.state = "exited";
    d.exitCode = 137;
    d.outOfMemory = true;
    d.labels = {{"com.docker.compose.project", "shop"}, {"com.docker.compose.service", "db"}, {"tier", "data"}};
    d.ports = {{"0.0.0.0", 8080, 80, "tcp"}, {"::", 8080, 80, "tcp"}, {"", 0, 443, "tcp"}};
    const auto sections = DetailsText::container(d, now, "unix:///var/run/docker.sock");
    QStringList titles;
    for (const auto &s : sections)
        titles << s.title;
    QCOMPARE(titles, (QStringList{"State", "Configuration", "Environment", "Mounts", "Ports", "Networks", "Labels"}));
    // Both address families of one port open one page; an exposed port has none.
    QCOMPARE(sections[4].rows, (QList<DetailsText::Row>{{"80/tcp", "published on 0.0.0.0:8080", {}, {}, false, "http://localhost:8080"},
                                                        {"80/tcp", "published on [::]:8080"},
                                                        {"443/tcp", "exposed, not published"}}));
    QCOMPARE(sections[0].rows[0], (DetailsText::Row{"State", "exited (137) · Killed: out of memory", {}, {}, true}));
    QCOMPARE(sections.last().rows.first(), (DetailsText::Row{"Compose", "2 labels of compose's own"}));
    QCOMPARE(sections.last().rows.size(), 2);
    QCOMPARE(sections[2].note, "No variables are set.");

    // An image's users by tag, a bare name meaning latest, or id; its empty steps folded.
    ImageDetails image{"sha256:abcdef0123456789", {"web:1", "api:latest"}, {}, 0, {}, {}, {}, {}, {},
                       {{"CMD [\"x\"]", 0, "0B"}, {"ENV A=1", 0, "0B"}, {"RUN make", 2'000'000, "2MB"}, {"", 5'000'000, "5MB"}}};
    const auto row = [](const char *name, const char *image) { return Container{name, name, image, "running", "Up"}; };
    const auto users = DetailsText::usersOf(image, {row("a", "web:1"), row("b", "api"), row("c", "abcdef012345"), row("d", "web:2")});
    QCOMPARE(users.size(), 3);
    const auto layers = DetailsText::image(image, users, now).last();
    QCOMPARE(layers.rows.size(), 3);
    QCOMPARE(layers.rows[0], (DetailsText::Row{"no files · 2 steps", "CMD [\"x\"]\nENV A=1"}));
    QCOMPARE(layers.rows[2], (DetailsText::Row{"5 MB", "(the base image)"}));

    // A volume nothing mounts says so; one whose data cannot be read here says that.
    const auto volume = DetailsText::volume(VolumeDetails{"data", "local", "/v", "local"}, now);
    QCOMPARE(volume[0].rows.last(), (DetailsText::Row{"Size", "not readable from here"}));
    QCOMPARE(volume[1].note, "No container mounts it, running or stopped.");

    // Every row that holds a value from the engine carries what it shows while hidden: the
    // environment, the labels, the command with its entrypoint, the check, a build step.
    d.environment = {{"DATABASE_URL", "postgres://app:s3cret@db/app"}, {"LANG", "C"}};
    d.labels.insert("com.example.token", "abc");
    d.entrypoint = {"redis-server"};
    d.command = {"--requirepass", "s3cret"};
    d.health = ContainerDetails::Health{"healthy", 0, {}, {"CMD-SHELL", "redis-cli -a s3cret ping"}, 30};
    QStringList hidden;
    for (const auto &section : DetailsText::container(d, now))
        for (const auto &row : section.rows)
            hidden << (row.masked.isEmpty() ? row.value : row.masked);
    const QString mask = QString::fromUtf16(Secrets::mask);
    QVERIFY(!hidden.join(u'\n').contains("s3cret"));
    for (const QString &shown : QStringList{"postgres://app:" + mask + "@db/app", "C", mask, "--requirepass " + mask, "redis-cli -a " + mask + " ping"})
        QVERIFY2(hidden.contains(shown), qPrintable(shown));
    QCOMPARE(DetailsText::environment(d, false), "DATABASE_URL=postgres://app:" + mask + "@db/app\nLANG=C\n");
    image.layers = {{"|2 MODE=plain PASSWORD=s3cret /bin/sh -c echo built > /built", 6, "6B"}};
    QCOMPARE(DetailsText::image(image, {}, now).last().rows.first().masked, "|2 MODE=plain PASSWORD=" + mask + " /bin/sh -c echo built > /built");
}

// One table for the one rule, over every place a value comes from. For a command the words
// are separated by tabs; for YAML the name holds the values known to be secret; a document
// compares as JSON, so a masked one must still parse.
void TestViewRules::masking_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("shown");
    const QString m = QString::fromUtf16(Secrets::mask);
    const auto row = [](const char *title, const char *source, const char *name, const QString &value, const QString &shown) {
        QTest::newRow(title) << QString::fromLatin1(source) << QString::fromUtf8(name) << value << shown;
    };
    // Names: words, not letters; what names a file, an id or a setting about a secret is not one.
    row("API_KEY", "variable", "API_KEY", "abc", m);
    row("camel case", "variable", "dbPassword", "abc", m);
    row("PASS", "variable", "SMTP_PASS", "abc", m);
    row("PWD inside a name", "variable", "MYSQL_PWD", "abc", m);
    row("DSN", "variable", "SENTRY_DSN", "https://k@sentry.example/1", m);
    row("CREDENTIALS", "variable", "GIT_CREDENTIALS", "abc", m);
    row("AUTH", "variable", "AuthHeader", "Bearer abc", m);
    row("inside a longer word", "variable", "HTPASSWD", "abc", m);
    row("PWD, the working directory", "variable", "PWD", "/srv", "/srv");
    row("KEYBOARD", "variable", "KEYBOARD", "us", "us");
    row("MONKEY", "variable", "MONKEY_MODE", "on", "on");
    row("TOKEN inside a word", "variable", "TOKENIZERS_PARALLELISM", "false", "false");
    row("a secret's file", "variable", "POSTGRES_PASSWORD_FILE", "/run/secrets/db", "/run/secrets/db");
    row("a key's id", "variable", "AWS_ACCESS_KEY_ID", "AKIA0", "AKIA0");
    row("a reference hides nothing", "variable", "DB_PASSWORD", "$DB_PASSWORD", "$DB_PASSWORD");
    row("empty", "variable", "DB_PASSWORD", "", "");
    // Inside a value, whatever its name.
    row("URL password", "variable", "DATABASE_URL", "postgres://app:s3cret@db/app", "postgres://app:" + m + "@db/app");
    row("URL without user", "variable", "REDIS_URL", "redis://:s3cret@cache:6379/0", "redis://:" + m + "@cache:6379/0");
    row("URL without password", "variable", "UPSTREAM", "https://app@host:8080/x", "https://app@host:8080/x");
    row("URL query", "variable", "HOOK", "https://h/x?user=a&access_token=s3cret&n=1", "https://h/x?user=a&access_token=" + m + "&n=1");
    row("flag in a value", "variable", "JAVA_OPTS", "-Xmx1g -Dspring.datasource.password=s3cret", "-Xmx1g -Dspring.datasource.password=" + m);
    row("label", "label", "traefik.http.middlewares.auth.basicauth.users", "admin:$apr1$x$y", m);
    row("label, plain", "label", "com.docker.compose.config-hash", "3f2a", "3f2a");
    row("driver option list", "option", "o", "addr=10.0.0.1,username=app,password=s3cret", "addr=10.0.0.1,username=app,password=" + m);
    row("driver option", "option", "password", "s3cret", m);
    row("driver option, plain", "option", "device", "//10.0.0.1/share", "//10.0.0.1/share");
    // Commands: the word after a secret flag; a short flag only for a program known to take
    // a password by it.
    row("--requirepass x", "command", "", "redis-server\t--requirepass\ts3cret\t--port\t6379", "redis-server\t--requirepass\t" + m + "\t--port\t6379");
    row("--token=x", "command", "", "app\t--token=s3cret", "app\t--token=" + m);
    row("-p is a port elsewhere", "command", "", "docker\trun\t-p\t8080:80\tnginx", "docker\trun\t-p\t8080:80\tnginx");
    row("mysql -px", "command", "", "mysql\t-uroot\t-ps3cret", "mysql\t-uroot\t-p" + m);
    row("redis-cli -a x", "command", "", "CMD\tredis-cli\t-a\ts3cret\tping", "CMD\tredis-cli\t-a\t" + m + "\tping");
    row("shell check", "command", "", "CMD-SHELL\tredis-cli -a s3cret ping", "CMD-SHELL\tredis-cli -a " + m + " ping");
    row("sh -c", "command", "", "sh\t-c\tsqlcmd -U sa -P \"s3 cret\" -Q \"SELECT 1\"", "sh\t-c\tsqlcmd -U sa -P " + m + " -Q \"SELECT 1\"");
    row("curl -u", "command", "", "curl\t-u\tadmin:s3cret\thttps://h", "curl\t-u\tadmin:" + m + "\thttps://h");
    row("a flag alone", "command", "", "mongod\t--auth\t--bind_ip_all", "mongod\t--auth\t--bind_ip_all");
    // Image history, as the classic builder and BuildKit record it.
    row("build arguments", "text", "", "|2 MODE=plain PASSWORD=s3cret /bin/sh -c echo built > /built", "|2 MODE=plain PASSWORD=" + m + " /bin/sh -c echo built > /built");
    row("ENV step", "text", "", "ENV DB_PASSWORD=envs3cret", "ENV DB_PASSWORD=" + m);
    row("ARG step", "text", "", "ARG PASSWORD", "ARG PASSWORD");
    row("RUN mysql", "text", "", "RUN mysql -uroot -ps3cret -e 'select 1'; mysql -p s3cret", "RUN mysql -uroot -p" + m + " -e 'select 1'; mysql -p " + m);
    row("connection string", "text", "", "host=db user=app password=s3cret", "host=db user=app password=" + m);
    // The inspect document.
    row("document", "document", "",
        R"({"Path":"redis-server","Args":["--requirepass","s3cret"],"Config":{"Env":["API_TOKEN=s3cret","URL=redis://:s3cret@c","LANG=C"],)"
        R"("Labels":{"com.example.token":"abc","tier":"db"}},"NetworkSettings":{"SandboxKey":"/var/run/docker/netns/1"}})",
        R"({"Path":"redis-server","Args":["--requirepass","M"],"Config":{"Env":["API_TOKEN=M","URL=redis://:M@c","LANG=C"],)"
        R"("Labels":{"com.example.token":"M","tier":"db"}},"NetworkSettings":{"SandboxKey":"/var/run/docker/netns/1"}})");
    // Compose's resolved YAML.
    row("substituted whole", "yaml", "postgres", "      PLAIN: postgres", "      PLAIN: \"" + m + "\"");
    row("never inside a word", "yaml", "postgres", "    image: postgres:16", "    image: postgres:16");
    // The files as written say where DB_PASS went: only there is its value hidden.
    row("only where it was substituted", "substituted", "postgres|DB_PASS|  environment:\n    CONN: ${DB_PASS}\n    POSTGRES_DB: postgres\n  command: [\"x\", \"$DB_PASS\"]",
        "  environment:\n    CONN: postgres\n    POSTGRES_DB: postgres\n  command:\n    - x\n    - postgres",
        "  environment:\n    CONN: \"" + m + "\"\n    POSTGRES_DB: postgres\n  command:\n    - x\n    - \"" + m + "\"");
    row("secret key", "yaml", "", "      POSTGRES_PASSWORD: '1234'", "      POSTGRES_PASSWORD: \"" + m + "\"");
    row("list entry keeps its quotes", "yaml", "", "      - \"API_TOKEN=x y\"", "      - \"API_TOKEN=" + m + "\"");
    row("URL under a plain key", "yaml", "", "      DB: postgres://app:s3cret@db/app", "      DB: \"postgres://app:" + m + "@db/app\"");
    row("command items", "yaml", "", "    command:\n      - redis-server\n      - --requirepass\n      - s3cret",
        "    command:\n      - redis-server\n      - --requirepass\n      - \"" + m + "\"");
    row("block scalar whole", "yaml", "", "      PRIVATE_KEY: |\n        -----BEGIN-----\n\n        abc\n    image: x",
        "      PRIVATE_KEY: \"" + m + "\n        " + m + "\n\n        " + m + "\"\n    image: x");
    row("continued line whole", "yaml", "s3cret", "    x-note: a long line that goes on\n      to s3cret\n    y: 1",
        "    x-note: \"" + m + "\n      " + m + "\"\n    y: 1");
    row("secret names, not secrets", "yaml", "", "    secrets:\n      - db_password\n    null_token: null", "    secrets:\n      - db_password\n    null_token: null");
}

void TestViewRules::masking()
{
    QFETCH(QString, source);
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(QString, shown);
    if (source == QLatin1String("command")) {
        QCOMPARE(Secrets::arguments(value.split(u'\t')).join(u'\t'), shown);
    } else if (source == QLatin1String("text")) {
        QCOMPARE(Secrets::text(value), shown);
    } else if (source == QLatin1String("document")) {
        const QJsonDocument masked = QJsonDocument::fromJson(Secrets::document(value).toUtf8());
        QVERIFY(!masked.isNull());
        QCOMPARE(masked, QJsonDocument::fromJson(shown.replace(u'M', QString::fromUtf16(Secrets::mask)).toUtf8()));
    } else if (source == QLatin1String("substituted")) {
        const QStringList parts = name.split(u'|');
        QCOMPARE(Secrets::yaml(value, {parts[0]}, Secrets::substitutedAt(parts[2], {parts[1]})), shown);
    } else if (source == QLatin1String("yaml")) {
        QCOMPARE(Secrets::yaml(value, name.isEmpty() ? QStringList() : name.split(u',')), shown);
    } else {
        QCOMPARE(Secrets::value(name, value), shown);
    }
}

// What the engine wrote: nothing of its own is masked, what a person set as a secret is masked
// in every row and in the document, and a masked document keeps its lines and stays JSON.
void TestViewRules::recordedDetails_data()
{
    QTest::addColumn<QString>("fixture");
    QTest::addColumn<QString>("history");
    QTest::addColumn<int>("hidden");
    for (const char *plain : {"d-created.json", "d-exited.json", "d-oom.json", "d-paused.json", "d-restarting.json", "d-unhealthy.json", "network.json"})
        QTest::newRow(plain) << QString::fromLatin1(plain) << QString() << 0;
    QTest::newRow("API_TOKEN") << "d-running.json" << QString() << 1;
    QTest::newRow("environment, URL, command, check, label") << "d-secrets.json" << QString() << 7;
    QTest::newRow("image") << "image.json" << "history.jsonl" << 0;
    QTest::newRow("image built with a secret argument") << "image-args.json" << "history-args.jsonl" << 3;
    QTest::newRow("volume driver options") << "volume-options.json" << QString() << 1;
}

void TestViewRules::recordedDetails()
{
    QFETCH(QString, fixture);
    QFETCH(QString, history);
    QFETCH(int, hidden);
    const QByteArray json = TestSupport::fixture(QStringLiteral("details/") + fixture).toUtf8();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QString document;
    QList<DetailsText::Section> sections;
    if (fixture.startsWith(QLatin1String("d-"))) {
        const auto d = Docker::parseContainerDetails(json);
        document = d->document, sections = DetailsText::container(*d, now);
    } else if (fixture.startsWith(QLatin1String("image"))) {
        const auto d = Docker::parseImageDetails(json, TestSupport::fixture(QStringLiteral("details/") + history).toUtf8());
        document = d->document, sections = DetailsText::image(*d, {}, now);
    } else if (fixture.startsWith(QLatin1String("volume"))) {
        const auto d = Docker::parseVolumeDetails(json);
        document = d->document, sections = DetailsText::volume(*d, now);
    } else {
        const auto d = Docker::parseNetworkDetails(json);
        document = d->document, sections = DetailsText::network(d->network, now);
    }
    const QString masked = Secrets::document(document);
    QCOMPARE(masked.count(QString::fromUtf16(Secrets::mask)), hidden);
    QCOMPARE(masked.count(u'\n'), document.count(u'\n'));
    QVERIFY(!QJsonDocument::fromJson(masked.toUtf8()).isNull());
    bool anyRow = false;
    for (const auto &section : sections) {
        for (const auto &row : section.rows) {
            anyRow = anyRow || !row.masked.isEmpty();
            QVERIFY2(!(row.masked.isEmpty() ? row.value : row.masked).contains(QLatin1String("s3cret")), qPrintable(row.label));
        }
    }
    QCOMPARE(anyRow, hidden > 0);
}

void TestViewRules::terminalPicksTheFirstEmulatorFound()
{
    const auto onPath = [](const QStringList &names) {
        return [names](const QString &name) { return names.contains(name) ? QStringLiteral("/bin/") + name : QString(); };
    };
    QProcessEnvironment env;
    // $TERMINAL wins over the list; gnome-terminal takes its command after "--".
    env.insert(QStringLiteral("TERMINAL"), QStringLiteral("gnome-terminal"));
    const ShellCommand shell = CliEngine().shell(QStringLiteral("c"), std::nullopt);
    auto l = Terminal::launch(shell, env, onPath({"xterm", "gnome-terminal"}));
    QCOMPARE(l->program, QStringLiteral("/bin/gnome-terminal"));
    QCOMPARE(l->arguments.first(), QStringLiteral("--"));
    // A $TERMINAL that is not installed falls back to the list, in its order.
    env.insert(QStringLiteral("TERMINAL"), QStringLiteral("wezterm"));
    l = Terminal::launch(shell, env, onPath({"xterm", "konsole"}));
    QCOMPARE(l->program, QStringLiteral("/bin/konsole"));
    QVERIFY(!Terminal::launch(shell, env, onPath({})));
}

void TestViewRules::toolRow_data()
{
    QTest::addColumn<QString>("installed");
    QTest::addColumn<QString>("latest");
    QTest::addColumn<bool>("brew");
    QTest::addColumn<QString>("badge");
    QTest::addColumn<QString>("action");

    QTest::newRow("missing") << "" << "1.2.0" << false << "not installed" << "install";
    QTest::newRow("missing, never checked") << "" << "" << false << "not installed" << "install";
    QTest::newRow("not checked") << "1.0.0" << "" << true << "not checked" << "homepage";
    QTest::newRow("brew update") << "0.5.0" << "0.6.0" << true << "update" << "update";
    QTest::newRow("outside brew, newer release") << "27.3.1" << "28.0.1" << false << "update" << "releaseNotes";
    QTest::newRow("up to date") << "2.30.3" << "2.30.3" << true << "up to date" << "homepage";
    QTest::newRow("newer than latest") << "2.31.0" << "2.30.3" << true << "up to date" << "homepage";
    QTest::newRow("numeric, not text, order") << "1.9.0" << "1.10.0" << true << "update" << "update";
}

void TestViewRules::toolRow()
{
    QFETCH(QString, installed);
    QFETCH(QString, latest);
    QFETCH(bool, brew);
    QFETCH(QString, badge);
    QFETCH(QString, action);

    Tool t;
    t.formula = QStringLiteral("container");
    if (!installed.isEmpty())
        t.installed = installed;
    if (!latest.isEmpty())
        t.latest = latest;
    t.brewManaged = brew;
    QCOMPARE(ToolRules::badge(t).text, badge);
    static const QMap<QString, ToolRules::Action::Kind> kinds{{"install", ToolRules::Action::Kind::Install},
        {"update", ToolRules::Action::Kind::Update}, {"releaseNotes", ToolRules::Action::Kind::ReleaseNotes},
        {"homepage", ToolRules::Action::Kind::Homepage}};
    QCOMPARE(ToolRules::action(t).kind, kinds.value(action));
    QCOMPARE(ToolRules::job(t).has_value(), action == "install" || action == "update");
    if (action == QLatin1String("releaseNotes"))
        QCOMPARE(ToolRules::action(t).help, QStringLiteral("Installed outside Homebrew — update it where you installed it from"));
    if (action == QLatin1String("install"))
        QCOMPARE(ToolRules::action(t).help, QStringLiteral("Installs with Homebrew, fetches the kernel and starts the services"));
}

void TestViewRules::serviceTexts()
{
    const QLocale c(QLocale::English, QLocale::UnitedKingdom);
    QCOMPARE(ToolRules::statusLine({}, std::nullopt, c), QStringLiteral("SERVICES STOPPED · NOT CHECKED"));
    const QDateTime at = QDateTime(QDate(2026, 11, 22), QTime(14, 5)).toUTC();
    QCOMPARE(ToolRules::statusLine({true, QStringLiteral("1.4.1"), QStringLiteral("1.4.1")}, at, c),
             QStringLiteral("SERVICES RUNNING · SERVER 1.4.1 · CHECKED 14:05"));
    QCOMPARE(ToolRules::statusLine({false, QStringLiteral("1.4.1"), std::nullopt}, at, c), QStringLiteral("SERVICES STOPPED · CHECKED 14:05"));
    QCOMPARE(ToolRules::restartText({true, QStringLiteral("0.6.0"), QStringLiteral("0.5.0")}),
             QStringLiteral("Client is 0.6.0, the running server is still 0.5.0. Restarting stops running containers."));
    QCOMPARE(ToolRules::restartText({true, std::nullopt, QStringLiteral("0.5.0")}),
             QStringLiteral("Client is ?, the running server is still 0.5.0. Restarting stops running containers."));
}

QTEST_GUILESS_MAIN(TestViewRules)
void TestViewRules::staleLine_data()
{
    QTest::addColumn<qint64>("waited");
    QTest::addColumn<QDateTime>("listedAt");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("expected");
    const QDateTime at(QDate(2026, 11, 22), QTime(14, 5, 31));
    QTest::newRow("seconds") << qint64(12) << at << "C" << "Engine has not answered for 12 s — showing what it listed at 14:05";
    QTest::newRow("twelve-hour locale") << qint64(10) << at << "en_US" << "Engine has not answered for 10 s — showing what it listed at 2:05 PM";
    QTest::newRow("minutes") << qint64(185) << at << "C" << "Engine has not answered for 3 min — showing what it listed at 14:05";
    QTest::newRow("never listed") << qint64(10) << QDateTime() << "C" << "Engine has not answered for 10 s — nothing listed yet";
}

void TestViewRules::staleLine()
{
    QFETCH(qint64, waited);
    QFETCH(QDateTime, listedAt);
    QFETCH(QString, locale);
    QFETCH(QString, expected);
    const QString line = Shell::staleLine(waited, listedAt, QLocale(locale));
    // Locales differ in the space before AM/PM; what matters is the hour and minutes.
    QCOMPARE(QString(line).replace(QChar(0x202f), u' '), expected);
}

// The recorded report, with the totals the engine gives only without -v.
void TestViewRules::diskTexts()
{
    DiskUsage usage = Docker::parseDiskUsage(TestSupport::fixture("disk/df.json").toUtf8());
    Docker::parseDiskTotals(R"J({"Active":"1","Reclaimable":"5.9MB (74%)","Size":"7.9MB","TotalCount":"4","Type":"Images"}
{"Active":"1","Reclaimable":"2.1MB (100%)","Size":"2.1MB","TotalCount":"4","Type":"Containers"}
not json
{"Active":"2","Reclaimable":"0B","Size":"1.5kB","TotalCount":"3","Type":"Local Volumes"})J",
                            usage);
    QCOMPARE(usage.imagesTotal, (DiskUsage::Total{4, 1, 7'900'000, 5'900'000}));
    QCOMPARE(usage.cacheTotal, DiskUsage::Total{});
    QCOMPARE(usage.bytes(), -1);   // the build cache's total is missing

    QStringList tiles;
    for (const DiskText::Tile &t : DiskText::tiles(usage))
        tiles << t.title + " | " + t.total + " | " + t.detail + " | " + t.reclaimable;
    QCOMPARE(tiles, (QStringList{"Images | 8 MB | 4 images · 6 bytes their own · 8 MB shared | 6 MB no container uses",
                                 "Containers | 2 MB | 4 writable layers · 1 running | 2 MB in stopped ones",
                                 "Volumes | 2 kB | 4 volumes · 1 mounted | 0 bytes nothing mounts",
                                 "Build cache | 0 bytes | 0 records · 0 in use | "}));

    QStringList rows;
    for (const DiskText::Row &r : DiskText::rows(usage))
        rows << r.name + " | " + DiskText::size(r.bytes) + " | " + r.use;
    QCOMPARE(rows, (QStringList{"d-stopped | 2 MB | Stopped", "disk/unused:1 | 2 MB | No container uses it", "disk/dangle:1 | 2 MB | No container uses it",
                                "Untagged 93a034b43d4e | 2 MB | Dangling: no name, no container", "disk/keep:1 | 2 MB | Used by d-keeper and 3 more",
                                "d-keeper | 0 bytes | Stopped", "d-run | 0 bytes | Running", "dk-app-1 | 0 bytes | Stopped · project dk",
                                "cp1_data | 0 bytes | Nothing mounts it", "Anonymous 80bf7c284d6c | 0 bytes | Mounted by d-run",
                                "disk-named | 0 bytes | Nothing mounts it", "Anonymous 75760b5937da | 0 bytes | Nothing mounts it"}));
    QCOMPARE(DiskText::readAt(QDateTime(QDate(2026, 11, 25), QTime(14, 5, 31)), QLocale::c()), "Read at 14:05");
    QCOMPARE(DiskText::freed(std::nullopt), "The engine did not say how much was freed.");
    QCOMPARE(DiskText::freed(0), "Freed nothing the engine counts.");
}

#include "tst_viewrules.moc"
