#include "selftest.h"
#include "settings.h"

#include "fonts.h"

#include "containerrules.h"
#include "docker.h"
#include "runtimeselection.h"
#include "dumpreport.h"
#include "projectregistry.h"
#include "teardownplan.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <functional>

namespace {

using Labels_ = QMap<QString, QString>;

Container sample(const QString &name, const QString &state, const Labels_ &labels = {})
{
    return {name + QStringLiteral("-id"), name, QStringLiteral("busybox"), state, QString(), QString(), labels};
}

Labels_ compose(const QString &project, const QString &dir, const QString &service)
{
    Labels_ labels{{Labels::project, project}, {Labels::service, service}};
    if (!dir.isEmpty())
        labels.insert(Labels::workingDir, dir);
    return labels;
}

QStringList names(const QList<Container> &list)
{
    QStringList out;
    for (const auto &c : list)
        out << c.name;
    return out;
}

struct Check {
    const char *name;
    std::function<bool()> holds;
};

QList<Check> checks(const QString &scratch)
{
    const QString storefrontLabels = QStringLiteral(
        "com.docker.compose.config-hash=5c4eee,com.docker.compose.container-number=1,"
        "com.docker.compose.project.config_files=/srv/storefront/docker-compose.yml,"
        "com.docker.compose.project.working_dir=/srv/storefront,com.docker.compose.project=storefront,"
        "com.docker.compose.service=php");
    const QString withCompose = scratch + QStringLiteral("/with-compose");
    const QString warning = QStringLiteral("time=\"x\" level=warning msg=\"The \\\"%1\\\" variable is not set. Defaulting to a blank string.\"\n");

    return {
        {"labels: compose project, service and directory", [=] {
             const auto l = Docker::parseLabels(storefrontLabels);
             return l.size() == 6 && l.value(Labels::project) == "storefront" && l.value(Labels::service) == "php"
                 && l.value(Labels::workingDir) == "/srv/storefront";
         }},
        {"labels: a value holding commas", [] {
             const auto l = Docker::parseLabels("com.docker.compose.project.config_files=/a/x.yml,/a/y.yml,com.docker.compose.project=p");
             return l.size() == 2 && l.value("com.docker.compose.project.config_files") == "/a/x.yml,/a/y.yml";
         }},
        {"labels: hyphenated working-dir, underscore wins", [] {
             Container c = sample("c", "running", {{Labels::workingDirHyphen, "/h"}});
             const bool hyphen = c.workingDir() == "/h";
             c.labels.insert(Labels::workingDir, "/u");
             return hyphen && c.workingDir() == "/u";
         }},
        {"ports: shortened and de-duplicated", [] {
             return Docker::shortPorts("0.0.0.0:8000->80/tcp") == "8000:80"
                 && Docker::shortPorts("0.0.0.0:80->80/tcp, [::]:80->80/tcp") == "80:80"
                 && Docker::shortPorts("0.0.0.0:80->80/tcp, 0.0.0.0:443->443/tcp") == "80:80, 443:443"
                 && Docker::shortPorts("0.0.0.0:53->53/udp") == "53:53" && Docker::shortPorts("80/tcp").isEmpty();
         }},
        {"containers: action label and failed exit", [] {
             Container exited = sample("e", "exited");
             exited.status = "Exited (1) 3 hours ago";
             Container clean = sample("c", "exited");
             clean.status = "Exited (0) 6 days ago";
             const auto label = [](const Container &c) { return ContainerRules::label(ContainerRules::primary(c)); };
             return label(sample("r", "running")) == "Stop" && label(sample("p", "paused")) == "Resume"
                 && label(clean) == "Start" && exited.hasFailed() && !clean.hasFailed() && !sample("r", "running").hasFailed();
         }},
        {"listing: malformed, array and empty-object lines", [] {
             const auto list = Docker::parseContainers("nope\n[1]\n{}\n");
             return list.size() == 1 && list.first() == Container{};
         }},
        {"grouping: projects, loose containers, running count", [] {
             const QList<Container> input{sample("storefront-php-1", "running", compose("storefront", "/s", "php")),
                                          sample("web-1", "exited", compose("web", "/w", "web")), sample("loose", "running")};
             const auto projects = Docker::group(input);
             return projects.size() == 2 && projects[0].name == "storefront" && projects[0].runningCount() == 1
                 && names(Docker::ungrouped(input)) == QStringList{"loose"};
         }},
        {"grouping: stable code-point order", [] {
             const auto projects = Docker::group({sample("web-2", "running", compose("b", "", "web")), sample("web-1", "running", compose("b", "", "web")),
                                                  sample("x", "running", compose("a", "", "x")), sample("y", "running", compose("B", "", "y"))});
             return projects.size() == 3 && projects[0].name == "B" && projects[1].name == "a"
                 && names(projects[2].containers) == QStringList{"web-1", "web-2"};
         }},
        {"compose: one missing variable", [=] {
             return Docker::composeWarningSummary(warning.arg("ONLY"))
                 == "ONLY has no value; compose substituted an empty string. Check the .env beside the compose file.";
         }},
        {"compose: several missing variables", [=] {
             return Docker::composeWarningSummary(warning.arg("DB_ROOT_PASSWORD") + warning.arg("DB_PASSWORD"))
                 == "2 variables have no value: DB_ROOT_PASSWORD, DB_PASSWORD. compose substituted empty strings. Check the .env beside the compose file.";
         }},
        {"compose: messages unescaped, plain lines kept", [=] {
             return Docker::composeMessages(warning.arg("X") + "validating x: bad\n")
                 == QStringList{"The \"X\" variable is not set. Defaulting to a blank string.", "validating x: bad"};
         }},
        {"compose: file lookup order and missing-file message", [=] {
             return Docker::composeFile(withCompose) == "compose.yaml"
                 && !Docker::composeFile("/nope/missing") && Docker::missingComposeFileMessage("/nope/missing")
                 == "No compose file in /nope/missing — looked for compose.yaml, compose.yml, docker-compose.yaml, docker-compose.yml.";
         }},
        {"runtimes: preferred runtime rules", [] {
             const auto def = Runtime::context("default");
             const auto apple = Runtime::socket("apple-container", "/s");
             const QList<RuntimeEntry> upUp{{def, "", true}, {apple, "unix:///s", true}};
             const QList<RuntimeEntry> downUp{{def, "unix:///d", false}, {apple, "unix:///s", true}};
             const QList<RuntimeEntry> down{{def, "unix:///d", false}};
             return Docker::preferred(upUp, def) == def && Docker::preferred(downUp, def) == apple
                 && Docker::preferred(downUp, Runtime::context("removed")) == apple
                 && Docker::preferred(down, Runtime::context("removed")) == Runtime::context("removed")
                 && Docker::preferred(down, std::nullopt) == def && !Docker::preferred({}, std::nullopt);
         }},
        {"runtimes: hand-over candidates and offline label", [] {
             const auto def = Runtime::context("default");
             const auto apple = Runtime::socket("apple", "/s");
             const QList<RuntimeEntry> rows{{apple, "unix:///s", false}, {def, "", true}};
             const QList<Runtime> toDefault{def};
             return Docker::handoverCandidates(apple, rows) == toDefault && Docker::handoverCandidates(def, rows).isEmpty()
                 && Docker::handoverCandidates(std::nullopt, rows).isEmpty() && Docker::handoverCandidates(Runtime::context("gone"), rows) == toDefault
                 && Docker::handoverCandidates(apple, rows.mid(0, 1)).isEmpty()
                 && RuntimeSelection::label(RuntimeEntry{def, "unix:///nope", false}) == "default · offline";
         }},
        {"registry: per-runtime isolation and forget", [] {
             ProjectRegistry r;
             r.record({{"storefront", "/tmp", {sample("php", "running", compose("storefront", "/tmp", "php"))}, 0}}, QStringLiteral("apple-container"), {});
             const bool isolated = r.knows("storefront", QStringLiteral("apple-container")) && !r.knows("storefront", QStringLiteral("default"));
             r.forget("storefront", QStringLiteral("apple-container"));
             return isolated && !r.knows("storefront", QStringLiteral("apple-container")) && !r.knows("storefront", std::nullopt);
         }},
        {"registry: known project survives its containers", [] {
             ProjectRegistry r;
             r.record({{"storefront", "/tmp", {sample("a", "running", compose("storefront", "/tmp", "php")),
                                               sample("b", "running", compose("storefront", "/tmp", "db"))}, 0}}, QStringLiteral("default"), {});
             const auto merged = ProjectRegistry::merge({}, r.projects(QStringLiteral("default")), {});
             return merged.size() == 1 && merged[0].serviceCount == 2 && merged[0].workingDir == "/tmp" && merged[0].containers.isEmpty()
                 && r.projects(QStringLiteral("default"))[0].services == QStringList{"db", "php"};
         }},
        {"registry: relocated directory kept", [=] {
             ProjectRegistry r;
             r.add({"shop", withCompose, {"web"}}, QStringLiteral("default"));
             const DirectoryMap dirs = ProjectDirectory::lookAt(QStringList{withCompose, QStringLiteral("/nope/old")});
             r.record({{"shop", "/nope/old", {sample("w", "running", compose("shop", "/nope/old", "web"))}, 0}}, QStringLiteral("default"), dirs);
             const auto merged = ProjectRegistry::merge({{"shop", "/nope/old", {}, 0}}, r.projects(QStringLiteral("default")), dirs);
             return r.projects(QStringLiteral("default"))[0].workingDir == withCompose && merged[0].workingDir == withCompose;
         }},
        {"registry: merge order", [] {
             const auto merged = ProjectRegistry::merge({{"middle", std::nullopt, {}, 0}}, {{"zebra", "/z", {}}, {"alpha", "/a", {}}}, {});
             return merged.size() == 3 && merged[0].name == "alpha" && merged[1].name == "middle" && merged[2].name == "zebra";
         }},
        {"registry: settings round trip, unreadable bytes kept", [=] {
             QSettings settings(scratch + "/settings.ini", QSettings::IniFormat);
             ProjectRegistry r;
             r.add({"shop", "/srv/shop", {"db", "web"}}, QStringLiteral("default"));
             r.save(settings);
             const bool roundTrip = ProjectRegistry::load(settings) == r;
             Settings::knownProjects.write(settings, QByteArray("not json"));
             const bool empty = ProjectRegistry::load(settings).byRuntime.isEmpty();
             return roundTrip && empty && Settings::unreadableProjects.read(settings) == "not json";
         }},
        {"teardown: mounts parsed", [] {
             const auto m = Docker::parseMounts("/website-frontend-1|website-frontend-1_data,\n/storefront-php-1|\n");
             return m.size() == 2 && m.value("website-frontend-1") == QStringList{"website-frontend-1_data"}
                 && m.contains("storefront-php-1") && m.value("storefront-php-1").isEmpty();
         }},
        {"teardown: shared and external volumes kept, own volume removed", [] {
             const ComposeProject app{"app", "/nope/gone", {sample("app-db-1", "running")}, 1};
             const QList<Container> all{sample("app-db-1", "running"), sample("other-api-1", "running"), sample("portainer", "running")};
             const MountMap mounts{{"app-db-1", {"shared", "own", "ext"}}, {"other-api-1", {"shared"}}, {"portainer", {"shared"}}};
             const VolumeOwnership ownership{{"declared"}, {"ext"}, {{"own", {{Labels::project, "app"}}}}};
             const auto plan = Teardown::plan(app, all, mounts, ownership, {{"own", "113 MB"}});
             return plan.kept().size() == 2 && plan.kept()[0].keptBecause() == "external"
                 && plan.kept()[1].usedBy == QStringList{"other-api-1", "portainer"}
                 && plan.removable().size() == 2 && plan.removable()[0].name == "declared" && plan.removable()[1].size == "113 MB"
                 && !plan.workingDir;
         }},
    };
}

} // namespace

