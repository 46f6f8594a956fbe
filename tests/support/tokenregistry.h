#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTcpServer>

class QTcpSocket;

// A stand-in for a registry behind a token service, served from the test's own event loop on
// a free loopback port (no such registry can be reached from here). Manifests answer 401 with
// a Bearer challenge unless they carry the token it issued for their repository's pull scope;
// GET /token (and POST /token with a refresh token) issues tokens, asking for its one account
// when told to. Plain HTTP only: a TLS hello is hung up on, as a plain server would.
class TokenRegistry : public QObject {
    Q_OBJECT

public:
    TokenRegistry();
    bool listening() const { return m_server.isListening(); }
    // "127.0.0.1:<port>"
    QString host() const;
    // What HEAD and GET of name:tag's manifest answer once signed in; other tags are 404.
    void setDigest(const QString &name, const QString &tag, const QString &digest);
    // From now on the token service wants this account: Basic on GET, the password as the
    // refresh token on POST.
    void requireSignIn(const QString &user, const QString &password);
    // The next manifest request that holds its token answers 429 with this Retry-After.
    void limitNext(int retryAfterSeconds) { m_limit = retryAfterSeconds; }
    // Every request so far, by path, with the Authorization scheme it carried:
    // "HEAD /v2/app/manifests/1", "GET /token Basic", "HEAD /v2/app/manifests/1 Bearer". The
    // scope a token was asked for shows in whether the HEAD after it is let in.
    QStringList requests() const { return m_requests; }
    void forget() { m_requests.clear(); }

private:
    struct Answer {
        int status;
        QByteArray reason;
        QList<QPair<QByteArray, QByteArray>> headers = {};
        QByteArray body = {};
    };
    static Answer refused();
    void readFrom(QTcpSocket *socket);
    Answer answer(const QByteArray &method, const QByteArray &target, const QHash<QByteArray, QByteArray> &headers, const QByteArray &body);
    Answer manifest(const QString &name, const QString &tag, const QByteArray &authorization);
    QString tokenFor(const QString &scope);

    QHash<QTcpSocket *, QByteArray> m_pending;
    QHash<QString, QString> m_digests;   // by "name:tag"
    QHash<QString, QByteArray> m_tokens; // by scope
    QString m_user, m_password;
    int m_limit = -1;
    QStringList m_requests;
    // Last, so it goes first: its sockets, going with it, still find m_pending.
    QTcpServer m_server;
};
