#pragma once

#include "enginestore.h"
#include "container.h"
#include "containerdetails.h"
#include "detailstext.h"
#include "dockerimage.h"
#include "dockervolume.h"
#include "engine.h"
#include "imagedetails.h"
#include "transcript.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <optional>

class AppStore;

// A details sheet's state for one object: read once when the sheet opens, again only when
// the engine tells of a change to that object while it is open, and never while no sheet
// is open. Every text the sheet shows is composed here; what differs by kind of object is
// how it is read and how its sections read.
class Inspection : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for an object by Actions")
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(bool loaded READ loaded NOTIFY changed)
    // Removed while the sheet was open: what was shown stays, with a line that says so.
    Q_PROPERTY(bool gone READ gone NOTIFY changed)
    Q_PROPERTY(QString goneText READ goneText CONSTANT)
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    // Each {title, note, rows: [{label, value, spoken, secret, alarm, volume, url}]}.
    Q_PROPERTY(QVariantList sections READ sections NOTIFY changed)
    // Values that look secret, in the sections and in the document alike, masked until shown.
    Q_PROPERTY(bool hasSecrets READ hasSecrets NOTIFY changed)
    Q_PROPERTY(bool showSecrets READ showSecrets WRITE setShowSecrets NOTIFY changed)
    // What Copy gives on the details page, and what its button says it copies.
    Q_PROPERTY(QString copyHelp READ copyHelp CONSTANT)
    // The whole inspect document, for find, copy and save: masked as the sections are.
    Q_PROPERTY(Transcript *document READ document CONSTANT)

public:
    QString title() const { return m_title; }
    virtual bool loaded() const = 0;
    bool gone() const { return m_gone; }
    virtual QString goneText() const = 0;
    QString problem() const { return m_problem; }
    QVariantList sections() const;
    bool hasSecrets() const;
    bool showSecrets() const { return m_showSecrets; }
    void setShowSecrets(bool show);
    virtual QString copyHelp() const = 0;
    Transcript *document() { return &m_document; }
    // Readings begun, for tests.
    int reads() const { return m_reads; }

    // The sheet opened: read now, and on each change to the object until stop.
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    // The details page as Copy gives it.
    Q_INVOKABLE virtual QString copyText() const = 0;

signals:
    void changed();

protected:
    // The engine it reads is the row's, for as long as it lives.
    Inspection(AppStore *store, const QString &engine, const QString &title, QObject *parent);
    // One reading on a worker, its result applied here; a problem is the engine's words.
    virtual QCoro::Task<std::optional<QString>> readOnce() = 0;
    // Starts following whatever tells of a change to the object.
    virtual void follow() = 0;
    virtual QList<DetailsText::Section> composed() const = 0;
    QCoro::Task<> read();
    // One query of the engine on a worker, kept as shown when it found the object; gone
    // when it did not. Returns the engine's words when it could not be asked.
    template<typename Found, typename Query>
    QCoro::Task<std::optional<QString>> keep(std::optional<Found> &kept, Query query);
    void setGone(bool gone);
    void setDocument(const QString &text, const QString &masked);

    QPointer<AppStore> m_store;
    const OptRuntime m_runtime;
    // What the window knows of that engine; gone when it is no longer watched.
    QPointer<EngineStore> m_engine;
    // Whether the store shows the sheet's runtime: its lists and events are another's if not.
    bool onItsRuntime() const;
    QString m_title;
    QList<QMetaObject::Connection> m_following;

private:
    bool m_gone = false;
    QString m_problem;
    bool m_showSecrets = false;
    bool m_active = false;
    bool m_reading = false;
    bool m_again = false;
    int m_reads = 0;
    void fillDocument();

    QString m_plainDocument;
    QString m_maskedDocument;
    QString m_shownDocument;
    Transcript m_document;
};

class ContainerInspection : public Inspection {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a container by Actions")

public:
    ContainerInspection(AppStore *store, const Container &container, QObject *parent = nullptr);
    bool loaded() const override { return m_details.has_value(); }
    QString goneText() const override { return QStringLiteral("This container no longer exists"); }
    QString copyHelp() const override { return QStringLiteral("Copy the environment as shown"); }
    QString copyText() const override;
    const std::optional<ContainerDetails> &details() const { return m_details; }

protected:
    QCoro::Task<std::optional<QString>> readOnce() override;
    void follow() override;
    QList<DetailsText::Section> composed() const override;

private:
    Container m_container;
    std::optional<ContainerDetails> m_details;
};

class VolumeInspection : public Inspection {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a volume by Actions")

public:
    VolumeInspection(AppStore *store, const DockerVolume &volume, QObject *parent = nullptr);
    bool loaded() const override { return m_details.has_value(); }
    QString goneText() const override { return QStringLiteral("This volume no longer exists"); }
    QString copyHelp() const override { return QStringLiteral("Copy the containers that mount it"); }
    QString copyText() const override;

protected:
    QCoro::Task<std::optional<QString>> readOnce() override;
    void follow() override;
    QList<DetailsText::Section> composed() const override;

private:
    DockerVolume m_volume;
    std::optional<VolumeDetails> m_details;
};

class ImageInspection : public Inspection {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for an image by Actions")

public:
    ImageInspection(AppStore *store, const DockerImage &image, QObject *parent = nullptr);
    bool loaded() const override { return m_details.has_value(); }
    QString goneText() const override { return QStringLiteral("This image no longer exists"); }
    QString copyHelp() const override { return QStringLiteral("Copy the layers"); }
    QString copyText() const override;

protected:
    QCoro::Task<std::optional<QString>> readOnce() override;
    void follow() override;
    QList<DetailsText::Section> composed() const override;

private:
    DockerImage m_image;
    std::optional<ImageDetails> m_details;
    // Its runtime's containers as last listed, for which of them use it.
    QList<Container> m_containers;
};

class NetworkInspection : public Inspection {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a network by Actions")

public:
    NetworkInspection(AppStore *store, const DockerNetwork &network, QObject *parent = nullptr);
    bool loaded() const override { return m_details.has_value(); }
    QString goneText() const override { return QStringLiteral("This network no longer exists"); }
    QString copyHelp() const override { return QStringLiteral("Copy the containers and their addresses"); }
    QString copyText() const override;

protected:
    QCoro::Task<std::optional<QString>> readOnce() override;
    void follow() override;
    QList<DetailsText::Section> composed() const override;

private:
    DockerNetwork m_network;
    std::optional<NetworkDetails> m_details;
};
