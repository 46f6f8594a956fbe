#include "sampledata.h"

#include "toolchain.h"

namespace SampleData {

namespace {
Container container(const QString &id, const QString &name, const QString &image, const QString &state,
                    const QString &status, const QString &ports = {}, const QString &project = {},
                    const QString &service = {})
{
    Container c{id, name, image, state, status, ports, {}};
    if (!project.isEmpty()) {
        c.labels.insert(QString::fromLatin1(Labels::project), project);
        c.labels.insert(QString::fromLatin1(Labels::workingDir), QStringLiteral("/home/dev/code/") + project);
        c.labels.insert(QString::fromLatin1(Labels::service), service);
    }
    return c;
}
}

StorePreview store()
{
    StorePreview s;
    s.runtimes = {
        {Runtime::context(QStringLiteral("default")), QStringLiteral("unix:///var/run/docker.sock"), true},
        {Runtime::context(QStringLiteral("staging")), QStringLiteral("ssh://deploy@staging"), false},
    };
    s.runtime = Runtime::context(QStringLiteral("default"));
    s.containers = {
        container("3f1a9c2e7b11", "storefront-php-1", "php:8.3-fpm", "running", "Up 3 hours", "0.0.0.0:8081->80/tcp", "storefront", "php"),
        container("8c2d4e6f1a22", "storefront-db-1", "postgres:16", "running", "Up 3 hours", "5432/tcp", "storefront", "db"),
        container("1b7e3d9a5c33", "storefront-worker-1", "php:8.3-cli", "exited", "Exited (1) 12 minutes ago", {}, "storefront", "worker"),
        container("a4c8e2f6b044", "website-frontend-1", "nginx:1.27-alpine", "running", "Up 2 days", "0.0.0.0:8082->80/tcp, [::]:8082->80/tcp", "website", "frontend"),
        container("c9d1f3a5e755", "website-cache-1", "redis:7", "paused", "Up 2 days (Paused)", "6379/tcp", "website", "cache"),
        container("e2f4a6c8d066", "notes-notes-1", "ghcr.io/example/notes:2.1", "exited", "Exited (0) 4 days ago", {}, "notes", "notes"),
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
    };
    s.volumes = {
        {"storefront_dbdata", "local", "/var/lib/docker/volumes/storefront_dbdata/_data"},
        {"website_assets", "local", "/var/lib/docker/volumes/website_assets/_data"},
        {"website_cache", "local", "/var/lib/docker/volumes/website_cache/_data"},
        {"notes_data", "local", "/var/lib/docker/volumes/notes_data/_data"},
    };
    return s;
}

QList<Tool> tools()
{
    QList<Tool> list = Toolchain::all();
    for (Tool &t : list) {
        t.installed = QStringLiteral("27.3.1");
        t.latest = QStringLiteral("27.3.1");
    }
    if (list.size() > 3) {
        list[3].installed = QStringLiteral("2.29.7");
        list[3].latest = QStringLiteral("2.30.3");
        list[3].brewManaged = true;
    }
    return list;
}

}
