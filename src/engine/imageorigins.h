#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

// Where an image came from, as its engine recorded it: the tags it carries and the registry
// digest each repository had when the engine pulled or pushed it ("nginx@sha256:…"). An image
// built here has tags but no digests.
struct ImageOrigin {
    QString id;
    QStringList tags;
    QStringList repoDigests;
    friend bool operator==(const ImageOrigin &, const ImageOrigin &) = default;
};

// What an engine lets be reached over plain HTTP, besides loopback: registries by name
// ("registry.lan:5000") and by network ("10.0.0.0/8").
struct InsecureRegistries {
    QStringList names;
    QStringList networks;
    friend bool operator==(const InsecureRegistries &, const InsecureRegistries &) = default;
};

struct ImageOrigins {
    QList<ImageOrigin> images;
    InsecureRegistries insecure;
    friend bool operator==(const ImageOrigins &, const ImageOrigins &) = default;
};

namespace Docker {
// The format image inspect is asked for, one JSON object per line.
QString originFormat();
// Lines of originFormat(); lines that are not such objects are skipped.
QList<ImageOrigin> parseImageOrigins(const QByteArray &text);
// `docker info --format '{{json .RegistryConfig}}'`: the index configurations marked not
// secure, and the insecure networks. Loopback is left out: it is always allowed.
InsecureRegistries parseInsecureRegistries(const QByteArray &json);
}
