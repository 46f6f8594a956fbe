#pragma once

#include "container.h"
#include "containerdetails.h"
#include "engineevent.h"
#include "transcript.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// The details sheet's state for one container: read once when the sheet opens (one
// `docker inspect`), again only when an event for that container arrives while it is open,
// and never while no sheet is open. Every text the sheet shows is composed here.
class ContainerInspection : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a container by Actions")
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(bool loaded READ loaded NOTIFY changed)
    // Removed while the sheet was open: what was shown stays, with a line that says so.
    Q_PROPERTY(bool gone READ gone NOTIFY changed)
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    // Each {title, note, rows: [{label, value, spoken, secret, alarm, volume}]}.
    Q_PROPERTY(QVariantList sections READ sections NOTIFY changed)
    Q_PROPERTY(bool hasSecrets READ hasSecrets NOTIFY changed)
    Q_PROPERTY(bool showSecrets READ showSecrets WRITE setShowSecrets NOTIFY changed)
    // The whole `docker inspect` document, for find, copy and save.
    Q_PROPERTY(Transcript *document READ document CONSTANT)

public:
    ContainerInspection(AppStore *store, const Container &container, QObject *parent = nullptr);

    QString title() const;
    bool loaded() const { return m_details.has_value(); }
    bool gone() const { return m_gone; }
    QString problem() const { return m_problem; }
    QVariantList sections() const;
    bool hasSecrets() const;
    bool showSecrets() const { return m_showSecrets; }
    void setShowSecrets(bool show);
    Transcript *document() { return &m_document; }
    const std::optional<ContainerDetails> &details() const { return m_details; }
    // Readings begun, for tests.
    int reads() const { return m_reads; }

    // The sheet opened: read now, and on each of the container's events until stop.
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    // The environment as shown, for Copy.
    Q_INVOKABLE QString environmentText() const;

signals:
    void changed();

private:
    void seen(const ContainerChange &change);
    QCoro::Task<> read();
    void show(const std::optional<ContainerDetails> &details);

    QPointer<AppStore> m_store;
    Container m_container;
    std::optional<ContainerDetails> m_details;
    bool m_gone = false;
    QString m_problem;
    bool m_showSecrets = false;
    bool m_following = false;
    bool m_reading = false;
    bool m_again = false;
    int m_reads = 0;
    Transcript m_document;
    QMetaObject::Connection m_events;
};
