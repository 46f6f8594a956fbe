#include "projectregistry.h"
#include "settings.h"

#include "docker.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>

#include <algorithm>

namespace {
// Whether the disk was seen to hold a compose file there (yes), not to (no), or not looked at.
std::optional<bool> holdsComposeFile(const DirectoryMap &dirs, const QString &dir)
{
    const auto found = dirs.constFind(dir);
    return found == dirs.cend() ? std::nullopt : std::optional(found->composeFile);
}

qsizetype indexOf(const QList<KnownProject> &list, const QString &name)
{
    const auto it = std::find_if(list.cbegin(), list.cend(), [&](const KnownProject &p) { return p.name == name; });
    return it == list.cend() ? -1 : it - list.cbegin();
}
}

QByteArray ProjectRegistry::encode() const
{
    QJsonObject root;
    for (auto it = byRuntime.cbegin(); it != byRuntime.cend(); ++it) {
        QJsonArray list;
        for (const auto &p : it.value()) {
            QJsonObject entry{{"name", p.name}, {"workingDir", p.workingDir}, {"services", QJsonArray::fromStringList(p.services)}};
            if (!p.configFiles.isEmpty())
                entry.insert("configFiles", QJsonArray::fromStringList(p.configFiles));
            list.append(entry);
        }
        root.insert(it.key(), list);
    }
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

std::optional<ProjectRegistry> ProjectRegistry::decode(const QByteArray &bytes)
{
    QJsonParseError error;
    const auto doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    ProjectRegistry registry;
    const auto root = doc.object();
    for (auto it = root.begin(); it != root.end(); ++it) {
        if (!it.value().isArray())
            return std::nullopt;
        QList<KnownProject> list;
        for (const auto &entry : it.value().toArray()) {
            const auto o = entry.toObject();
            const auto name = o.value("name"), dir = o.value("workingDir"), services = o.value("services");
            if (!entry.isObject() || !name.isString() || !dir.isString() || !services.isArray())
                return std::nullopt;
            KnownProject project{name.toString(), dir.toString(), {}};
            for (const auto &s : services.toArray()) {
                if (!s.isString())
                    return std::nullopt;
                project.services.append(s.toString());
            }
            // Entries saved before files were remembered have none.
            const auto files = o.value("configFiles");
            if (!files.isUndefined() && !files.isArray())
                return std::nullopt;
            for (const auto &f : files.toArray()) {
                if (!f.isString())
                    return std::nullopt;
                project.configFiles.append(f.toString());
            }
            list.append(project);
        }
        registry.byRuntime.insert(it.key(), list);
    }
    return registry;
}

ProjectRegistry ProjectRegistry::load(QSettings &settings)
{
    if (!Settings::knownProjects.isSet(settings))
        return {};
    const QByteArray bytes = Settings::knownProjects.read(settings);
    if (auto registry = decode(bytes))
        return *registry;
    // Each distinct unreadable value is kept once; an older copy is never replaced.
    const QStringList copies = settings.allKeys().filter(QRegularExpression(
        QStringLiteral("^") + QRegularExpression::escape(Settings::unreadableProjects.key) + QStringLiteral("(\\..*)?$")));
    for (const auto &key : copies) {
        if (settings.value(key).toByteArray() == bytes)
            return {};
    }
    const QString key = copies.isEmpty()
        ? Settings::unreadableProjects.key
        : Settings::unreadableProjects.key + u'.' + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmsszzz"));
    settings.setValue(key, bytes);
    settings.sync();
    return {};
}

void ProjectRegistry::save(QSettings &settings) const
{
    settings.setValue(Settings::knownProjects.key, encode());
}

void ProjectRegistry::record(const QList<ComposeProject> &projects, const Key &key, const DirectoryMap &dirs)
{
    if (!key)
        return;
    auto list = byRuntime.value(*key);
    for (const auto &project : projects) {
        if (!project.workingDir)
            continue;
        const qsizetype existing = indexOf(list, project.name);
        QString dir = *project.workingDir;
        // A project the user relocated stays relocated, although its labels still name the old
        // place; until the disk has answered for both, the directory remembered stays.
        if (existing >= 0 && dir != list[existing].workingDir) {
            const auto here = holdsComposeFile(dirs, dir);
            const auto there = holdsComposeFile(dirs, list[existing].workingDir);
            if (!here || (!*here && there.value_or(true)))
                dir = list[existing].workingDir;
        }
        QStringList services;
        for (const auto &c : project.containers) {
            const auto it = c.labels.constFind(QString::fromLatin1(Labels::service));
            if (it != c.labels.cend())
                services.append(*it);
        }
        std::stable_sort(services.begin(), services.end(), Docker::codePointLess);
        QStringList files = project.configFiles;
        if (existing >= 0) {
            if (services.isEmpty())
                services = list[existing].services;
            if (files.isEmpty())
                files = list[existing].configFiles;
            list[existing] = {project.name, dir, services, files};
        } else {
            list.append({project.name, dir, services, files});
        }
    }
    byRuntime.insert(*key, list);
}

void ProjectRegistry::add(const KnownProject &project, const Key &key)
{
    if (!key)
        return;
    auto &list = byRuntime[*key];
    const qsizetype existing = indexOf(list, project.name);
    if (existing >= 0)
        list[existing] = project;
    else
        list.append(project);
}

void ProjectRegistry::forget(const QString &name, const Key &key)
{
    if (!key || !byRuntime.contains(*key))
        return;
    byRuntime[*key].removeIf([&](const KnownProject &p) { return p.name == name; });
}

bool ProjectRegistry::knows(const QString &name, const Key &key) const
{
    return key && indexOf(byRuntime.value(*key), name) >= 0;
}

QList<KnownProject> ProjectRegistry::projects(const Key &key) const
{
    return key ? byRuntime.value(*key) : QList<KnownProject>();
}

QList<ComposeProject> ProjectRegistry::merge(const QList<ComposeProject> &discovered, const QList<KnownProject> &known, const DirectoryMap &dirs)
{
    QList<ComposeProject> result;
    QSet<QString> seen;
    for (auto project : discovered) {
        const qsizetype k = indexOf(known, project.name);
        if (k >= 0) {
            const auto &entry = known[k];
            project.serviceCount = int(entry.services.size());
            if (project.configFiles.isEmpty())
                project.configFiles = entry.configFiles;
            if (!project.workingDir)
                project.workingDir = entry.workingDir;
            else if (holdsComposeFile(dirs, *project.workingDir) == false && holdsComposeFile(dirs, entry.workingDir) == true)
                project.workingDir = entry.workingDir;
        }
        seen.insert(project.name);
        result.append(project);
    }
    for (const auto &entry : known) {
        if (!seen.contains(entry.name))
            result.append({entry.name, entry.workingDir, {}, int(entry.services.size()), entry.configFiles});
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const ComposeProject &a, const ComposeProject &b) { return Docker::codePointLess(a.name, b.name); });
    return result;
}
