#include "appstore.h"
#include "cliengine.h"
#include "enginestore.h"
#include "newerimages.h"
#include "registryclient.h"
#include "tagcheck.h"
#include "testsupport.h"
#include "tokenregistry.h"

#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace TestSupport;
using State = ImageFreshness::State;
using Kind = RegistryAnswer::Kind;
Q_DECLARE_METATYPE(State)
Q_DECLARE_METATYPE(Kind)
Q_DECLARE_METATYPE(RegistryCredential)

// Newer images against real registries (an open one and one behind htpasswd) filled by the
// private engine, and a stand-in token service for the bearer flow no public registry can
// show from here.
class UpdatesLive : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    Leftovers m_made;
    LocalRegistry m_open{LocalRegistry::Access::Open};
    LocalRegistry m_guarded{LocalRegistry::Access::SignIn};
    // A tag pushed to the guarded registry once, for the sign-in cases.
    QString m_guardedImage, m_guardedTag, m_guardedDigest;

    // The digest the registry gave the push, from the client's own report of it.
    static QString pushed(const QString &reference)
    {
        const Result r = docker({"push", reference});
        static const QRegularExpression digest(QStringLiteral("digest: (sha256:[0-9a-f]{64})"));
        const auto m = digest.match(r.out);
        if (r.status != 0 || !m.hasMatch())
            qWarning("docker push %s: %s%s", qPrintable(reference), qPrintable(r.out), qPrintable(r.err));
        return m.captured(1);
    }
    // An image of its own id, made from the test image; its id.
    static QString committed(Leftovers &made, const QString &label)
    {
        const QString source = uniqueName("kt-src-");
        if (docker({"create", "--name", source, engineImage(), "true"}).status != 0)
            return {};
        const Result r = docker({"commit", "-c", "LABEL korvat.test=" + label, source, uniqueName("kt-updates-") + ":1"});
        docker({"rm", source});
        const QString id = r.out.trimmed();
        made.images << id;
        return id;
    }
    // How many lines the registry has logged once it has gone quiet: it logs a request only
    // after answering it, so what was asked before is all in the log then.
    static qsizetype quietMark(const LocalRegistry &registry)
    {
        qsizetype before = -1, now = registry.requests().size();
        for (int i = 0; i < 25 && now != before; ++i) {
            QTest::qWait(200);
            before = std::exchange(now, registry.requests().size());
        }
        return now;
    }
    static void expectHeadsOnly(const QStringList &lines, const QString &name, int expected)
    {
        static const QRegularExpression head(QStringLiteral("^HEAD /v2/[a-z0-9/._-]+/manifests/[A-Za-z0-9_.-]+$"));
        for (const QString &line : lines)
            QVERIFY2(head.match(line).hasMatch(), qPrintable(lines.join('\n')));
        QCOMPARE(lines.filter(QStringLiteral("HEAD /v2/%1/manifests/1").arg(name)).size(), expected);
    }
    // Asks with a DOCKER_CONFIG of its own holding config, and a credential helper
    // docker-credential-korvattest on PATH that knows the guarded registry's account.
    void askWithConfig(const ImageReference &tag, std::shared_ptr<TagLedger> ledger, const QByteArray &config)
    {
        QTemporaryDir dir;
        writeFile(dir.filePath("config.json"), config);
        writeExecutable(dir.filePath("bin/docker-credential-korvattest"),
                        QStringLiteral("#!/bin/sh\n[ \"$1\" = get ] || exit 1\nread -r key\n"
                                       "if [ \"$key\" = \"%1\" ]; then printf '{\"ServerURL\":\"%1\",\"Username\":\"%2\",\"Secret\":\"%3\"}'; "
                                       "else echo 'credentials not found in native keychain'; exit 1; fi\n")
                            .arg(m_guarded.host(), LocalRegistry::user(), LocalRegistry::password())
                            .toUtf8());
        const QByteArray dockerConfig = qgetenv("DOCKER_CONFIG"), path = qgetenv("PATH");
        const auto restore = qScopeGuard([&] {
            qputenv("DOCKER_CONFIG", dockerConfig);
            qputenv("PATH", path);
        });
        qputenv("DOCKER_CONFIG", dir.path().toUtf8());
        qputenv("PATH", dir.filePath("bin").toUtf8() + ':' + path);
        QCoro::waitFor(TagCheckRun::ask({tag}, std::move(ledger), &RegistryClient::isLoopback));
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        QVERIFY2(m_open.start(), qPrintable(m_open.why()));
        QVERIFY2(m_guarded.start(), qPrintable(m_guarded.why()));
        // The client's own sign-in, kept in the test DOCKER_CONFIG's auths as a user's would be.
        QCOMPARE(QProcess::execute("sh", {"-c", R"(printf %s "$0" | docker login "$1" -u "$2" --password-stdin)", LocalRegistry::password(),
                                           m_guarded.host(), LocalRegistry::user()}),
                 0);
        m_guardedImage = committed(m_made, "guarded");
        m_guardedTag = m_guarded.reference(uniqueName("signed")) + ":1";
        QCOMPARE(docker({"tag", m_guardedImage, m_guardedTag}).status, 0);
        m_guardedDigest = pushed(m_guardedTag);
        QVERIFY(!m_guardedDigest.isEmpty());
    }
    void cleanupTestCase()
    {
        AppStore::workers()->waitForDone(60000);
        m_made.clear();
        docker({"logout", m_guarded.host()});
    }

    void newerTagThroughTheWatch_data()
    {
        QTest::addColumn<bool>("guarded");
        QTest::newRow("open registry") << false;
        QTest::newRow("htpasswd registry after docker login") << true;
    }
    void newerTagThroughTheWatch()
    {
        QFETCH(bool, guarded);
        const LocalRegistry &registry = guarded ? m_guarded : m_open;
        Leftovers made;
        const QString a = committed(made, "a"), b = committed(made, "b");
        QVERIFY(!a.isEmpty() && !b.isEmpty());
        const QString name = uniqueName("app"), tag = registry.reference(name) + ":1";

        QSettings settings(m_tmp.filePath(name + ".conf"), QSettings::IniFormat);
        AppStore store(&settings, std::make_shared<CliEngine>());
        NewerImageWatch &watch = store.newer();
        watch.setOptions({std::chrono::hours(1)});
        store.start();
        EngineStore *engine = nullptr;
        QVERIFY(QTest::qWaitFor([&] { return (engine = store.engineNamed(engineContext())) && engine->answered(); }, 20000));
        // The watch has read the engine before the tag exists, as when Korvat runs all along.
        QCoro::waitFor(watch.checkNow());
        const auto listed = [&](const QString &id) -> std::optional<DockerImage> {
            for (const DockerImage &i : engine->images())
                if (i.repository == registry.reference(name) && i.tag == "1" && id.contains(i.id))
                    return i;
            return std::nullopt;
        };
        // What the checks asked of the registry; the engine's own pushes and pulls come between.
        QStringList asked;
        const auto seenAt = [&](const QString &id) {
            const qsizetype mark = quietMark(registry);
            QCoro::waitFor(watch.checkNow());
            asked += registry.requests().mid(mark, quietMark(registry) - mark);
            const auto row = listed(id);
            return row ? watch.ofImage(engine->name(), *row) : std::nullopt;
        };

        // Tagged here, the watch learns of the tag from the listing alone, before any check.
        QCOMPARE(docker({"tag", a, tag}).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listed(a) && watch.ofImage(engine->name(), *listed(a)), 20000);
        QCOMPARE(watch.ofImage(engine->name(), *listed(a))->reason, "Built here: no digest from " + registry.host() + " to compare");

        // Pushed, it holds the registry's digest, which no listing shows: the check reads it.
        const QString digestA = pushed(tag);
        QVERIFY(!digestA.isEmpty());
        auto seen = seenAt(a);
        QVERIFY(seen);
        QCOMPARE(seen->state, State::Current);
        QCOMPARE(seen->local, digestA);
        QCOMPARE(seen->remote, digestA);

        // A newer image under the same tag at the registry; here the tag stays on the old one.
        QCOMPARE(docker({"tag", b, tag}).status, 0);
        const QString digestB = pushed(tag);
        QVERIFY(!digestB.isEmpty() && digestB != digestA);
        QCOMPARE(docker({"tag", a, tag}).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listed(a), 20000);
        seen = seenAt(a);
        QVERIFY(seen);
        QCOMPARE(seen->state, State::Newer);
        QCOMPARE(seen->local, digestA);
        QCOMPARE(seen->remote, digestB);
        QVERIFY2(seen->reason.startsWith(registry.host() + " has a newer " + tag), qPrintable(seen->reason));

        // Pulled, the tag moves to the newer image, and it is current again.
        QCOMPARE(docker({"rmi", tag}).status, 0);
        QCOMPARE(docker({"pull", tag}).status, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listed(b), 20000);
        seen = seenAt(b);
        QVERIFY(seen);
        QCOMPARE(seen->state, State::Current);
        QCOMPARE(seen->local, digestB);

        // Each check is one HEAD: where the registry asks for a sign-in, its challenge was
        // learnt in the first check (from the tag pushed there before), and later ones sign in first.
        expectHeadsOnly(asked, name, 3);
    }

    void signInsAtTheGuardedRegistry_data()
    {
        QTest::addColumn<QByteArray>("config");
        QTest::addColumn<State>("state");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<int>("heads");
        QTest::newRow("none stored") << QByteArray("{}") << State::Unknown
                                     << "Sign-in refused: %1 asks for a sign-in and none is stored (docker login %1)" << 1;
        QTest::newRow("wrong password") << QByteArray(R"({"auths":{"%1":{"auth":"a29ydmF0Ondyb25n"}}})") << State::Unknown
                                        << "Sign-in refused: %1 refused the sign-in" << 2;
        QTest::newRow("credsStore helper") << QByteArray(R"({"credsStore":"korvattest"})") << State::Current
                                           << "Same as on %1 (checked at %2)" << 2;
        QTest::newRow("credHelpers for this registry") << QByteArray(R"({"credsStore":"absent","credHelpers":{"%1":"korvattest"}})")
                                                       << State::Current << "Same as on %1 (checked at %2)" << 2;
    }
    void signInsAtTheGuardedRegistry()
    {
        QFETCH(QByteArray, config);
        QFETCH(State, state);
        QFETCH(QString, reason);
        QFETCH(int, heads);
        const auto tag = ImageReference::parse(m_guardedTag);
        QVERIFY(tag);
        const ImageOrigin origin = CliEngine().imageOrigins({m_guardedImage}, Runtime::context(engineContext())).images.value(0);
        const qsizetype mark = quietMark(m_guarded);
        auto ledger = std::make_shared<TagLedger>();
        askWithConfig(*tag, ledger, config.replace("%1", m_guarded.host().toUtf8()));

        const auto check = ledger->tags.value(tag->canonical());
        const ImageFreshness seen = NewerImages::judge(*tag, origin, check, QDateTime::currentDateTimeUtc());
        QCOMPARE(seen.reason, reason.arg(m_guarded.host(), check.readAt.toLocalTime().toString("HH:mm")));
        QCOMPARE(seen.state, state);
        QCOMPARE(seen.local, m_guardedDigest);
        QCOMPARE(seen.remote, state == State::Current ? m_guardedDigest : QString());
        expectHeadsOnly(m_guarded.requests().mid(mark, quietMark(m_guarded) - mark), tag->path, heads);
    }

    void bearerTokens_data()
    {
        QTest::addColumn<QString>("required");
        QTest::addColumn<RegistryCredential>("credential");
        QTest::addColumn<QStringList>("first");
        QTest::addColumn<Kind>("kind");
        const RegistryCredential none;
        QTest::newRow("anonymous") << QString() << none
                                   << QStringList{"HEAD /v2/one/app/manifests/1", "GET /token", "HEAD /v2/one/app/manifests/1 Bearer"} << Kind::Digest;
        QTest::newRow("password") << "pw" << RegistryCredential{"korvat", "pw"}
                                  << QStringList{"HEAD /v2/one/app/manifests/1", "GET /token Basic", "HEAD /v2/one/app/manifests/1 Bearer"}
                                  << Kind::Digest;
        QTest::newRow("identity token") << "refresh-me" << RegistryCredential{{}, "refresh-me", true}
                                        << QStringList{"HEAD /v2/one/app/manifests/1", "POST /token", "HEAD /v2/one/app/manifests/1 Bearer"}
                                        << Kind::Digest;
        QTest::newRow("wrong password") << "pw" << RegistryCredential{"korvat", "nope"}
                                        << QStringList{"HEAD /v2/one/app/manifests/1", "GET /token Basic"} << Kind::Refused;
        // Signed in, and told to wait two minutes.
        QTest::newRow("rate limited") << QString() << none
                                      << QStringList{"HEAD /v2/one/app/manifests/1", "GET /token", "HEAD /v2/one/app/manifests/1 Bearer"}
                                      << Kind::RateLimited;
    }
    void bearerTokens()
    {
        QFETCH(QString, required);
        QFETCH(RegistryCredential, credential);
        QFETCH(QStringList, first);
        QFETCH(Kind, kind);
        TokenRegistry registry;
        QVERIFY(registry.listening());
        const QString one = "sha256:" + QString(64, '1'), two = "sha256:" + QString(64, '2'), oneNext = "sha256:" + QString(64, '3');
        registry.setDigest("one/app", "1", one);
        registry.setDigest("two/app", "1", two);
        registry.setDigest("one/app", "2", oneNext);
        if (!required.isEmpty())
            registry.requireSignIn("korvat", required);
        const CredentialHelper::Answer signIn{credential.secret.isEmpty() ? std::nullopt : std::optional(credential), {}};
        RegistryClient client([signIn](ImageReference) { return answered(signIn); }, &RegistryClient::isLoopback);
        const auto ask = [&](const QString &name) { return QCoro::waitFor(client.digestOf(*ImageReference::parse(registry.host() + '/' + name))); };

        if (kind == Kind::RateLimited)
            registry.limitNext(120);
        const QDateTime before = QDateTime::currentDateTimeUtc();
        const RegistryAnswer answer = ask("one/app:1");
        QCOMPARE(registry.requests(), first);
        QCOMPARE(answer.kind, kind);
        if (kind == Kind::RateLimited) {
            QVERIFY(answer.retryAfter >= before.addSecs(120) && answer.retryAfter <= QDateTime::currentDateTimeUtc().addSecs(120));
            return;
        }
        if (kind != Kind::Digest) {
            QCOMPARE(answer.detail, registry.host() + " refused the sign-in");
            return;
        }
        QCOMPARE(answer.digest, one);
        // The way in is known now: another repository's token comes before its one HEAD, and
        // another tag of a repository already signed into costs the HEAD alone.
        registry.forget();
        QCOMPARE(ask("two/app:1").digest, two);
        QCOMPARE(ask("one/app:2").digest, oneNext);
        QCOMPARE(registry.requests(), (QStringList{first[1], "HEAD /v2/two/app/manifests/1 Bearer", "HEAD /v2/one/app/manifests/2 Bearer"}));
    }

private:
    static QCoro::Task<CredentialHelper::Answer> answered(CredentialHelper::Answer answer) { co_return answer; }
};

QTEST_GUILESS_MAIN(UpdatesLive)
#include "tst_updates_live.moc"
