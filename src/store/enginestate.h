#pragma once

#include "engine.h"

#include <QObject>
#include <optional>

// What the engine last showed for the selected runtime, and the banners: every value set
// only when it differs, so a poll that finds nothing new emits nothing.
class EngineState : public QObject {
    Q_OBJECT

public:
    // Who set the error matters: a good poll clears only what a failed poll set, so an
    // action's failure stays up until the next action or a dismissal.
    enum class ErrorSource { Refresh, Action };

    using QObject::QObject;

    const QList<RuntimeEntry> &runtimes() const { return m_runtimes; }
    const std::optional<Runtime> &runtime() const { return m_runtime; }
    const QList<Container> &containers() const { return m_containers; }
    const QList<DockerImage> &images() const { return m_images; }
    const QList<DockerVolume> &volumes() const { return m_volumes; }
    const QList<DockerNetwork> &networks() const { return m_networks; }
    const std::optional<QString> &error() const { return m_error; }
    ErrorSource errorSource() const { return m_errorSource; }
    const std::optional<QString> &notice() const { return m_notice; }
    bool busy() const { return m_busy; }

    void setRuntimes(const QList<RuntimeEntry> &runtimes);
    void setRuntime(const std::optional<Runtime> &runtime);
    // The same rows in another order count as no change: the engine does not keep a stable
    // order among rows it considers equal, and the order already shown stays.
    void setLists(const QList<Container> &containers, const QList<DockerImage> &images, const QList<DockerVolume> &volumes,
                  const QList<DockerNetwork> &networks);
    void setError(const std::optional<QString> &error, ErrorSource source = ErrorSource::Action);
    void setNotice(const std::optional<QString> &notice);
    void setBusy(bool busy);

signals:
    void runtimesChanged();
    void runtimeChanged();
    void containersChanged();
    void imagesChanged();
    void volumesChanged();
    void networksChanged();
    void errorChanged();
    void noticeChanged();
    void busyChanged();

private:
    QList<RuntimeEntry> m_runtimes;
    std::optional<Runtime> m_runtime;
    QList<Container> m_containers;
    QList<DockerImage> m_images;
    QList<DockerVolume> m_volumes;
    QList<DockerNetwork> m_networks;
    std::optional<QString> m_error;
    ErrorSource m_errorSource = ErrorSource::Action;
    std::optional<QString> m_notice;
    bool m_busy = false;
};
