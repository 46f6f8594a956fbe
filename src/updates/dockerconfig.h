#pragma once

#include <QMap>
#include <QString>
#include <chrono>
#include <optional>

// A sign-in for one registry. With an identity token the secret is an OAuth refresh token
// that the registry's token service trades for access; otherwise a password or token sent
// as the user's name and secret.
struct RegistryCredential {
    QString username;
    QString secret;
    bool identityToken = false;
    friend bool operator==(const RegistryCredential &, const RegistryCredential &) = default;
};

// The sign-ins of the user's docker configuration, read as the client reads them:
// $DOCKER_CONFIG/config.json, else ~/.docker/config.json.
struct DockerConfig {
    // By registry host ("docker.io", "registry.lan:5000"), from "auths".
    QMap<QString, RegistryCredential> stored;
    QString credsStore;
    // By registry host, from "credHelpers".
    QMap<QString, QString> credHelpers;

    static QString path();
    // An unreadable or absent file is a configuration with no sign-ins.
    static DockerConfig parse(const QByteArray &json);
    static DockerConfig read();

    // The helper the client asks for this host's sign-in ("pass" for docker-credential-pass);
    // empty when the sign-in is the stored one.
    QString helperFor(const QString &host) const;
    std::optional<RegistryCredential> storedFor(const QString &host) const;

    friend bool operator==(const DockerConfig &, const DockerConfig &) = default;
};

namespace CredentialHelper {

struct Answer {
    std::optional<RegistryCredential> credential;
    // Why there is no answer when the helper failed rather than knew of no sign-in.
    QString problem;
    friend bool operator==(const Answer &, const Answer &) = default;
};

// What `docker-credential-<helper> get` printed and how it ended.
Answer read(int status, const QByteArray &out, const QByteArray &err);
// Runs the helper with the server's key on its input, on this (worker) thread, for at most
// deadline.
Answer get(const QString &helper, const QString &serverKey, std::chrono::milliseconds deadline);

} // namespace CredentialHelper
