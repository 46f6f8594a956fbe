#include "tokenregistry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>

namespace {

const QString service = QStringLiteral("stand-in");

QByteArray json(const QJsonObject &o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

QByteArray errors(const char *code, const char *message)
{
    return json({{"errors", QJsonArray{QJsonObject{{"code", code}, {"message", message}}}}});
}

} // namespace

TokenRegistry::Answer TokenRegistry::refused()
{
    return {401, "Unauthorized", {{"WWW-Authenticate", R"(Basic realm="stand-in")"}}, R"({"details":"incorrect username or password"})"};
}

TokenRegistry::TokenRegistry()
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QObject::destroyed, this, [this, socket] { m_pending.remove(socket); });
        }
    });
    m_server.listen(QHostAddress::LocalHost);
}

QString TokenRegistry::host() const
{
    return QStringLiteral("127.0.0.1:%1").arg(m_server.serverPort());
}

void TokenRegistry::setDigest(const QString &name, const QString &tag, const QString &digest)
{
    m_digests.insert(name + u':' + tag, digest);
}

void TokenRegistry::requireSignIn(const QString &user, const QString &password)
{
    m_user = user;
    m_password = password;
}

void TokenRegistry::readFrom(QTcpSocket *socket)
{
    QByteArray &buffer = m_pending[socket];
    buffer += socket->readAll();
    // A TLS ClientHello: this server speaks plain HTTP only.
    if (buffer.startsWith('\x16')) {
        socket->abort();
        return;
    }
    for (;;) {
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        const QList<QByteArray> requestLine = lines.first().trimmed().split(' ');
        QHash<QByteArray, QByteArray> headers;
        for (qsizetype i = 1; i < lines.size(); ++i)
            if (const qsizetype colon = lines[i].indexOf(':'); colon > 0)
                headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        const qsizetype length = headers.value("content-length", "0").toLongLong();
        if (buffer.size() < end + 4 + length)
            return;
        const QByteArray body = buffer.mid(end + 4, length);
        buffer.remove(0, end + 4 + length);
        if (requestLine.size() != 3) {
            socket->abort();
            return;
        }
        const QByteArray &method = requestLine[0], &target = requestLine[1];
        const QByteArray authorization = headers.value("authorization");
        QString line = QString::fromLatin1(method) + u' ' + QUrl(QString::fromLatin1(target)).path();
        if (!authorization.isEmpty())
            line += u' ' + QString::fromLatin1(authorization.split(' ').first());
        m_requests << line;

        const Answer a = answer(method, target, headers, body);
        QByteArray response = "HTTP/1.1 " + QByteArray::number(a.status) + ' ' + a.reason + "\r\n";
        for (const auto &[name, value] : a.headers)
            response += name + ": " + value + "\r\n";
        response += "Content-Length: " + QByteArray::number(a.body.size()) + "\r\n\r\n";
        if (method != "HEAD")
            response += a.body;
        socket->write(response);
    }
}

TokenRegistry::Answer TokenRegistry::answer(const QByteArray &method, const QByteArray &target, const QHash<QByteArray, QByteArray> &headers,
                                            const QByteArray &body)
{
    const QUrl url(QString::fromLatin1(target));
    const QString path = url.path();
    const qsizetype manifests = path.indexOf(QLatin1String("/manifests/"));
    if ((method == "HEAD" || method == "GET") && path.startsWith(QLatin1String("/v2/")) && manifests > 4)
        return manifest(path.mid(4, manifests - 4), path.mid(manifests + 11), headers.value("authorization"));
    if (path == QLatin1String("/token") && method == "GET") {
        const QUrlQuery query(url);
        if (query.queryItemValue(QStringLiteral("service")) != service)
            return {400, "Bad Request", {}, errors("UNSUPPORTED", "unknown service")};
        const QByteArray basic = "Basic " + (m_user + u':' + m_password).toUtf8().toBase64();
        if (!m_user.isEmpty() && headers.value("authorization") != basic)
            return refused();
        return {200, "OK", {{"Content-Type", "application/json"}}, json({{"token", tokenFor(query.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded))}})};
    }
    if (path == QLatin1String("/token") && method == "POST") {
        const QUrlQuery form(QString::fromUtf8(body));
        if (form.queryItemValue(QStringLiteral("service")) != service || form.queryItemValue(QStringLiteral("grant_type")) != QLatin1String("refresh_token"))
            return {400, "Bad Request", {}, errors("UNSUPPORTED", "unknown service or grant")};
        if (!m_user.isEmpty() && form.queryItemValue(QStringLiteral("refresh_token"), QUrl::FullyDecoded) != m_password)
            return refused();
        // OAuth's own name for what the GET calls "token".
        const QString scope = form.queryItemValue(QStringLiteral("scope"), QUrl::FullyDecoded);
        return {200, "OK", {{"Content-Type", "application/json"}}, json({{"access_token", tokenFor(scope)}, {"expires_in", 300}})};
    }
    return {404, "Not Found", {}, errors("NOT_FOUND", "not here")};
}

TokenRegistry::Answer TokenRegistry::manifest(const QString &name, const QString &tag, const QByteArray &authorization)
{
    const QString scope = QStringLiteral("repository:%1:pull").arg(name);
    if (!m_tokens.contains(scope) || authorization != "Bearer " + m_tokens.value(scope)) {
        const QString challenge = QStringLiteral(R"(Bearer realm="http://%1/token",service="%2",scope="%3")").arg(host(), service, scope);
        return {401, "Unauthorized", {{"WWW-Authenticate", challenge.toLatin1()}}, errors("UNAUTHORIZED", "authentication required")};
    }
    if (const int seconds = std::exchange(m_limit, -1); seconds >= 0)
        return {429, "Too Many Requests", {{"Retry-After", QByteArray::number(seconds)}}, errors("TOOMANYREQUESTS", "slow down")};
    const QString digest = m_digests.value(name + u':' + tag);
    if (digest.isEmpty())
        return {404, "Not Found", {}, errors("MANIFEST_UNKNOWN", "manifest unknown")};
    return {200, "OK", {{"Docker-Content-Digest", digest.toLatin1()}, {"Content-Type", "application/vnd.docker.distribution.manifest.v2+json"}},
            QByteArray(527, ' ')};
}

QString TokenRegistry::tokenFor(const QString &scope)
{
    auto it = m_tokens.find(scope);
    if (it == m_tokens.end())
        it = m_tokens.insert(scope, QUuid::createUuid().toByteArray(QUuid::WithoutBraces));
    return QString::fromLatin1(*it);
}