void runSelfTest(const Engine &engine, QTextStream &out)
{
    QTemporaryDir scratch;
    QDir(scratch.path()).mkpath("with-compose");
    QFile file(scratch.filePath("with-compose/compose.yaml"));
    if (file.open(QIODevice::WriteOnly))
        file.write("services: {}\n");
    file.close();

    int passed = 0, failed = 0;
    for (const auto &check : checks(scratch.path())) {
        const bool ok = check.holds();
        (ok ? passed : failed)++;
        out << (ok ? "ok    " : "FAIL  ") << check.name << '\n';
    }
    out << passed << " passed, " << failed << " failed\n";

    out << "\nenvironment\n";
    // Counted, not registered: the headless modes make no GUI object.
    const QString fonts = Fonts::resourceDirectory() + QStringLiteral("/Fonts");
    const qsizetype faces = QDir(fonts).entryList({QStringLiteral("*.ttf"), QStringLiteral("*.ttc")}, QDir::Files).size();
    out << "fonts: " << faces << " in " << fonts << '\n';
    const ToolVersion client = engine.clientVersion();
    if (!client.version) {
        out << "docker client: not found" << (client.problem.isEmpty() ? QString() : " (" + client.problem + ")") << '\n';
    } else {
        const int major = client.version->section(u'.', 0, 0).toInt();
        out << "docker client: " << *client.version << (major >= 23 ? "  (json output: yes)" : "  (json output: no, needs 23 or newer)") << '\n';
    }
    out << "compose plugin: " << engine.composeVersion().version.value_or(QStringLiteral("not found")) << '\n';
    try {
        const auto runtimes = engine.runtimes();
        for (const auto &entry : runtimes.list)
            out << runtimeLine(entry, runtimes.current) << '\n';
        if (runtimes.list.isEmpty())
            out << "runtime: none\n";
    } catch (const DockerError &e) {
        out << "runtimes: cannot list (" << e.message() << ")\n";
    }
}
