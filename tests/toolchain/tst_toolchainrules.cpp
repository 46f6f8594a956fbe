#include "hostengine.h"
#include "testsupport.h"
#include "toolchain.h"
#include "tooljob.h"

#include <QTest>

using Versions = QMap<QString, QString>;
Q_DECLARE_METATYPE(ServiceUnit)

class ToolchainRules : public QObject {
    Q_OBJECT
private slots:
    // The package database as dpkg-query and apt-cache print it, and the daemons' own
    // versions where no package owns them: what the settings say of each engine.
    void hostEngines_data()
    {
        QTest::addColumn<QString>("dpkg");
        QTest::addColumn<QString>("apt");
        QTest::addColumn<Versions>("binaries");
        QTest::addColumn<QStringList>("lines");
        const QString docker = "docker.io\t20.10.24+dfsg1-1+deb12u1+b6\tinstalled\n";
        QTest::newRow("captured: the distribution's, podman removed") << TestSupport::fixture("dpkg-query.txt") << TestSupport::fixture("apt-policy.txt")
                                                                      << Versions{{"podman", "4.9.3"}}
                                                                      << QStringList{"Docker 20.10.24+dfsg1-1+deb12u1+b6 · docker.io · up to date",
                                                                                     "Podman 4.9.3 · not from a package"};
        QTest::newRow("the vendor's wins, a newer one offered")
            << "docker-ce\t5:27.3.1-1~debian.12~bookworm\tinstalled\n" + docker
            << "docker-ce:\n  Installed: 5:27.3.1-1~debian.12~bookworm\n  Candidate: 5:27.5.0-1~debian.12~bookworm\n" << Versions{{"dockerd", "28.2.2"}}
            << QStringList{"Docker 5:27.3.1-1~debian.12~bookworm · docker-ce · 5:27.5.0-1~debian.12~bookworm offered"};
        QTest::newRow("no candidate known") << docker << "docker.io:\n  Installed: (none)\n  Candidate: (none)\n" << Versions{}
                                            << QStringList{"Docker 20.10.24+dfsg1-1+deb12u1+b6 · docker.io"};
        QTest::newRow("nothing here") << "" << "" << Versions{{"docker", "28.2.2"}} << QStringList{};
    }
    void hostEngines()
    {
        QFETCH(QString, dpkg);
        QFETCH(QString, apt);
        QFETCH(Versions, binaries);
        QStringList lines;
        for (const auto &engine : HostEngines::assemble(HostEngines::parsePackages(dpkg), HostEngines::parseCandidates(apt), binaries))
            lines << engine.name + " " + HostEngines::versionLine(engine);
        QTEST(lines, "lines");
    }

    void serviceUnits_data()
    {
        QTest::addColumn<ServiceUnit>("unit");
        QTest::addColumn<int>("verb");
        QTest::addColumn<QString>("line");
        using Scope = ServiceUnit::Scope;
        using Verb = HostEngines::Verb;
        QTest::newRow("running") << ServiceUnit{Scope::System, "docker.service", "loaded", "active", "running"} << int(Verb::Restart)
                                 << "docker.service · active (running)";
        QTest::newRow("failed") << ServiceUnit{Scope::System, "docker.service", "loaded", "failed", "failed"} << int(Verb::Start)
                                << "docker.service · failed (failed)";
        QTest::newRow("the user's, stopped") << ServiceUnit{Scope::User, "podman.socket", "loaded", "inactive", "dead"} << int(Verb::Start)
                                             << "podman.socket (user) · inactive (dead)";
        QTest::newRow("on its way") << ServiceUnit{Scope::System, "docker.service", "loaded", "activating", "start"} << int(Verb::None)
                                    << "docker.service · activating (start)";
        QTest::newRow("not installed") << ServiceUnit{Scope::System, "docker.service", "not-found", "inactive", "dead"} << int(Verb::None)
                                       << "docker.service · inactive (dead)";
    }
    void serviceUnits()
    {
        QFETCH(ServiceUnit, unit);
        QFETCH(int, verb);
        QCOMPARE(int(HostEngines::verb(unit)), verb);
        QTEST(HostEngines::unitLine(unit), "line");
    }

