#pragma once

#include "containermodel.h"

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

// A row's claim on its container's machine use: held while it is active, given up when it
// is not or the row goes, so the model reads only what some row shows.
class UsageTicket : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ContainerModel *model READ model WRITE setModel NOTIFY changed)
    Q_PROPERTY(QString containerId READ containerId WRITE setContainerId NOTIFY changed)
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY changed)

public:
    using QObject::QObject;
    ~UsageTicket() override { hold(false); }

    ContainerModel *model() const { return m_model; }
    void setModel(ContainerModel *model) { change([&] { m_model = model; }); }
    QString containerId() const { return m_containerId; }
    void setContainerId(const QString &id) { change([&] { m_containerId = id; }); }
    bool active() const { return m_active; }
    void setActive(bool active) { change([&] { m_active = active; }); }

signals:
    void changed();

private:
    template<typename F>
    void change(F &&set)
    {
        hold(false);
        set();
        hold(true);
        emit changed();
    }
    void hold(bool on)
    {
        const bool should = on && m_model && m_active && !m_containerId.isEmpty();
        if (should == m_held)
            return;
        // The model may go before the row: the claim goes with it.
        if (m_heldBy)
            m_heldBy->onScreen(m_heldId, false);
        m_held = should;
        m_heldBy = should ? m_model : nullptr;
        m_heldId = should ? m_containerId : QString();
        if (should)
            m_model->onScreen(m_containerId, true);
    }

    QPointer<ContainerModel> m_model;
    QString m_containerId;
    bool m_active = false;
    bool m_held = false;
    QPointer<ContainerModel> m_heldBy;
    QString m_heldId;
};
