#include "enginestate.h"

namespace {
template<typename T, typename Key>
bool sameRows(const QList<T> &shown, const QList<T> &fetched, Key key)
{
    if (shown.size() != fetched.size())
        return false;
    if (shown == fetched)
        return true;
    QList<T> a = shown, b = fetched;
    const auto byKey = [&](const T &x, const T &y) { return key(x) < key(y); };
    std::sort(a.begin(), a.end(), byKey);
    std::sort(b.begin(), b.end(), byKey);
    return a == b;
}
}

void EngineState::setRuntimes(const QList<RuntimeEntry> &runtimes)
{
    if (m_runtimes == runtimes)
        return;
    m_runtimes = runtimes;
    emit runtimesChanged();
}

void EngineState::setRuntime(const std::optional<Runtime> &runtime)
{
    if (m_runtime == runtime)
        return;
    m_runtime = runtime;
    emit runtimeChanged();
}

void EngineState::setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes,
                           const QList<DockerNetwork> &networks)
{
    if (!sameRows(m_containers, containers, [](const Container &c) { return c.id; })) {
        m_containers = containers;
        emit containersChanged();
    }
    if (!sameRows(m_images, images, [](const DockerImage &i) { return std::tie(i.id, i.repository, i.tag); })) {
        m_images = images;
        emit imagesChanged();
    }
    if (!sameRows(m_volumes, volumes, [](const DockerVolume &v) { return v.name; })) {
        m_volumes = volumes;
        emit volumesChanged();
    }
    if (!sameRows(m_networks, networks, [](const DockerNetwork &n) { return n.id; })) {
        m_networks = networks;
        emit networksChanged();
    }
}

void EngineState::setError(const std::optional<QString> &error, ErrorSource source)
{
    m_errorSource = source;
    if (m_error == error)
        return;
    m_error = error;
    emit errorChanged();
}

void EngineState::setNotice(const std::optional<QString> &notice)
{
    if (m_notice == notice)
        return;
    m_notice = notice;
    emit noticeChanged();
}

void EngineState::setBusy(bool busy)
{
    if (m_busy == busy)
        return;
    m_busy = busy;
    emit busyChanged();
}
