#include "portlinks.h"

namespace PortLinks {

namespace {
QString remoteHost(const QString &endpoint)
{
    const QUrl url(endpoint);
    if (url.scheme() != QLatin1String("tcp") && url.scheme() != QLatin1String("ssh"))
        return {};
    return url.host();
}

bool everyAddress(const QString &ip)
{
    return ip.isEmpty() || ip == QLatin1String("0.0.0.0") || ip == QLatin1String("::");
}
}

QList<Link> links(const QList<PortBinding> &ports, const QString &endpoint)
{
    const QString remote = remoteHost(endpoint);
    QList<Link> out;
    for (const PortBinding &p : ports) {
        if (!p.isPublished() || p.protocol != QLatin1String("tcp"))
            continue;
        QUrl url;
        url.setScheme(QStringLiteral("http"));
        url.setHost(!remote.isEmpty() ? remote : everyAddress(p.hostIp) ? QStringLiteral("localhost") : p.hostIp);
        url.setPort(p.hostPort);
        const Link link{url.authority(), url};
        if (!out.contains(link))
            out.append(link);
    }
    return out;
}

}
