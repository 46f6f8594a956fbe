#include "dockerconfig.h"
#include "imagereference.h"
#include "meteredconnection.h"
#include "newerimages.h"
#include "registryclient.h"
#include "tagcheck.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString dA = QStringLiteral("sha256:") + QString(64, u'a');
const QString dB = QStringLiteral("sha256:") + QString(64, u'b');
const QDateTime now = QDateTime(QDate(2026, 11, 26), QTime(12, 0), Qt::UTC);

using Kind = RegistryAnswer::Kind;
using State = ImageFreshness::State;
}

Q_DECLARE_METATYPE(std::optional<TagCheck>)

// NetworkManager's one property the check reads, on the test's own session bus.
class NetworkManagerStandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.NetworkManager")
    Q_PROPERTY(uint Metered MEMBER metered)

public:
    uint metered = 0;
};

class Updates : public QObject {
    Q_OBJECT

private slots:
    // Reference text as the client reads it, and what each part becomes; "-" for text the
    // client refuses.
    void references_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("canonical");
        QTest::addColumn<QString>("familiar");
        QTest::addColumn<QString>("apiHost");
        QTest::addColumn<QString>("credentialKey");
        const QString hubKey = QStringLiteral("https://index.docker.io/v1/");
        QTest::newRow("short") << "nginx" << "docker.io/library/nginx:latest" << "nginx:latest" << "registry-1.docker.io" << hubKey;
        QTest::newRow("user repo") << "acme/app:1.2" << "docker.io/acme/app:1.2" << "acme/app:1.2" << "registry-1.docker.io" << hubKey;
        QTest::newRow("old index") << "index.docker.io/library/redis:7" << "docker.io/library/redis:7" << "redis:7" << "registry-1.docker.io" << hubKey;
        QTest::newRow("port, not tag") << "127.0.0.1:5000/team/app" << "127.0.0.1:5000/team/app:latest" << "127.0.0.1:5000/team/app:latest"
                                       << "127.0.0.1:5000" << "127.0.0.1:5000";
        QTest::newRow("pinned") << "ghcr.io/acme/app@" + dA << "ghcr.io/acme/app@" + dA << "ghcr.io/acme/app@" + dA << "ghcr.io" << "ghcr.io";
        QTest::newRow("tag and digest") << "nginx:1@" + dB << "docker.io/library/nginx:1@" + dB << "nginx:1@" + dB << "registry-1.docker.io" << hubKey;
        QTest::newRow("upper case") << "Acme/App" << "-" << "" << "" << "";
        QTest::newRow("image id") << QString(64, u'f') << "-" << "" << "" << "";
        QTest::newRow("empty tag") << "app:" << "-" << "" << "" << "";
        QTest::newRow("short digest") << "app@sha256:abc" << "-" << "" << "" << "";
    }
    void references()
    {
        QFETCH(QString, text);
        QFETCH(QString, canonical);
        const auto ref = ImageReference::parse(text);
        if (canonical == QLatin1String("-")) {
            QVERIFY(!ref);
            return;
        }
        QVERIFY(ref);
        QCOMPARE(ref->canonical(), canonical);
        QTEST(ref->familiar(), "familiar");
        QTEST(ref->apiHost(), "apiHost");
        QTEST(ref->credentialKey(), "credentialKey");
        QCOMPARE(ImageReference::parse(ref->canonical()), ref);
    }

    // The sign-in the client would use for a host, and the helper it would ask.
    void signIns()
    {
        const QJsonObject auths{{"https://index.docker.io/v1/", QJsonObject{{"auth", QString::fromLatin1(QByteArray("hub:pa:ss").toBase64())}}},
                                {"http://reg.lan:5000/v2/", QJsonObject{{"username", "u"}, {"password", "p"}}},
                                {"tokens.example", QJsonObject{{"identitytoken", "refresh-me"}}},
                                {"helped.example", QJsonObject{}},
                                {"broken.example", QJsonObject{{"auth", "bm9jb2xvbg=="}}}};
        const QByteArray json = QJsonDocument(QJsonObject{{"auths", auths}, {"credsStore", "desktop"}, {"credHelpers", QJsonObject{{"gcr.io", "gcloud"}}}}).toJson();
        const DockerConfig config = DockerConfig::parse(json);
        QCOMPARE(config.storedFor("docker.io"), std::optional(RegistryCredential{"hub", "pa:ss"}));
        QCOMPARE(config.storedFor("reg.lan:5000"), std::optional(RegistryCredential{"u", "p"}));
        QCOMPARE(config.storedFor("tokens.example"), std::optional(RegistryCredential{{}, "refresh-me", true}));
        QVERIFY(!config.storedFor("helped.example"));
        QVERIFY(!config.storedFor("broken.example"));
        QCOMPARE(config.helperFor("gcr.io"), "gcloud");
        QCOMPARE(config.helperFor("docker.io"), "desktop");
        QCOMPARE(DockerConfig::parse("not json"), DockerConfig{});

        using CredentialHelper::Answer;
        QCOMPARE(CredentialHelper::read(0, "{\"ServerURL\":\"x\",\"Username\":\"me\",\"Secret\":\"s\"}", {}), (Answer{RegistryCredential{"me", "s"}, {}}));
        QCOMPARE(CredentialHelper::read(0, "{\"Username\":\"<token>\",\"Secret\":\"t\"}", {}), (Answer{RegistryCredential{{}, "t", true}, {}}));
        QCOMPARE(CredentialHelper::read(1, "credentials not found in native keychain\n", {}), Answer{});
        QCOMPARE(CredentialHelper::read(1, {}, "gpg: decryption failed\n"), (Answer{std::nullopt, "gpg: decryption failed"}));
        QCOMPARE(CredentialHelper::read(1, "{\"Secret\":\"s\"}", {}), (Answer{std::nullopt, "it exited with status 1"}));
        QCOMPARE(CredentialHelper::get("korvat-missing", "x", std::chrono::seconds(5)).credential, std::nullopt);
        QVERIFY(!CredentialHelper::get("korvat-missing", "x", std::chrono::seconds(5)).problem.isEmpty());
    }

    void challenges()
    {
        const auto bearer = AuthChallenge::parse("Bearer realm=\"https://auth.example/token\",service=\"registry.example\",scope=\"repository:a/b:pull,push\"");
        QVERIFY(bearer);
        QCOMPARE(bearer->scheme, "bearer");
        QCOMPARE(bearer->params.value("realm"), "https://auth.example/token");
        QCOMPARE(bearer->params.value("scope"), "repository:a/b:pull,push");
        QCOMPARE(AuthChallenge::parse("Basic realm=\"Registry\"")->scheme, "basic");
        QVERIFY(!AuthChallenge::parse("Bearer service=x"));
        QVERIFY(!AuthChallenge::parse("Negotiate abc"));

        QCOMPARE(RegistryRules::retryAfter("120", now), now.addSecs(120));
        QCOMPARE(RegistryRules::retryAfter("Thu, 26 Nov 2026 14:00:00 GMT", now), now.addSecs(2 * 3600));
        QCOMPARE(RegistryRules::retryAfter("soon", now), now.addSecs(3600));
        QCOMPARE(RegistryRules::tokenOf("{\"access_token\":\"x\"}"), "x");
    }

    void plainHttp_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("loopback port") << "127.0.0.1:5000" << true;
        QTest::newRow("localhost") << "localhost:5000" << true;
        QTest::newRow("ipv6 loopback") << "[::1]:5000" << true;
        QTest::newRow("named insecure") << "reg.lan:5000" << true;
        QTest::newRow("in an insecure network") << "10.1.2.3:5000" << true;
        QTest::newRow("elsewhere") << "10.9.0.1" << false;
        QTest::newRow("a public one") << "ghcr.io" << false;
    }
    void plainHttp()
    {
        QFETCH(QString, host);
        const QList<InsecureRegistries> insecure{{{"reg.lan:5000"}, {"10.1.0.0/16"}}};
        QTEST(TagCheckRun::plainHttpAllowed(host, insecure), "allowed");
    }

    // An image's state from its tag, where the engine had it from, and what the registry said.
    void judged_data()
    {
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QStringList>("pulled");
        QTest::addColumn<std::optional<TagCheck>>("check");
        QTest::addColumn<State>("state");
        QTest::addColumn<QString>("reason");
        const QStringList pulledA{"nginx@" + dA};
        const QDateTime then = now.addSecs(-3 * 3600);
        const QString at = "at " + then.toLocalTime().toString("HH:mm");
        const TagCheck sawB{dB, then, then};
        QTest::newRow("same") << "nginx" << pulledA << std::optional(TagCheck{dA, then, then}) << State::Current << "Same as on docker.io (checked " + at + ")";
        QTest::newRow("moved on") << "nginx" << pulledA << std::optional(sawB) << State::Newer << "docker.io has a newer nginx:latest (checked " + at + ")";
        QTest::newRow("one of several pulls") << "nginx" << QStringList{"nginx@" + dB, "nginx@" + dA} << std::optional(sawB) << State::Current
                                              << "Same as on docker.io (checked " + at + ")";
        TagCheck offline = sawB;
        offline.last = Kind::Unreachable;
        offline.triedAt = now;
        QTest::newRow("old answer kept") << "nginx" << pulledA << std::optional(offline) << State::Newer
                                         << "docker.io has a newer nginx:latest (checked " + at + "; unreachable since)";
        QTest::newRow("pinned") << "nginx@" + dA << QStringList() << std::optional<TagCheck>() << State::Unknown << "Pinned by digest: it never moves";
        QTest::newRow("built here") << "127.0.0.1:5000/app:1" << pulledA << std::optional<TagCheck>() << State::Unknown
                                    << "Built here: no digest from 127.0.0.1:5000 to compare";
        QTest::newRow("not yet") << "nginx" << pulledA << std::optional<TagCheck>() << State::Unknown << "Not checked yet";
        QTest::newRow("refused") << "nginx" << pulledA << std::optional(TagCheck{{}, {}, now, Kind::Refused, "docker.io refused the sign-in"})
                                 << State::Unknown << "Sign-in refused: docker.io refused the sign-in";
        const QDateTime until = now.addSecs(600);
        QTest::newRow("rate limited") << "nginx" << pulledA << std::optional(TagCheck{{}, {}, now, Kind::RateLimited, "x", until}) << State::Unknown
                                      << "Rate limited by docker.io until " + until.toLocalTime().toString("HH:mm");
        QTest::newRow("tag gone") << "nginx" << pulledA << std::optional(TagCheck{{}, {}, now, Kind::Missing, "docker.io has no tag \"latest\""})
                                  << State::Unknown << "docker.io has no tag \"latest\"";
    }
    void judged()
    {
        QFETCH(QString, tag);
        QFETCH(QStringList, pulled);
        QFETCH(std::optional<TagCheck>, check);
        const ImageFreshness f = NewerImages::judge(*ImageReference::parse(tag), ImageOrigin{"id", {tag}, pulled}, check, now);
        QTEST(f.state, "state");
        QTEST(f.reason, "reason");
        if (f.state != State::Unknown)
            QCOMPARE(f.remote, check->remote);
    }

    // NetworkManager's NMMetered values; without NetworkManager nothing is metered.
    void metered()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY2(bus.isConnected(), "run under dbus-run-session");
        QVERIFY(!QCoro::waitFor(MeteredConnection::inUse(bus)));
        NetworkManagerStandIn nm;
        QVERIFY(bus.registerObject("/org/freedesktop/NetworkManager", &nm, QDBusConnection::ExportAllProperties));
        QVERIFY(bus.registerService("org.freedesktop.NetworkManager"));
        QList<bool> said;
        for (uint value : {0, 1, 2, 3, 4}) {
            nm.metered = value;
            said.append(QCoro::waitFor(MeteredConnection::inUse(bus)));
        }
        QCOMPARE(said, QList<bool>({false, true, false, true, false}));
        bus.unregisterService("org.freedesktop.NetworkManager");
    }

    // What is kept of a tag after each answer, when it is asked next, and how it is stored.
    void ledger()
    {
        using NewerImages::Schedule;
        TagCheck check = NewerImages::recorded(std::nullopt, {Kind::Digest, dA}, now);
        QCOMPARE(check, (TagCheck{dA, now, now}));
        const QDateTime later = now.addSecs(7200);
        check = NewerImages::recorded(check, {Kind::RateLimited, {}, "slow down", later.addSecs(3600 * 10)}, later);
        QCOMPARE(check.remote, dA);
        QCOMPARE(check.readAt, now);
        QCOMPARE(NewerImages::dueAt(check, Schedule::Every6Hours, later), later.addSecs(3600 * 10));
        QCOMPARE(NewerImages::dueAt(check, Schedule::Daily, later), later.addSecs(3600 * 24));
        QVERIFY(!NewerImages::dueAt(check, Schedule::Off, later).isValid());
        QCOMPARE(NewerImages::dueAt(std::nullopt, Schedule::Hourly, later), later);
        QCOMPARE(NewerImages::recorded(check, {Kind::Missing, {}, "gone"}, later).remote, QString());
        QCOMPARE(NewerImages::scheduleNamed(NewerImages::nameOf(Schedule::Hourly)), Schedule::Hourly);
        QCOMPARE(NewerImages::scheduleNamed("weekly"), Schedule::Every6Hours);

        const TagLedger kept{{{"docker.io/library/nginx:latest", check}}, {NewerImages::noticeKey("docker.io/library/nginx:latest", dB)}};
        QCOMPARE(NewerImages::fromJson(NewerImages::toJson(kept)), kept);
        TagLedger stale = kept;
        stale.tags.insert("docker.io/library/gone:1", TagCheck{dA, now.addDays(-40), now.addDays(-40)});
        stale.notified.insert(NewerImages::noticeKey("docker.io/library/gone:1", dB));
        QCOMPARE(NewerImages::pruned(stale, later), kept);
        QCOMPARE(NewerImages::fromJson("{\"schema\": 2}"), TagLedger{});
        QTemporaryDir dir;
        const QString path = dir.filePath("deeper/newer-images.json");
        QVERIFY(NewerImages::writeLedger(path, kept));
        QCOMPARE(NewerImages::readLedger(path), kept);
        QCOMPARE(NewerImages::readLedger(dir.filePath("missing.json")), TagLedger{});
    }
};

QTEST_GUILESS_MAIN(Updates)
#include "tst_updates.moc"
