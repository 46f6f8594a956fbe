#pragma once

#include "hostengine.h"
#include "servicemanager.h"

#include <QCoroTask>
#include <QObject>
#include <functional>
#include <memory>

// The engines installed on this machine and their services, for the settings window.
// Changes only on the UI thread; the package probe runs on a worker, systemd is asked
// without waiting.
class HostEngineStore : public QObject {
    Q_OBJECT

public:
    using Probe = std::function<QList<HostEngine>()>;

    explicit HostEngineStore(Probe probe = &HostEngines::probe,
                             std::shared_ptr<const ServiceManager> services = std::make_shared<SystemdManager>(),
                             QObject *parent = nullptr);

    const QList<HostEngine> &engines() const { return m_engines; }
    bool surveyed() const { return m_surveyed; }

    // The packages, then every unit of every engine found. One survey at a time.
    QCoro::Task<> survey();
    // Starts or restarts the unit as its state asks, then follows it until it settles.
    QCoro::Task<> act(QString engine, ServiceUnit::Scope scope, QString unit);
    // Enables the engine's unit of that scope that HostEngines::toEnable names, once polkit allows.
    QCoro::Task<> startAtBoot(QString engine, ServiceUnit::Scope scope);
    // Lets the user linger, once polkit allows: every engine of theirs keeps running.
    QCoro::Task<> keepRunningAfterLogout();

signals:
    void enginesChanged();

private:
    void setEngines(const QList<HostEngine> &engines);
    void replaceUnit(const QString &engine, const ServiceUnit &unit);
    void setLinger(const Linger &linger);

    Probe m_probe;
    std::shared_ptr<const ServiceManager> m_services;
    QList<HostEngine> m_engines;
    bool m_surveyed = false;
    bool m_surveying = false;
};
