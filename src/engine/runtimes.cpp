#include "docker.h"

#include <QFileInfo>

namespace Docker {

namespace {
const QLatin1String unixScheme("unix://");
}

QString userRuntimePath(const QString &path)
{
    const QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return dir.isEmpty() ? QString() : dir + path;
}

bool endpointReachable(const QString &endpoint)
{
    if (!endpoint.startsWith(unixScheme))
        return true;
    const QString path = endpoint.mid(unixScheme.size());
    // exists() follows links, so a link whose target is gone counts as missing.
    return !path.isEmpty() && QFileInfo::exists(path);
}

RuntimeList parseRuntimes(const QString &contextJson)
{
    RuntimeList result;
    std::optional<Runtime> cliCurrent;
    QStringList endpoints;
    for (const auto &o : ndjson(contextJson)) {
        const auto nameValue = o.value(QLatin1String("Name"));
        const auto endpointValue = o.value(QLatin1String("DockerEndpoint"));
        const QString name = nameValue.isString() ? nameValue.toString() : QString();
        const QString endpoint = endpointValue.isString() ? endpointValue.toString() : QString();
        const auto runtime = Runtime::context(name);
        result.list.append({runtime, endpoint, endpointReachable(endpoint)});
        endpoints.append(endpoint);
        if (o.value(QLatin1String("Current")) == QJsonValue(true))
            cliCurrent = runtime;
    }
    // Each socket engine once, after the contexts, unless a context already points at it.
    const auto addSocket = [&](const QString &name, const QString &path) {
        const QString endpoint = unixScheme + path;
        if (path.isEmpty() || !QFileInfo::exists(path) || endpoints.contains(endpoint))
            return false;
        result.list.append({Runtime::socket(name, path), endpoint, true});
        endpoints.append(endpoint);
        return true;
    };
    addSocket(appleRuntimeName, launch().appleSocketPath);
    addSocket(rootlessRuntimeName, launch().rootlessSocketPath);
    for (const QString &path : launch().podmanSocketPaths) {
        if (addSocket(podmanRuntimeName, path))
            break;
    }
    result.current = preferred(result.list, cliCurrent);
    return result;
}

std::optional<Runtime> preferred(const QList<RuntimeEntry> &list, const std::optional<Runtime> &current)
{
    if (current) {
        const auto it = std::find_if(list.cbegin(), list.cend(), [&](const RuntimeEntry &e) { return e.runtime == *current; });
        if (it != list.cend() && it->reachable)
            return current;
    }
    const auto reachable = std::find_if(list.cbegin(), list.cend(), [](const RuntimeEntry &e) { return e.reachable; });
    if (reachable != list.cend())
        return reachable->runtime;
    if (current)
        return current;
    if (!list.isEmpty())
        return list.first().runtime;
    return std::nullopt;
}

QList<Runtime> handoverCandidates(const std::optional<Runtime> &from, const QList<RuntimeEntry> &in)
{
    if (!from)
        return {};
    const auto own = std::find_if(in.cbegin(), in.cend(), [&](const RuntimeEntry &e) { return e.runtime == *from; });
    if (own != in.cend() && own->reachable)
        return {};
    QList<Runtime> others;
    for (const RuntimeEntry &e : in) {
        if (e.reachable && e.runtime != *from)
            others.append(e.runtime);
    }
    return others;
}

} // namespace Docker
