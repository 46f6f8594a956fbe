#pragma once

#include <QString>
#include <optional>

// An image reference as the docker client reads it: "nginx" is docker.io/library/nginx:latest,
// "ghcr.io/acme/app@sha256:…" is pinned to that digest.
struct ImageReference {
    QString domain;  // "docker.io", "127.0.0.1:5000", "ghcr.io"
    QString path;    // "library/nginx"
    QString tag;     // "latest" when the reference names none and no digest
    QString digest;  // "sha256:…" when pinned

    // None for text the client would refuse (upper case in the name, an empty part, an id).
    static std::optional<ImageReference> parse(const QString &text);

    bool pinned() const { return !digest.isEmpty(); }
    // "docker.io/library/nginx"
    QString repository() const { return domain + u'/' + path; }
    // "docker.io/library/nginx:latest": one name for a tag however it was written.
    QString canonical() const;
    // As the client shows it: "nginx:latest", "acme/app:1", "127.0.0.1:5000/app:1".
    QString familiar() const;
    // Where the registry's API answers: docker.io's is registry-1.docker.io.
    QString apiHost() const;
    // The key the client stores a sign-in under: docker.io's is its old index address.
    QString credentialKey() const;

    friend bool operator==(const ImageReference &, const ImageReference &) = default;
};

// "https://registry.lan:5000/v1/" and "registry.lan:5000" are the same registry to the client.
QString registryHostOf(const QString &key);
