#include "imagereference.h"

#include <QRegularExpression>

namespace {

const QString dockerHub = QStringLiteral("docker.io");

bool looksLikeDomain(QStringView first)
{
    return first.contains(u'.') || first.contains(u':') || first == QLatin1String("localhost");
}

bool validPath(const QString &path)
{
    static const QRegularExpression component(QStringLiteral("^[a-z0-9]+(?:(?:[._]|__|-+)[a-z0-9]+)*$"));
    for (const QString &part : path.split(u'/'))
        if (!component.match(part).hasMatch())
            return false;
    return true;
}

} // namespace

std::optional<ImageReference> ImageReference::parse(const QString &text)
{
    static const QRegularExpression tagPattern(QStringLiteral("^[A-Za-z0-9_][A-Za-z0-9_.-]{0,127}$"));
    static const QRegularExpression digestPattern(QStringLiteral("^[a-z0-9]+(?:[+._-][a-z0-9]+)*:[a-fA-F0-9]{32,}$"));
    static const QRegularExpression bareId(QStringLiteral("^(sha256:)?[a-f0-9]{64}$"));
    if (text.isEmpty() || bareId.match(text).hasMatch())
        return std::nullopt;

    ImageReference ref;
    QString name = text;
    if (const qsizetype at = name.indexOf(u'@'); at >= 0) {
        ref.digest = name.mid(at + 1);
        name.truncate(at);
        if (!digestPattern.match(ref.digest).hasMatch())
            return std::nullopt;
    }
    // A colon after the last slash is the tag's; one before it is a port's.
    const qsizetype slash = name.lastIndexOf(u'/');
    if (const qsizetype colon = name.lastIndexOf(u':'); colon > slash) {
        ref.tag = name.mid(colon + 1);
        name.truncate(colon);
        if (!tagPattern.match(ref.tag).hasMatch())
            return std::nullopt;
    }
    const qsizetype firstSlash = name.indexOf(u'/');
    if (firstSlash > 0 && looksLikeDomain(QStringView(name).left(firstSlash))) {
        ref.domain = name.left(firstSlash);
        ref.path = name.mid(firstSlash + 1);
    } else {
        ref.domain = dockerHub;
        ref.path = name;
    }
    if (ref.domain == QLatin1String("index.docker.io"))
        ref.domain = dockerHub;
    if (ref.domain == dockerHub && !ref.path.contains(u'/'))
        ref.path.prepend(QLatin1String("library/"));
    if (ref.tag.isEmpty() && ref.digest.isEmpty())
        ref.tag = QStringLiteral("latest");
    if (!validPath(ref.path))
        return std::nullopt;
    return ref;
}

QString ImageReference::canonical() const
{
    QString text = repository();
    if (!tag.isEmpty())
        text += u':' + tag;
    if (!digest.isEmpty())
        text += u'@' + digest;
    return text;
}

QString ImageReference::familiar() const
{
    QString name = repository();
    if (domain == dockerHub)
        name = path.startsWith(QLatin1String("library/")) ? path.mid(8) : path;
    if (!tag.isEmpty())
        name += u':' + tag;
    if (!digest.isEmpty())
        name += u'@' + digest;
    return name;
}

QString ImageReference::apiHost() const
{
    return domain == dockerHub ? QStringLiteral("registry-1.docker.io") : domain;
}

QString ImageReference::credentialKey() const
{
    return domain == dockerHub ? QStringLiteral("https://index.docker.io/v1/") : domain;
}

QString registryHostOf(const QString &key)
{
    QString host = key;
    for (const char *scheme : {"https://", "http://"})
        if (host.startsWith(QLatin1String(scheme)))
            host = host.mid(qsizetype(qstrlen(scheme)));
    host = host.section(u'/', 0, 0);
    return host == QLatin1String("index.docker.io") || host == QLatin1String("registry-1.docker.io") ? dockerHub : host;
}
