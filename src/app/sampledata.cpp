#include "sampledata.h"

#include "docker.h"
#include "volumesize.h"

#include "projectregistry.h"
#include "toolchain.h"

#include <QCryptographicHash>
#include <QDir>
#include <array>
#include <cmath>
#include <QFile>

namespace SampleData {

namespace {
QString sampleRoot;

Container container(const QString &id, const QString &name, const QString &image, const QString &state,
                    const QString &status, const QString &ports = {}, const QString &project = {},
                    const QString &service = {})
{
    Container c{id, name, image, state, status, ports, {}};
    if (!project.isEmpty()) {
        c.labels.insert(QString::fromLatin1(Labels::project), project);
        c.labels.insert(QString::fromLatin1(Labels::workingDir), sampleRoot + u'/' + project);
        c.labels.insert(QString::fromLatin1(Labels::service), service);
    }
    return c;
}
}

void layOut(const QString &root)
{
    for (const char *project : {"storefront", "website", "billing", "docs", "notes"})
        QDir(root).mkpath(QString::fromLatin1(project));
    for (const char *project : {"website", "billing", "docs"}) {
        QFile compose(root + u'/' + QString::fromLatin1(project) + QStringLiteral("/compose.yaml"));
        if (compose.open(QIODevice::WriteOnly))
            compose.write("services: {}\n");
    }
    QFile compose(root + QStringLiteral("/storefront/compose.yaml"));
    if (compose.open(QIODevice::WriteOnly))
        compose.write(storefrontFile().toUtf8());
    QFile dotEnv(root + QStringLiteral("/storefront/.env"));
    if (dotEnv.open(QIODevice::WriteOnly))
        dotEnv.write("DB_PASSWORD=s3cret\nPHP_VERSION=8.3\n");
}

QString storefrontFile()
{
    return QStringLiteral(R"(services:
  php:
    image: php:${PHP_VERSION}-fpm
    ports: ["${HTTP_PORT:-8081}:80"]
    environment:
      APP_KEY: ${APP_KEY}
      DB_PASSWORD: ${DB_PASSWORD}
    depends_on: [db]
  db:
    image: postgres:16
    environment:
      POSTGRES_PASSWORD: ${DB_PASSWORD}
    volumes: [storefront_db:/var/lib/postgresql/data]
  worker:
    image: php:${PHP_VERSION}-cli
    command: ["php", "artisan", "queue:work"]
  mailer:
    image: mail-relay:2.4
  adminer:
    image: adminer:4
    profiles: [debug]
volumes:
  storefront_db:
)");
}

// What compose config prints for the file above: the variables substituted, defaults filled.
QString storefrontResolved()
{
    return QStringLiteral(R"(name: storefront
services:
  db:
    environment:
      POSTGRES_PASSWORD: s3cret
    image: postgres:16
    networks:
      default: null
    volumes:
      - type: volume
        source: storefront_db
        target: /var/lib/postgresql/data
        volume: {}
  mailer:
    image: mail-relay:2.4
    networks:
      default: null
  php:
    depends_on:
      db:
        condition: service_started
        required: true
    environment:
      APP_KEY: ""
      DB_PASSWORD: s3cret
    image: php:8.3-fpm
    networks:
      default: null
    ports:
      - mode: ingress
        target: 80
        published: "8081"
        protocol: tcp
  worker:
    command:
      - php
      - artisan
      - queue:work
    image: php:8.3-cli
    networks:
      default: null
networks:
  default:
    name: storefront_default
volumes:
  storefront_db:
    name: storefront_storefront_db
)");
}

QStringList projectPullProgress()
{
    return {
        QStringLiteral(" php Pulling "),
        QStringLiteral(" db Pulling "),
        QStringLiteral(" worker Pulling "),
        QStringLiteral(" mailer Pulling "),
        QStringLiteral(" 9c2b1d6e0a47 Pull complete "),
        QStringLiteral(" php Pulled "),
        QStringLiteral(" db Pulled "),
        QStringLiteral(" worker Pulled "),
        QStringLiteral(" mailer Error pull access denied for mail-relay, repository does not exist or may require 'docker login'"),
    };
}

std::shared_ptr<FakeEngine> engine(const QString &root)
{
    sampleRoot = root;
    auto engine = std::make_shared<FakeEngine>();
    engine->setRuntimes({{
        {Runtime::context(QStringLiteral("default")), QStringLiteral("unix:///var/run/docker.sock"), true},
        {Runtime::context(QStringLiteral("staging")), QStringLiteral("ssh://deploy@staging"), false},
    }, Runtime::context(QStringLiteral("default"))});
    engine->setHoldings(holdings(root));
    engine->setDetails(details(QDateTime::currentDateTimeUtc()));
    engine->setImageDetails({imageDetails(QDateTime::currentDateTimeUtc())});
    // The storefront defines a mail relay never created, and a debugging tool behind a profile.
    const auto service = [](const char *name, const char *image, QStringList profiles = {}) {
        return ServiceDefinition{QString::fromLatin1(name), QString::fromLatin1(image), false, std::move(profiles)};
    };
    engine->setComposeProject(root + QStringLiteral("/storefront"),
                              {QStringLiteral("storefront"),
                               {QStringLiteral("db"), QStringLiteral("mailer"), QStringLiteral("php"), QStringLiteral("worker")},
                               {QStringLiteral("storefront_storefront_db")},
                               {},
                               {service("adminer", "adminer:4", {QStringLiteral("debug")}), service("db", "postgres:16"),
                                service("mailer", "mail-relay:2.4"), service("php", "php:8.3-fpm"), service("worker", "php:8.3-cli")},
                               {}});
    engine->setResolvedText(root + QStringLiteral("/storefront"), storefrontResolved());
    // The website project resolves to itself, so its declared volumes count as its own.
    engine->setComposeProject(root + QStringLiteral("/website"),
                              {QStringLiteral("website"), {QStringLiteral("cache"), QStringLiteral("frontend")},
                               {QStringLiteral("tls_certs"), QStringLiteral("website_assets"), QStringLiteral("website_cache")},
                               {QStringLiteral("tls_certs")}});
    return engine;
}

namespace {
// The sample's tags, by image id.
const QList<std::pair<QString, QString>> &pulledTags()
{
    static const QList<std::pair<QString, QString>> tags{
        {QStringLiteral("5b1f6c2a9e01"), QStringLiteral("php:8.3-fpm")},      {QStringLiteral("7c3e8d4b1f02"), QStringLiteral("php:8.3-cli")},
        {QStringLiteral("9e5a2f6d3b03"), QStringLiteral("postgres:16")},      {QStringLiteral("2a7c4e9f5d04"), QStringLiteral("nginx:1.27-alpine")},
        {QStringLiteral("4c9e6a1b7f05"), QStringLiteral("redis:7")},          {QStringLiteral("8a3c1e5f2d07"), QStringLiteral("busybox:1.36")},
        {QStringLiteral("1c5e3a7b4f08"), QStringLiteral("alpine:3.20")},      {QStringLiteral("5f2b8d4a6c10"), QStringLiteral("node:20-alpine")},
    };
    return tags;
}

QString digest(const QString &seed)
{
    return QStringLiteral("sha256:") + QString::fromLatin1(QCryptographicHash::hash(seed.toUtf8(), QCryptographicHash::Sha256).toHex());
}
}

QMap<QString, QStringList> repoDigests()
{
    QMap<QString, QStringList> digests;
    for (const auto &[id, tag] : pulledTags())
        digests.insert(id, {tag.section(u':', 0, 0) + u'@' + digest(tag)});
    return digests;
}

TagLedger newerLedger(const QDateTime &now)
{
    static const QStringList movedOn{QStringLiteral("php:8.3-fpm"), QStringLiteral("php:8.3-cli"), QStringLiteral("busybox:1.36")};
    TagLedger ledger;
    const QDateTime read = now.toUTC().addSecs(-3 * 3600);
    for (const auto &[id, tag] : pulledTags()) {
        const QString key = QStringLiteral("docker.io/library/") + tag;
        const QString remote = movedOn.contains(tag) ? digest(QStringLiteral("newer ") + tag) : digest(tag);
        ledger.tags.insert(key, TagCheck{remote, read, read});
        // Already told: a picture sends the desktop no notification.
        if (movedOn.contains(tag))
            ledger.notified.insert(NewerImages::noticeKey(key, remote));
    }
    return ledger;
}

ProjectRegistry registry(const QString &root)
{
    ProjectRegistry registry;
    registry.add({QStringLiteral("billing"), root + QStringLiteral("/billing"), {QStringLiteral("api"), QStringLiteral("worker")}},
                 QStringLiteral("default"));
    registry.add({QStringLiteral("archive"), root + QStringLiteral("/archive"), {QStringLiteral("db")}}, QStringLiteral("default"));
    return registry;
}

FakeEngine::Holdings holdings(const QString &root)
{
    sampleRoot = root;
    FakeEngine::Holdings s;
    s.containers = {
        container("3f1a9c2e7b11", "storefront-php-1", "php:8.3-fpm", "running", "Up 3 hours", "0.0.0.0:8081->80/tcp", "storefront", "php"),
        container("8c2d4e6f1a22", "storefront-db-1", "postgres:16", "running", "Up 3 hours", "5432/tcp", "storefront", "db"),
        container("1b7e3d9a5c33", "storefront-worker-1", "php:8.3-cli", "exited", "Exited (1) 12 minutes ago", {}, "storefront", "worker"),
        container("a4c8e2f6b044", "website-frontend-1", "nginx:1.27-alpine", "running", "Up 2 days", "0.0.0.0:8082->80/tcp, [::]:8082->80/tcp", "website", "frontend"),
        container("c9d1f3a5e755", "website-cache-1", "redis:7", "paused", "Up 2 days (Paused)", "6379/tcp", "website", "cache"),
        container("e2f4a6c8d066", "notes-notes-1", "ghcr.io/example/notes:2.1", "running", "Up 4 days", {}, "notes", "notes"),
        container("d4e6a8c0b2aa", "docs-site-1", "nginx:1.27-alpine", "exited", "Exited (0) 2 days ago", {}, "docs", "site"),
        container("b3d5f7a9c199", "legacy-api-1", "node:18-alpine", "running", "Up 9 days", "0.0.0.0:3000->3000/tcp, 127.0.0.1:9229->9229/tcp", "legacy", "api"),
        container("f7a9c1e3b577", "backup-agent", "busybox:1.36", "running", "Up 5 hours", {}),
        container("0d2f4b6a8c88", "scratchpad", "alpine:3.20", "created", "Created", {}),
    };
    s.images = {
        {"5b1f6c2a9e01", "php", "8.3-fpm", "493MB"},
        {"7c3e8d4b1f02", "php", "8.3-cli", "489MB"},
        {"9e5a2f6d3b03", "postgres", "16", "432MB"},
        {"2a7c4e9f5d04", "nginx", "1.27-alpine", "47.9MB"},
        {"4c9e6a1b7f05", "redis", "7", "117MB"},
        {"6e1a8c3d9b06", "ghcr.io/example/notes", "2.1", "212MB"},
        {"8a3c1e5f2d07", "busybox", "1.36", "4.27MB"},
        {"1c5e3a7b4f08", "alpine", "3.20", "7.8MB"},
        {"5f2b8d4a6c10", "node", "20-alpine", "137MB"},
        {"3d7f9b1c5e09", "<none>", "<none>", "156MB"},
    };
    s.volumes = {
        {"storefront_dbdata", "local", "/var/lib/docker/volumes/storefront_dbdata/_data"},
        {"website_assets", "local", "/var/lib/docker/volumes/website_assets/_data"},
        {"website_cache", "local", "/var/lib/docker/volumes/website_cache/_data"},
        {"notes_data", "local", "/var/lib/docker/volumes/notes_data/_data"},
        {"9f8e7d6c5b4a39281706f5e4d3c2b1a09f8e7d6c5b4a39281706f5e4d3c2b1a0", "local",
         "/var/lib/docker/volumes/9f8e7d6c5b4a39281706f5e4d3c2b1a09f8e7d6c5b4a39281706f5e4d3c2b1a0/_data"},
    };
    const auto network = [](const char *id, const char *name, const char *driver, QStringList subnets, QString project,
                            QList<NetworkMember> members) {
        DockerNetwork n{QString::fromLatin1(id), QString::fromLatin1(name), QString::fromLatin1(driver), QStringLiteral("local"), subnets};
        if (!subnets.isEmpty())
            n.gateways = {QString(subnets.first()).replace(QStringLiteral(".0.0/16"), QStringLiteral(".0.1"))};
        if (!project.isEmpty())
            n.labels.insert(QString::fromLatin1(Labels::project), project);
        n.members = members;
        n.created = QDateTime::currentDateTimeUtc().addDays(-9);
        return n;
    };
    s.networks = {
        network("70585196987c1f", "bridge", "bridge", {QStringLiteral("172.17.0.0/16")}, {},
                {{QStringLiteral("f7a9c1e3b577"), QStringLiteral("backup-agent"), QStringLiteral("172.17.0.2/16"), {}}}),
        network("f7c79b15cace2a", "host", "host", {}, {}, {}),
        network("3ab51dac43753b", "none", "null", {}, {}, {}),
        network("b02c44eea07964", "storefront_default", "bridge", {QStringLiteral("172.20.0.0/16")}, QStringLiteral("storefront"),
                {{QStringLiteral("8c2d4e6f1a22"), QStringLiteral("storefront-db-1"), QStringLiteral("172.20.0.3/16"), {}},
                 {QStringLiteral("3f1a9c2e7b11"), QStringLiteral("storefront-php-1"), QStringLiteral("172.20.0.2/16"), {}}}),
        network("c13d55f0a8b175", "website_default", "bridge", {QStringLiteral("172.19.0.0/16")}, QStringLiteral("website"),
                {{QStringLiteral("c9d1f3a5e755"), QStringLiteral("website-cache-1"), QStringLiteral("172.19.0.3/16"), {}},
                 {QStringLiteral("a4c8e2f6b044"), QStringLiteral("website-frontend-1"), QStringLiteral("172.19.0.2/16"), {}}}),
        network("d24e66a1b9c286", "docs_default", "bridge", {QStringLiteral("172.21.0.0/16")}, QStringLiteral("docs"), {}),
    };
    // Most come back after a restart; the cache and the agent would not.
    s.restartPolicies = {{QStringLiteral("storefront-php-1"), QStringLiteral("unless-stopped")},
                         {QStringLiteral("storefront-db-1"), QStringLiteral("unless-stopped")},
                         {QStringLiteral("storefront-worker-1"), QStringLiteral("on-failure")},
                         {QStringLiteral("website-frontend-1"), QStringLiteral("unless-stopped")},
                         {QStringLiteral("notes-notes-1"), QStringLiteral("unless-stopped")},
                         {QStringLiteral("legacy-api-1"), QStringLiteral("always")}};
    s.mounts = {
        {QStringLiteral("website-frontend-1"), {QStringLiteral("website_assets")}},
        {QStringLiteral("website-cache-1"), {QStringLiteral("website_cache")}},
        {QStringLiteral("backup-agent"), {QStringLiteral("website_assets")}},
        {QStringLiteral("storefront-db-1"), {QStringLiteral("storefront_dbdata")}},
    };
    s.sizes = {{QStringLiteral("website_cache"), 38'000'000}, {QStringLiteral("website_assets"), 113'000'000},
               {QStringLiteral("storefront_dbdata"), 246'000'000}, {QStringLiteral("notes_data"), 3'400'000},
               {QStringLiteral("9f8e7d6c5b4a39281706f5e4d3c2b1a09f8e7d6c5b4a39281706f5e4d3c2b1a0"), 24'000'000}};
    for (const DockerImage &i : s.images)
        s.sizes.insert(i.id, Docker::parseByteSize(i.size).value_or(0));
    // The writable layers: what each container wrote inside itself.
    for (const auto &[id, bytes] : std::initializer_list<std::pair<const char *, qint64>>{
             {"3f1a9c2e7b11", 18'400'000}, {"8c2d4e6f1a22", 63'000}, {"1b7e3d9a5c33", 12'100'000}, {"a4c8e2f6b044", 1'200},
             {"c9d1f3a5e755", 0}, {"e2f4a6c8d066", 410'000}, {"d4e6a8c0b2aa", 2'300'000}, {"b3d5f7a9c199", 96'000'000},
             {"f7a9c1e3b577", 4'096}, {"0d2f4b6a8c88", 31'000'000}})
        s.sizes.insert(QString::fromLatin1(id), bytes);
    s.buildCache = {
        {QStringLiteral("k3v9x2m1q8w7e6r5t4y3u2i1o"), QStringLiteral("regular"), QStringLiteral("mount / from exec /bin/sh -c npm ci"), 212'000'000, false, false},
        {QStringLiteral("p0o9i8u7y6t5r4e3w2q1a2s3d"), QStringLiteral("regular"), QStringLiteral("[build 3/5] RUN apt-get update && apt-get install -y git"),
         88'000'000, false, false},
        {QStringLiteral("z1x2c3v4b5n6m7l8k9j0h1g2f"), QStringLiteral("source.local"), QStringLiteral("local source for context"), 1'900'000, true, false},
    };
    // The listing says the same as inspecting them: cut to 15 characters, as the client does.
    for (Container &c : s.containers) {
        for (const QString &volume : s.mounts.value(c.name))
            c.mounts.append(volume.size() > 15 ? volume.left(14) + QChar(0x2026) : volume);
    }
    return s;
}

QList<ContainerDetails> details(const QDateTime &now)
{
    using D = ContainerDetails;
    const auto compose = [](const QString &project, const QString &service) {
        return QMap<QString, QString>{{QStringLiteral("com.docker.compose.project"), project},
                                      {QStringLiteral("com.docker.compose.service"), service},
                                      {QStringLiteral("com.docker.compose.project.config_files"), sampleRoot + u'/' + project + QStringLiteral("/compose.yaml")},
                                      {QStringLiteral("com.docker.compose.project.working_dir"), sampleRoot + u'/' + project},
                                      {QStringLiteral("com.docker.compose.container-number"), QStringLiteral("1")},
                                      {QStringLiteral("com.docker.compose.version"), QStringLiteral("2.26.1")}};
    };
    D db;
    db.id = QStringLiteral("8c2d4e6f1a22d1c0b5e4f3a2b1c0d9e8f7a6b5c4d3e2f1a0b9c8d7e6f5a4b3c2");
    db.name = QStringLiteral("storefront-db-1");
    db.image = QStringLiteral("postgres:16");
    db.imageId = QStringLiteral("sha256:5e2f1c3a9b7d4e6f8a0c2e4b6d8f0a1c3e5b7d9f1a3c5e7b9d1f3a5c7e9b1d3f");
    db.state = QStringLiteral("running");
    db.created = now.addSecs(-3 * 3600 - 40);
    db.startedAt = now.addSecs(-3 * 3600);
    db.restartPolicy = QStringLiteral("unless-stopped");
    D::Health health{QStringLiteral("unhealthy"), 4, {}, {QStringLiteral("CMD-SHELL"), QStringLiteral("pg_isready -U shop -d shop")}, 10};
    for (int i = 0; i < 5; ++i)
        health.probes.append({now.addSecs(-8 - 10 * i), i < 4 ? 2 : 0,
                              i < 4 ? QStringLiteral("/var/run/postgresql:5432 - no response") : QStringLiteral("/var/run/postgresql:5432 - accepting connections")});
    db.health = health;
    db.entrypoint = {QStringLiteral("docker-entrypoint.sh")};
    db.command = {QStringLiteral("postgres"), QStringLiteral("-c"), QStringLiteral("max_connections=200")};
    db.workingDir = {};
    db.user = QStringLiteral("postgres");
    db.environment = {{QStringLiteral("POSTGRES_USER"), QStringLiteral("shop")},
                      {QStringLiteral("POSTGRES_PASSWORD"), QStringLiteral("correct-horse-battery")},
                      {QStringLiteral("POSTGRES_DB"), QStringLiteral("shop")},
                      {QStringLiteral("PGDATA"), QStringLiteral("/var/lib/postgresql/data/pgdata")},
                      {QStringLiteral("PATH"), QStringLiteral("/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin")}};
    db.mounts = {{QStringLiteral("volume"), QStringLiteral("/var/lib/docker/volumes/storefront_dbdata/_data"), QStringLiteral("/var/lib/postgresql/data"), false,
                  QStringLiteral("storefront_dbdata")},
                 {QStringLiteral("bind"), sampleRoot + QStringLiteral("/storefront/init.sql"), QStringLiteral("/docker-entrypoint-initdb.d/init.sql"), true, {}}};
    db.ports = {{{}, 0, 5432, QStringLiteral("tcp")}};
    db.networks = {{QStringLiteral("storefront_default"), QStringLiteral("172.20.0.3"), QStringLiteral("172.20.0.1"), {QStringLiteral("db"), QStringLiteral("storefront-db-1")}}};
    db.labels = compose(QStringLiteral("storefront"), QStringLiteral("db"));
    db.labels.insert(QStringLiteral("org.opencontainers.image.version"), QStringLiteral("16.3"));
    db.document = QStringLiteral("[\n    {\n        \"Id\": \"%1\",\n        \"Name\": \"/storefront-db-1\",\n        \"State\": {\n            \"Status\": \"running\",\n"
                                 "            \"Health\": { \"Status\": \"unhealthy\", \"FailingStreak\": 4 }\n        }\n    }\n]\n").arg(db.id);

    D worker;
    worker.id = QStringLiteral("1b7e3d9a5c33f2e1d0c9b8a7f6e5d4c3b2a1f0e9d8c7b6a5f4e3d2c1b0a9f8e7");
    worker.name = QStringLiteral("storefront-worker-1");
    worker.image = QStringLiteral("php:8.3-cli");
    worker.imageId = QStringLiteral("sha256:9a8b7c6d5e4f3a2b1c0d9e8f7a6b5c4d3e2f1a0b9c8d7e6f5a4b3c2d1e0f9a8b");
    worker.state = QStringLiteral("exited");
    worker.exitCode = 137;
    worker.outOfMemory = true;
    worker.created = now.addSecs(-3 * 3600 - 40);
    worker.startedAt = now.addSecs(-13 * 60);
    worker.finishedAt = now.addSecs(-12 * 60);
    worker.restartPolicy = QStringLiteral("on-failure");
    worker.restartCount = 3;
    worker.command = {QStringLiteral("php"), QStringLiteral("artisan"), QStringLiteral("queue:work"), QStringLiteral("--memory=512")};
    worker.workingDir = QStringLiteral("/var/www");
    worker.user = QStringLiteral("www-data");
    worker.environment = {{QStringLiteral("APP_ENV"), QStringLiteral("production")}, {QStringLiteral("APP_KEY"), QStringLiteral("base64:8f3kQ…")},
                          {QStringLiteral("QUEUE_CONNECTION"), QStringLiteral("redis")}};
    worker.networks = {{QStringLiteral("storefront_default"), {}, {}, {QStringLiteral("worker")}}};
    worker.labels = compose(QStringLiteral("storefront"), QStringLiteral("worker"));
    return {db, worker};
}

ImageDetails imageDetails(const QDateTime &now)
{
    ImageDetails nginx;
    nginx.id = QStringLiteral("sha256:2a7c4e9f5d04b1c3e5a7f9d1b3c5e7a9f1d3b5c7e9a1f3d5b7c9e1a3f5d7b9c1");
    nginx.tags = {QStringLiteral("nginx:1.27-alpine")};
    nginx.created = now.addDays(-18);
    nginx.bytes = 47'900'000;
    nginx.architecture = QStringLiteral("amd64");
    nginx.os = QStringLiteral("linux");
    nginx.entrypoint = {QStringLiteral("/docker-entrypoint.sh")};
    nginx.command = {QStringLiteral("nginx"), QStringLiteral("-g"), QStringLiteral("daemon off;")};
    nginx.exposedPorts = {QStringLiteral("80/tcp")};
    const auto layer = [](const char *instruction, qint64 bytes) { return ImageDetails::Layer{QString::fromUtf8(instruction), bytes, {}}; };
    nginx.layers = {
        layer("CMD [\"nginx\" \"-g\" \"daemon off;\"]", 0),
        layer("STOPSIGNAL SIGQUIT", 0),
        layer("EXPOSE map[80/tcp:{}]", 0),
        layer("ENTRYPOINT [\"/docker-entrypoint.sh\"]", 0),
        layer("COPY 30-tune-worker-processes.sh /docker-entrypoint.d # buildkit", 4'620),
        layer("COPY docker-entrypoint.sh / # buildkit", 1'620),
        layer("RUN set -x && addgroup -g 101 -S nginx && adduser -S -D -H -u 101 -h /var/cache/nginx -s /sbin/nologin -G nginx -g nginx nginx "
              "&& apkArch=\"$(cat /etc/apk/arch)\" && nginxPackages=\"nginx=${NGINX_VERSION}-r${PKG_RELEASE} nginx-module-xslt=${NGINX_VERSION}-r${PKG_RELEASE}\" "
              "&& apk add --no-cache --virtual .checksum-deps openssl # buildkit", 40'700'000),
        layer("ENV NGINX_VERSION=1.27.3", 0),
        layer("CMD [\"/bin/sh\"]", 0),
        layer("ADD alpine-minirootfs-3.20.3-x86_64.tar.gz / # buildkit", 7'800'000),
    };
    for (ImageDetails::Layer &l : nginx.layers) {
        l.instruction = Docker::instruction(l.instruction);
        l.size = VolumeSize::format(l.bytes);
    }
    nginx.document = QStringLiteral("[\n    {\n        \"Id\": \"%1\",\n        \"RepoTags\": [\"nginx:1.27-alpine\"],\n        \"Architecture\": \"amd64\",\n"
                                    "        \"Os\": \"linux\"\n    }\n]\n").arg(nginx.id);
    return nginx;
}

QStringList pullProgress()
{
    // As a terminal draws it, each layer's lines in the order they changed.
    return {
        QStringLiteral("1.27: Pulling from library/nginx"),
        QStringLiteral("a2318d6c47ec: Downloading [==================================================>]  29.1MB/29.1MB"),
        QStringLiteral("a2318d6c47ec: Pull complete"),
        QStringLiteral("095d327c79ae: Downloading [==================================================>]  41.9MB/41.9MB"),
        QStringLiteral("095d327c79ae: Pull complete"),
        QStringLiteral("bbfaa25db775: Downloading [==================================================>]     628B/628B"),
        QStringLiteral("bbfaa25db775: Pull complete"),
        QStringLiteral("7bb6fb0cfb2b: Downloading [================>                                  ]  9.93MB/28.2MB"),
        QStringLiteral("0723edc10c17: Downloading [==================================================>]     956B/956B"),
        QStringLiteral("0723edc10c17: Download complete"),
        QStringLiteral("24b3fdc4d1e3: Waiting"),
        QStringLiteral("3122471704d5: Waiting"),
    };
}

QStringList upProgress()
{
    return {
        QStringLiteral(" php Pulling "),
        QStringLiteral(" 4f4fb700ef54 Already exists "),
        QStringLiteral(" 9c2b1d6e0a47 Pull complete "),
        QStringLiteral(" 5e8a3f1c7d20 Downloading [==========>                                        ]  12.5MB/58.3MB"),
        QStringLiteral(" 1d7f0b9e4c63 Waiting "),
        QStringLiteral(" worker Pulling "),
        QStringLiteral(" worker Error pull access denied for example/queue-worker, repository does not exist or may require 'docker login'"),
        QStringLiteral(" Container storefront-db-1  Running"),
    };
}

QList<QList<Usage>> usage(const QList<Container> &containers)
{
    static const QMap<QString, std::pair<double, qint64>> load = {
        {QStringLiteral("storefront-php-1"), {14.0, 118'000'000}}, {QStringLiteral("storefront-db-1"), {6.0, 312'000'000}},
        {QStringLiteral("website-frontend-1"), {0.4, 9'400'000}},  {QStringLiteral("notes-notes-1"), {2.5, 86'000'000}},
        {QStringLiteral("legacy-api-1"), {31.0, 704'000'000}},     {QStringLiteral("backup-agent"), {0.0, 1'200'000}},
    };
    QList<QList<Usage>> seconds;
    for (int s = 0; s < 60; ++s) {
        QList<Usage> readings;
        for (const Container &c : containers) {
            const auto [cpu, memory] = load.value(c.name);
            if (!c.isRunning())
                continue;
            // Waves of different lengths, so no two lines look alike.
            const double wave = 0.5 + 0.5 * std::sin(s / (2.0 + c.name.size() % 5) + c.name.size());
            const double burst = (s % 17 < 3) ? 2.2 : 1.0;
            readings << Usage{c.id, cpu * (0.45 + wave) * burst, memory + qint64(wave * memory / 20), 8'000'000'000};
        }
        seconds << readings;
    }
    return seconds;
}

QString logText()
{
    return QStringLiteral(
        "frontend-1  | 2026/11/22 09:14:02 [notice] 1#1: using the \"epoll\" event method\n"
        "frontend-1  | 2026/11/22 09:14:02 [notice] 1#1: nginx/1.27.2\n"
        "frontend-1  | 2026/11/22 09:14:02 [notice] 1#1: start worker processes\n"
        "frontend-1  | 172.18.0.1 - - [22/Nov/2026:09:15:40 +0000] \"GET / HTTP/1.1\" 200 615 \"-\" \"curl/8.5.0\"\n"
        "frontend-1  | 172.18.0.1 - - [22/Nov/2026:09:15:41 +0000] \"GET /assets/app.css HTTP/1.1\" 200 4810\n"
        "frontend-1  | 172.18.0.1 - - [22/Nov/2026:09:16:03 +0000] \"GET /favicon.ico HTTP/1.1\" 404 153\n"
        "cache-1     | 1:M 22 Nov 2026 09:14:01.552 * Ready to accept connections tcp\n"
        "frontend-1  | \x1b[32m✓\x1b[0m assets built in \x1b[1m412 ms\x1b[0m\n"
        "frontend-1  | \x1b[33mwarn\x1b[0m  \x1b[2mcache miss for\x1b[0m /favicon.ico\n"
        "cache-1     | 1:M 22 Nov 2026 09:16:10.004 \x1b[31m# WARNING\x1b[0m memory overcommit must be enabled\n");
}

QList<std::pair<QString, ExecResult>> commands()
{
    return {
        {QStringLiteral("ls /srv/assets"), {true, QStringLiteral("app.css\napp.js\nindex.html\nlogo.svg\n"), 0, {}}},
        {QStringLiteral("cat /etc/hostname"), {true, QStringLiteral("9c1f3a5e7b55\n"), 0, {}}},
        {QStringLiteral("wget -qO- localhost:81"),
         {true, QStringLiteral("wget: can't connect to remote host (127.0.0.1): Connection refused\n"), 1, {}}},
    };
}

QList<Tool> tools()
{
    // container: an update through Homebrew; socktainer: missing; docker: newer upstream but
    // installed outside Homebrew; compose: up to date.
    QList<Tool> list = ::Toolchain::all();
    const QList<std::array<const char *, 3>> versions = {
        {"0.5.0", "0.6.0", "brew"}, {nullptr, "1.2.1", "brew"}, {"27.3.1", "28.0.1", ""}, {"2.30.3", "2.30.3", ""}};
    for (qsizetype i = 0; i < list.size() && i < versions.size(); ++i) {
        if (versions[i][0])
            list[i].installed = QString::fromLatin1(versions[i][0]);
        list[i].latest = QString::fromLatin1(versions[i][1]);
        list[i].brewManaged = qstrlen(versions[i][2]) > 0;
    }
    return list;
}

SystemStatus status()
{
    return {true, QStringLiteral("0.6.0"), QStringLiteral("0.5.0")};
}

QList<Tool> Toolchain::survey() const
{
    if (m_empty)
        return {};
    QList<Tool> list = tools();
    for (auto &t : list)
        t.latest.reset();
    return list;
}

QMap<QString, QString> Toolchain::latest() const
{
    QMap<QString, QString> versions;
    for (const auto &t : tools()) {
        if (t.latest && !m_empty)
            versions.insert(t.formula, *t.latest);
    }
    return versions;
}

std::unique_ptr<QProcess> Toolchain::job(const QString &) const
{
    // A real child, so the job sheet runs and ends it as it would a Homebrew job.
    return ::Toolchain::process({QStringLiteral("/bin/sh"), QStringLiteral("-c"), QStringLiteral("printf '%s' \"$1\"; exec sleep 600"),
                                 QStringLiteral("sh"), jobOutput()});
}

QString jobOutput()
{
    return QStringLiteral("==> Upgrading 1 outdated package:\ncontainer 0.5.0 -> 0.6.0\n"
                          "==> Fetching container\n==> Downloading container-0.6.0.arm64_sequoia.bottle.tar.gz\n"
                          "######################################################################## 100.0%\n"
                          "==> Pouring container-0.6.0.arm64_sequoia.bottle.tar.gz\n");
}

QList<HostEngine> hostEngines()
{
    return HostEngines::assemble({{QStringLiteral("docker.io"), QStringLiteral("20.10.24+dfsg1-1+deb12u1+b6")},
                                  {QStringLiteral("podman"), QStringLiteral("4.3.1+ds1-8+deb12u1+b3")}},
                                 {{QStringLiteral("docker.io"), QStringLiteral("20.10.24+dfsg1-1+deb12u1+b6")},
                                  {QStringLiteral("podman"), QStringLiteral("4.3.1+ds1-8+deb12u1+b4")}},
                                 {});
}

QCoro::Task<ServiceUnit> Services::read(ServiceUnit unit) const
{
    using Scope = ServiceUnit::Scope;
    // The user's docker.service and podman.service and the system's Podman are not installed.
    static const QMap<std::pair<Scope, QString>, QStringList> loaded{
        {{Scope::System, QStringLiteral("docker.service")}, {QStringLiteral("active"), QStringLiteral("running"), QStringLiteral("enabled")}},
        {{Scope::System, QStringLiteral("docker.socket")}, {QStringLiteral("active"), QStringLiteral("listening"), QStringLiteral("enabled")}},
        {{Scope::User, QStringLiteral("podman.socket")}, {QStringLiteral("inactive"), QStringLiteral("dead"), QStringLiteral("enabled")}},
    };
    const QStringList state = loaded.value({unit.scope, unit.name});
    unit.loadState = !state.isEmpty() ? QStringLiteral("loaded") : QStringLiteral("not-found");
    unit.activeState = state.value(0, QStringLiteral("inactive"));
    unit.subState = state.value(1, QStringLiteral("dead"));
    unit.fileState = state.value(2);
    co_return unit;
}

QCoro::Task<ServiceUnit> Services::act(ServiceUnit unit, HostEngines::Verb) const
{
    unit.error = QStringLiteral("Interactive authentication required.");
    co_return unit;
}

QCoro::Task<Linger> Services::linger() const
{
    Linger off;
    off.on = false;
    co_return off;
}

QCoro::Task<ServiceUnit> Services::enable(ServiceUnit unit) const
{
    unit.error = QStringLiteral("Interactive authentication required.");
    co_return unit;
}

QCoro::Task<Linger> Services::keepAfterLogout() const
{
    Linger refused;
    refused.on = false;
    refused.error = QStringLiteral("Interactive authentication required.");
    co_return refused;
}
}
