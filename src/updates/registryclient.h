#pragma once

#include "dockerconfig.h"
#include "imagereference.h"

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <QNetworkAccessManager>
#include <QString>
#include <functional>
#include <optional>

#include <QCoroTask>

class QNetworkReply;

// What a registry said of one tag.
struct RegistryAnswer {
    enum class Kind { Digest, Missing, Refused, RateLimited, Unreachable };
    Kind kind = Kind::Unreachable;
    // The tag's manifest or index digest, with Kind::Digest.
    QString digest = {};
    // What went wrong, in the registry's words where it gave any.
    QString detail = {};
    // With Kind::RateLimited: when the registry said to ask again.
    QDateTime retryAfter = {};
    friend bool operator==(const RegistryAnswer &, const RegistryAnswer &) = default;
};

// A WWW-Authenticate challenge: `Bearer realm="…",service="…",scope="…"` or `Basic realm="…"`.
struct AuthChallenge {
    QString scheme;  // "bearer", "basic"
    QMap<QString, QString> params;
    static std::optional<AuthChallenge> parse(const QByteArray &header);
    friend bool operator==(const AuthChallenge &, const AuthChallenge &) = default;
};

namespace RegistryRules {
// When a 429's Retry-After (seconds, or an HTTP date) says to ask again; an hour when it says
// nothing usable.
QDateTime retryAfter(const QByteArray &header, const QDateTime &now);
// The manifest and index types a HEAD accepts, so a multi-platform tag answers with the
// index digest the engine records.
QByteArray acceptedManifests();
// The token a token service answered with ("token", or OAuth's "access_token").
QByteArray tokenOf(const QByteArray &json);
}

// Asks registries for the digest a tag has now, with one HEAD on its manifest: never a GET
// of a manifest, so no check counts as a pull. Signs in as the docker client would, from
// the user's configuration; keeps tokens and each registry's way in for its own life, so a
// second tag of the same registry costs one request. For the interface thread.
class RegistryClient {
public:
    // A registry's sign-in, asked at most once per registry host. May run a helper, so it
    // is awaited.
    using Credentials = std::function<QCoro::Task<CredentialHelper::Answer>(ImageReference reference)>;
    // Whether plain HTTP may be used for a registry host: loopback always, others where
    // the engine allows it.
    using PlainHttp = std::function<bool(const QString &host)>;

    RegistryClient(Credentials credentials, PlainHttp plainHttp);
    ~RegistryClient();

    QCoro::Task<RegistryAnswer> digestOf(ImageReference reference);

    // Each registry's way of signing in (no secret: where its tokens come from), learnt from
    // its challenges. Kept from one round to the next, a later round asks for each token
    // first rather than being turned away once per repository.
    const QHash<QString, AuthChallenge> &challenges() const { return m_challenges; }
    void setChallenges(QHash<QString, AuthChallenge> known) { m_challenges = std::move(known); }

    // Loopback hosts: the engine reaches them over plain HTTP without being told.
    static bool isLoopback(const QString &host);

private:
    // The schemes to try, in order, for a registry whose way in is not known yet.
    QStringList schemesFor(const QString &host) const;
    static RegistryAnswer judged(const ImageReference &reference, QNetworkReply *reply, int status);
    QCoro::Task<QNetworkReply *> head(const ImageReference &reference, const QString &scheme);
    QCoro::Task<CredentialHelper::Answer> credentialFor(const ImageReference &reference);
    // Trades the challenge for an Authorization header; empty when refused, with why.
    QCoro::Task<QByteArray> authorize(ImageReference reference, AuthChallenge challenge, QString *why);

    QNetworkAccessManager m_network;
    Credentials m_credentials;
    PlainHttp m_plainHttp;
    QHash<QString, QString> m_scheme;                        // by host: the scheme that answered
    QHash<QString, AuthChallenge> m_challenges;              // by host: its last challenge
    QHash<QString, CredentialHelper::Answer> m_signIns;      // by host
    QHash<QString, QByteArray> m_authorization;              // by repository
};
