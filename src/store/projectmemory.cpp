#include "projectmemory.h"

#include "docker.h"

ProjectMemory::ProjectMemory(QSettings *settings, QObject *parent)
    : QObject(parent), m_settings(settings), m_registry(ProjectRegistry::load(*settings))
{
}

void ProjectMemory::record(const QList<Container> &listed, const std::optional<QString> &runtime, const DirectoryMap &dirs)
{
    if (m_recorded && m_recorded->listed == listed && m_recorded->runtime == runtime && m_recorded->registry == m_registry)
        return;
    ProjectRegistry next = m_registry;
    next.record(Docker::group(listed), runtime, dirs);
    set(next);
    m_recorded = Recorded{listed, runtime, m_registry};
}

void ProjectMemory::add(const KnownProject &project, const std::optional<QString> &runtime)
{
    ProjectRegistry next = m_registry;
    next.add(project, runtime);
    set(next);
}

void ProjectMemory::forget(const QString &name, const std::optional<QString> &runtime)
{
    ProjectRegistry next = m_registry;
    next.forget(name, runtime);
    set(next);
}

void ProjectMemory::set(const ProjectRegistry &registry)
{
    if (m_registry == registry)
        return;
    m_registry = registry;
    m_registry.save(*m_settings);
    emit changed();
}