    void firstVersion_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("version");   // null: none
        QTest::newRow("container") << "container CLI version 1.4.1 (build: release, commit: unspeci)" << "1.4.1";
        QTest::newRow("socktainer") << "socktainer: 1.2.1 (git commit: unspecified)" << "1.2.1";
        QTest::newRow("docker") << "Docker version 29.8.1, build 6d6f47b" << "29.8.1";
        QTest::newRow("no numbers") << "no numbers here" << QString();
        QTest::newRow("trailing sentence dot") << "v2.0. released" << "2.0";
        QTest::newRow("leading dot token skipped") << ".5 then 6.1" << "6.1";
        QTest::newRow("compose plugin suffix") << "Docker Compose version 2.26.1-4" << "2.26.1";
    }
    void firstVersion()
    {
        QFETCH(QString, text);
        QFETCH(QString, version);
        QCOMPARE(Toolchain::firstVersion(text), version.isNull() ? std::nullopt : std::optional(version));
    }

    void isOlder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<bool>("older");
        QTest::newRow("minor") << "1.4.1" << "1.5.0" << true;
        QTest::newRow("numeric not textual") << "1.9.0" << "1.10.0" << true;
        QTest::newRow("newer") << "1.5.0" << "1.4.1" << false;
        QTest::newRow("trailing zero equal") << "1.4.1" << "1.4.1.0" << false;
        QTest::newRow("revision suffix newer") << "9.7.1" << "9.7.1_1" << true;
        QTest::newRow("letters count as zero") << "1.0.rc1" << "1.0.1" << true;
        QTest::newRow("overflow counts as zero") << "1.99999999999999999999" << "1.1" << true;
    }
    void isOlder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QTEST(Toolchain::isOlder(a, b), "older");
    }

    void newest()
    {
        QCOMPARE(Toolchain::newest({"1.2.0", "1.10.0", "1.9.9"}), "1.10.0");
        QCOMPARE(Toolchain::newest({"1.0", "1.0.0", "0.9"}), "1.0");   // first of equals wins
        QCOMPARE(Toolchain::newest({}), std::nullopt);
    }

    void parseBrewList()
    {
        QCOMPARE(Toolchain::parseBrewList("container 1.4.1\nca-certificates 2026-05-14 2026-08-13\n"),
                 (Versions{{"container", "1.4.1"}, {"ca-certificates", "2026-08-13"}}));
        QCOMPARE(Toolchain::parseBrewList("lonely\n\ndocker 27.0  28.1\ndocker 29.0\n"), (Versions{{"docker", "29.0"}}));
    }

    void parseBrewInfo_data()
    {
        QTest::addColumn<QString>("json");
        QTest::addColumn<Versions>("expected");
        QTest::newRow("revision") << R"({"formulae":[{"name":"container","revision":0,"versions":{"stable":"1.4.1"}},{"name":"socktainer","revision":2,"versions":{"stable":"1.2.1"}}],"casks":[]})"
                                  << Versions{{"container", "1.4.1"}, {"socktainer", "1.2.1_2"}};
        QTest::newRow("not json") << "not json" << Versions{};
        QTest::newRow("no formulae") << R"({"casks":[]})" << Versions{};
        QTest::newRow("incomplete elements skipped") << R"({"formulae":[{"name":"a"},{"versions":{"stable":"1"}},{"name":"b","versions":{"stable":null}},{"name":"c","versions":{"stable":"2.0"},"revision":"3"},7]})"
                                                     << Versions{{"c", "2.0"}};
    }
    void parseBrewInfo()
    {
        QFETCH(QString, json);
        QTEST(Toolchain::parseBrewInfo(json), "expected");
    }

    void parseStatus_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<SystemStatus>("status");
        QTest::addColumn<bool>("restart");
        QTest::newRow("table, versions differ")
            << "FIELD               VALUE\nstatus              running\nclient.version      1.5.0\nhost.architecture   arm64\nserver.version      1.4.1"
            << SystemStatus{true, "1.5.0", "1.4.1"} << true;
        QTest::newRow("plain lines, equal") << "status  running\nclient.version  1.4.1\nserver.version  1.4.1" << SystemStatus{true, "1.4.1", "1.4.1"} << false;
        QTest::newRow("stopped") << "status  stopped" << SystemStatus{} << false;
        QTest::newRow("stopped with versions") << "status  stopped\nclient.version 1.5.0\nserver.version 1.4.1" << SystemStatus{false, "1.5.0", "1.4.1"} << false;
        QTest::newRow("cannot connect") << "cannot connect to service" << SystemStatus{} << false;
        QTest::newRow("upper-case status") << "status RUNNING" << SystemStatus{true, std::nullopt, std::nullopt} << false;
    }
    void parseStatus()
    {
        QFETCH(QString, text);
        QFETCH(SystemStatus, status);
        const auto parsed = Toolchain::parseStatus(text);
        QCOMPARE(parsed.running, status.running);
        QCOMPARE(parsed.serverVersion, status.serverVersion);
        QCOMPARE(parsed.clientVersion, status.clientVersion);
        QTEST(parsed.restartNeeded(), "restart");
    }

    void scriptsWhole()
    {
        QCOMPARE(Toolchain::installScript({"container", "socktainer"}),
                 "brew install container socktainer || exit $?\n"
                 "container system start --enable-kernel-install || exit $?\n"
                 "if brew list --formula socktainer >/dev/null 2>&1; then\n"
                 "    brew services start socktainer\n"
                 "fi");
        QCOMPARE(Toolchain::installScript({"docker"}), "brew install docker || exit $?\n");
        QCOMPARE(Toolchain::installScript({"docker-compose"}),
                 "brew install docker-compose || exit $?\n"
                 "mkdir -p \"$HOME/.docker/cli-plugins\" || exit $?\n"
                 "ln -sfn \"$(brew --prefix)/lib/docker/cli-plugins/docker-compose\"     \"$HOME/.docker/cli-plugins/docker-compose\" || exit $?\n");
        QCOMPARE(Toolchain::installScript({"docker-compose", "container"}),
                 "brew install docker-compose container || exit $?\n"
                 "mkdir -p \"$HOME/.docker/cli-plugins\" || exit $?\n"
                 "ln -sfn \"$(brew --prefix)/lib/docker/cli-plugins/docker-compose\"     \"$HOME/.docker/cli-plugins/docker-compose\" || exit $?\n"
                 "container system start --enable-kernel-install || exit $?\n"
                 "if brew list --formula socktainer >/dev/null 2>&1; then\n"
                 "    brew services start socktainer\n"
                 "fi");
        QCOMPARE(ToolJob::start().script(),
                 "container system start --enable-kernel-install || exit $?\n"
                 "if brew list --formula socktainer >/dev/null 2>&1; then\n"
                 "    brew services start socktainer\n"
                 "fi");
        QCOMPARE(ToolJob::restart().script(),
                 "container system stop\n"
                 "container system start --enable-kernel-install || exit $?\n"
                 "if brew list --formula socktainer >/dev/null 2>&1; then\n"
                 "    brew services restart socktainer\n"
                 "fi");
    }

    void jobs_data()
    {
        QTest::addColumn<ToolJob>("job");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("banner");
        QTest::newRow("upgrade one") << ToolJob::upgrade({"container"}) << "upgrade:container" << "Updating container" << "$ brew upgrade container";
        QTest::newRow("upgrade two") << ToolJob::upgrade({"container", "socktainer"}) << "upgrade:container,socktainer"
                                     << "Updating container, socktainer" << "$ brew upgrade container socktainer";
        QTest::newRow("install docker") << ToolJob::install({"docker"}) << "install:docker" << "Installing docker" << "brew install docker || exit $?\n";
        QTest::newRow("start") << ToolJob::start() << "start" << "Starting the runtime" << ToolJob::start().script();
        QTest::newRow("restart") << ToolJob::restart() << "restart" << "Restarting the runtime" << ToolJob::restart().script();
    }
    void jobs()
    {
        QFETCH(ToolJob, job);
        QTEST(job.id(), "id");
        QTEST(job.title(), "title");
        QTEST(job.banner(), "banner");
    }
};

QTEST_GUILESS_MAIN(ToolchainRules)
#include "tst_toolchainrules.moc"
