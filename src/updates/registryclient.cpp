#include "registryclient.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTimeZone>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QUrlQuery>
#include <mutex>

#include <QCoroNetworkReply>

using namespace std::chrono_literals;

namespace {

constexpr int transferTimeout = 20000;  // ms

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QString hostOf(const QString &where)
{
    const QUrl url(where);
    return url.port() > 0 ? url.host() + u':' + QString::number(url.port()) : url.host();
}

QString httpWords(QNetworkReply *reply, int status)
{
    const QString reason = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    return reason.isEmpty() ? QString::number(status) : QStringLiteral("%1 %2").arg(status).arg(reason);
}

} // namespace

std::optional<AuthChallenge> AuthChallenge::parse(const QByteArray &header)
{
    const QString text = QString::fromLatin1(header).trimmed();
    const qsizetype space = text.indexOf(u' ');
    AuthChallenge challenge{(space < 0 ? text : text.left(space)).toLower(), {}};
    if (challenge.scheme != QLatin1String("bearer") && challenge.scheme != QLatin1String("basic"))
        return std::nullopt;
    static const QRegularExpression param(QStringLiteral(R"re(([A-Za-z_]+)\s*=\s*(?:"((?:[^"\\]|\\.)*)"|([^,\s]*)))re"));
    for (auto it = param.globalMatch(text, space < 0 ? text.size() : space); it.hasNext();) {
        const auto m = it.next();
        challenge.params.insert(m.captured(1).toLower(), m.hasCaptured(2) ? m.captured(2).replace(QLatin1String("\\\""), QLatin1String("\"")) : m.captured(3));
    }
    if (challenge.scheme == QLatin1String("bearer") && challenge.params.value(QStringLiteral("realm")).isEmpty())
        return std::nullopt;
    return challenge;
}

namespace RegistryRules {

QDateTime retryAfter(const QByteArray &header, const QDateTime &now)
{
    bool isNumber = false;
    const qint64 seconds = header.trimmed().toLongLong(&isNumber);
    if (isNumber && seconds >= 0)
        return now.addSecs(std::min<qint64>(seconds, 7 * 24 * 3600));
    // HTTP's date is always GMT, in English.
    QDateTime at = QLocale::c().toDateTime(QString::fromLatin1(header.trimmed()), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"));
    at.setTimeZone(QTimeZone::utc());
    return at.isValid() && at > now ? at : now.addSecs(3600);
}

QByteArray acceptedManifests()
{
    return "application/vnd.oci.image.index.v1+json, application/vnd.docker.distribution.manifest.list.v2+json, "
           "application/vnd.docker.distribution.manifest.v2+json, application/vnd.oci.image.manifest.v1+json";
}

QByteArray tokenOf(const QByteArray &json)
{
    const QJsonObject o = QJsonDocument::fromJson(json).object();
    const QString token = o.value(QLatin1String("token")).toString();
    return (token.isEmpty() ? o.value(QLatin1String("access_token")).toString() : token).toUtf8();
}

} // namespace RegistryRules

RegistryClient::RegistryClient(Credentials credentials, PlainHttp plainHttp)
    : m_credentials(std::move(credentials)), m_plainHttp(std::move(plainHttp))
{
    // http_proxy and https_proxy as the rest of the desktop honours them.
    static std::once_flag proxies;
    std::call_once(proxies, [] { QNetworkProxyFactory::setUseSystemConfiguration(true); });
    // A redirect would carry the sign-in to another host: none is followed.
    m_network.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

RegistryClient::~RegistryClient() = default;

bool RegistryClient::isLoopback(const QString &host)
{
    QString name = host;
    if (name.startsWith(u'[')) // "[::1]:5000"
        name = name.mid(1, name.indexOf(u']') - 1);
    else if (name.count(u':') == 1)
        name = name.section(u':', 0, 0);
    if (name == QLatin1String("localhost"))
        return true;
    const QHostAddress address(name);
    return !address.isNull() && address.isLoopback();
}

QStringList RegistryClient::schemesFor(const QString &host) const
{
    const QString https = QStringLiteral("https"), http = QStringLiteral("http");
    // A registry on loopback almost always speaks plain HTTP: asked that way first, the
    // askers that start side by side do not each spend a TLS handshake finding out.
    if (isLoopback(host))
        return {http, https};
    return m_plainHttp(host) ? QStringList{https, http} : QStringList{https};
}

QCoro::Task<QNetworkReply *> RegistryClient::head(const ImageReference &reference, const QString &scheme)
{
    QNetworkRequest request(QUrl(QStringLiteral("%1://%2/v2/%3/manifests/%4")
                                     .arg(scheme, reference.apiHost(), reference.path, reference.tag)));
    request.setRawHeader("Accept", RegistryRules::acceptedManifests());
    request.setTransferTimeout(transferTimeout);
    if (const auto it = m_authorization.constFind(reference.repository()); it != m_authorization.cend())
        request.setRawHeader("Authorization", *it);
    QNetworkReply *reply = m_network.head(request);
    if (scheme == QLatin1String("https") && m_plainHttp(reference.domain))
        reply->ignoreSslErrors();  // as the engine treats a registry it is told is insecure
    co_await reply;
    co_return reply;
}

QCoro::Task<CredentialHelper::Answer> RegistryClient::credentialFor(const ImageReference &reference)
{
    const QString host = reference.domain;
    if (const auto it = m_signIns.constFind(host); it != m_signIns.cend())
        co_return *it;
    auto asked = m_credentials(reference);
    CredentialHelper::Answer answer = co_await asked;
    m_signIns.insert(host, answer);
    co_return answer;
}

QCoro::Task<QByteArray> RegistryClient::authorize(ImageReference reference, AuthChallenge challenge, QString *why)
{
    const QByteArray none;
    auto reading = credentialFor(reference);
    const CredentialHelper::Answer signIn = co_await reading;
    if (!signIn.problem.isEmpty()) {
        *why = QStringLiteral("its sign-in could not be read: %1").arg(signIn.problem);
        co_return none;
    }
    const std::optional<RegistryCredential> credential = signIn.credential;
    if (challenge.scheme == QLatin1String("basic")) {
        if (!credential || credential->identityToken) {
            *why = QStringLiteral("%1 asks for a sign-in and none is stored (docker login %1)").arg(reference.domain);
            co_return none;
        }
        const QByteArray basic = "Basic " + (credential->username + u':' + credential->secret).toUtf8().toBase64();
        co_return basic;
    }

    const QString realm = challenge.params.value(QStringLiteral("realm"));
    QUrl url(realm);
    // Only a web address is asked: a realm of "file:" would read this machine's files.
    const bool web = url.isValid() && !url.host().isEmpty()
                     && (url.scheme() == QLatin1String("https") || (url.scheme() == QLatin1String("http") && m_plainHttp(hostOf(realm))));
    if (!web) {
        *why = QStringLiteral("%1 sends sign-ins to a token service that is not HTTPS").arg(reference.domain);
        co_return none;
    }
    QUrlQuery query(url);
    if (const QString service = challenge.params.value(QStringLiteral("service")); !service.isEmpty())
        query.addQueryItem(QStringLiteral("service"), service);
    const QString scope = QStringLiteral("repository:%1:pull").arg(reference.path);
    QNetworkRequest request;
    request.setTransferTimeout(transferTimeout);
    QNetworkReply *reply = nullptr;
    if (credential && credential->identityToken) {
        request.setUrl(url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/x-www-form-urlencoded"));
        QUrlQuery form = query;
        form.addQueryItem(QStringLiteral("scope"), scope);
        form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("refresh_token"));
        form.addQueryItem(QStringLiteral("refresh_token"), credential->secret);
        form.addQueryItem(QStringLiteral("client_id"), QStringLiteral("korvat"));
        reply = m_network.post(request, form.toString(QUrl::FullyEncoded).toUtf8());
    } else {
        query.addQueryItem(QStringLiteral("scope"), scope);
        url.setQuery(query);
        request.setUrl(url);
        if (credential && !credential->identityToken)
            request.setRawHeader("Authorization", "Basic " + (credential->username + u':' + credential->secret).toUtf8().toBase64());
        reply = m_network.get(request);
    }
    co_await reply;
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 0) {
        *why = QStringLiteral("its token service could not be reached: %1").arg(reply->errorString());
        co_return none;
    }
    if (status != 200) {
        *why = status == 401 || status == 403 ? QStringLiteral("%1 refused the sign-in").arg(reference.domain)
                                              : QStringLiteral("its token service answered %1").arg(httpWords(reply, status));
        co_return none;
    }
    const QByteArray token = RegistryRules::tokenOf(reply->readAll());
    if (token.isEmpty()) {
        *why = QStringLiteral("its token service gave no token");
        co_return none;
    }
    const QByteArray bearer = "Bearer " + token;
    co_return bearer;
}

namespace {
RegistryAnswer failed(RegistryAnswer::Kind kind, const QString &detail, const QDateTime &retryAfter = {})
{
    return {kind, {}, detail, retryAfter};
}
}

QCoro::Task<RegistryAnswer> RegistryClient::digestOf(ImageReference reference)
{
    RegistryAnswer answer = failed(RegistryAnswer::Kind::Missing, QStringLiteral("pinned by digest"));
    if (reference.pinned() || reference.tag.isEmpty())
        co_return answer;
    const QString host = reference.apiHost();
    const QString repository = reference.repository();
    // Known the way in from an earlier tag of this registry: ask for this one's token first.
    if (!m_authorization.contains(repository) && m_challenges.contains(host)) {
        QString why;
        const AuthChallenge known = m_challenges.value(host);
        auto trading = authorize(reference, known, &why);
        const QByteArray authorization = co_await trading;
        if (!authorization.isEmpty())
            m_authorization.insert(repository, authorization);
    }

    const QString refused = QStringLiteral("%1 refused the sign-in").arg(reference.domain);
    for (int attempt = 0; attempt < 2; ++attempt) {
        QStringList schemes{m_scheme.value(host)};
        if (schemes.first().isEmpty())
            schemes = schemesFor(reference.domain);
        QNetworkReply *reply = nullptr;
        int status = 0;
        for (const QString &scheme : std::as_const(schemes)) {
            if (reply)
                reply->deleteLater();
            auto asking = head(reference, scheme);
            reply = co_await asking;
            status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
            // An HTTPS server asked in plain text says so with a 400.
            if (status != 0 && status != 400) {
                m_scheme.insert(host, scheme);
                break;
            }
        }
        reply->deleteLater();
        if (status == 401 && attempt == 0) {
            const auto challenge = AuthChallenge::parse(reply->rawHeader("WWW-Authenticate"));
            if (!challenge) {
                answer = failed(RegistryAnswer::Kind::Refused, refused);
                break;
            }
            m_challenges.insert(host, *challenge);
            QString why;
            const AuthChallenge asked = *challenge;
            auto trading = authorize(reference, asked, &why);
            const QByteArray authorization = co_await trading;
            if (authorization.isEmpty()) {
                answer = failed(RegistryAnswer::Kind::Refused, why);
                break;
            }
            m_authorization.insert(repository, authorization);
            continue;
        }
        answer = judged(reference, reply, status);
        break;
    }
    co_return answer;
}

RegistryAnswer RegistryClient::judged(const ImageReference &reference, QNetworkReply *reply, int status)
{
    switch (status) {
    case 0:
        return failed(RegistryAnswer::Kind::Unreachable, reply->errorString());
    case 200: {
        const QByteArray digest = reply->rawHeader("Docker-Content-Digest");
        if (digest.isEmpty())
            return failed(RegistryAnswer::Kind::Unreachable, QStringLiteral("%1 gave no digest for the tag").arg(reference.domain));
        return {RegistryAnswer::Kind::Digest, QString::fromLatin1(digest)};
    }
    case 401:
    case 403:
        return failed(RegistryAnswer::Kind::Refused, QStringLiteral("%1 refused the sign-in").arg(reference.domain));
    case 404:
        return failed(RegistryAnswer::Kind::Missing, QStringLiteral("%1 has no tag %2").arg(reference.domain, quoted(reference.tag)));
    case 429:
        return failed(RegistryAnswer::Kind::RateLimited, QStringLiteral("%1 limits how often it is asked").arg(reference.domain),
                      RegistryRules::retryAfter(reply->rawHeader("Retry-After"), QDateTime::currentDateTimeUtc()));
    default:
        return failed(RegistryAnswer::Kind::Unreachable, QStringLiteral("%1 answered %2").arg(reference.domain, httpWords(reply, status)));
    }
}
