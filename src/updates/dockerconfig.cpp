#include "dockerconfig.h"

#include "childprocess.h"
#include "imagereference.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryFile>

QString DockerConfig::path()
{
    const QString dir = qEnvironmentVariable("DOCKER_CONFIG");
    return (dir.isEmpty() ? QDir::homePath() + QLatin1String("/.docker") : dir) + QLatin1String("/config.json");
}

DockerConfig DockerConfig::parse(const QByteArray &json)
{
    DockerConfig config;
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    const QJsonObject auths = root.value(QLatin1String("auths")).toObject();
    for (auto it = auths.begin(); it != auths.end(); ++it) {
        const QJsonObject entry = it.value().toObject();
        RegistryCredential credential;
        if (const QString token = entry.value(QLatin1String("identitytoken")).toString(); !token.isEmpty()) {
            credential = {QString(), token, true};
        } else if (const QString auth = entry.value(QLatin1String("auth")).toString(); !auth.isEmpty()) {
            const QString pair = QString::fromUtf8(QByteArray::fromBase64(auth.toLatin1()));
            const qsizetype colon = pair.indexOf(u':');
            if (colon <= 0)
                continue;
            credential = {pair.left(colon), pair.mid(colon + 1)};
        } else if (entry.contains(QLatin1String("username"))) {
            credential = {entry.value(QLatin1String("username")).toString(), entry.value(QLatin1String("password")).toString()};
        } else {
            continue;  // an entry a helper holds: the client writes it empty
        }
        config.stored.insert(registryHostOf(it.key()), credential);
    }
    config.credsStore = root.value(QLatin1String("credsStore")).toString();
    const QJsonObject helpers = root.value(QLatin1String("credHelpers")).toObject();
    for (auto it = helpers.begin(); it != helpers.end(); ++it)
        config.credHelpers.insert(registryHostOf(it.key()), it.value().toString());
    return config;
}

DockerConfig DockerConfig::read()
{
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? parse(file.readAll()) : DockerConfig{};
}

QString DockerConfig::helperFor(const QString &host) const
{
    return credHelpers.value(host, credsStore);
}

std::optional<RegistryCredential> DockerConfig::storedFor(const QString &host) const
{
    const auto it = stored.constFind(host);
    return it == stored.cend() ? std::nullopt : std::optional(*it);
}

namespace CredentialHelper {

Answer read(int status, const QByteArray &out, const QByteArray &err)
{
    if (status != 0) {
        // Helpers say this on standard output when they hold nothing for the server: not a
        // failure. Beyond that, only standard error is ever shown: output is where secrets go.
        if (out.contains("credentials not found") || err.contains("credentials not found"))
            return {};
        const QString message = QString::fromUtf8(err).trimmed().section(u'\n', 0, 0).left(200);
        return {std::nullopt, message.isEmpty() ? QStringLiteral("it exited with status %1").arg(status) : message};
    }
    const QJsonObject o = QJsonDocument::fromJson(out).object();
    const QString user = o.value(QLatin1String("Username")).toString();
    const QString secret = o.value(QLatin1String("Secret")).toString();
    if (secret.isEmpty())
        return {};
    // The client's mark for an identity token in place of a user name.
    if (user == QLatin1String("<token>"))
        return {RegistryCredential{QString(), secret, true}, {}};
    return {RegistryCredential{user, secret}, {}};
}

Answer get(const QString &helper, const QString &serverKey, std::chrono::milliseconds deadline)
{
    QTemporaryFile input;
    if (!input.open() || input.write(serverKey.toUtf8()) < 0 || !input.flush())
        return {std::nullopt, input.errorString()};
    QProcess child;
    child.setProgram(QLatin1String("docker-credential-") + helper);
    child.setArguments({QStringLiteral("get")});
    child.setStandardInputFile(input.fileName());
    ChildProcess::prepare(child);
    switch (ChildProcess::runToEnd(child, deadline)) {
    case ChildProcess::Ended::Exited: break;
    case ChildProcess::Ended::NotStarted:
        return {std::nullopt, QStringLiteral("docker-credential-%1 could not start: %2").arg(helper, child.errorString())};
    case ChildProcess::Ended::TimedOut:
        return {std::nullopt, QStringLiteral("docker-credential-%1 did not answer within %2 s").arg(helper).arg(deadline.count() / 1000)};
    case ChildProcess::Ended::Cancelled: return {std::nullopt, QStringLiteral("cancelled")};
    }
    return read(child.exitCode(), child.readAllStandardOutput(), child.readAllStandardError());
}

} // namespace CredentialHelper
