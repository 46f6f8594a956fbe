#pragma once

#include "container.h"
#include "projectregistry.h"

#include <QObject>
#include <optional>

class QSettings;

// The compose projects Korvat knows on each runtime, kept in the settings: those the user
// added, and every project a listing showed. Recording the same listing again writes nothing.
class ProjectMemory : public QObject {
    Q_OBJECT

public:
    explicit ProjectMemory(QSettings *settings, QObject *parent = nullptr);

    const ProjectRegistry &registry() const { return m_registry; }

    void record(const QList<Container> &listed, const std::optional<QString> &runtime, const DirectoryMap &dirs);
    void add(const KnownProject &project, const std::optional<QString> &runtime);
    void forget(const QString &name, const std::optional<QString> &runtime);

signals:
    void changed();

private:
    void set(const ProjectRegistry &registry);

    QSettings *m_settings;
    ProjectRegistry m_registry;
    // What was recorded last; the lists share data with the last listing, so on a quiet
    // poll these compare in O(1).
    struct Recorded {
        QList<Container> listed;
        std::optional<QString> runtime;
        ProjectRegistry registry;
    };
    std::optional<Recorded> m_recorded;
};
