#include "docker.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

namespace Docker {

namespace {
bool entryExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

void sortCodePoints(QStringList &list)
{
    std::stable_sort(list.begin(), list.end(), codePointLess);
}
}

std::optional<QString> composeFile(const QString &dir)
{
    for (const auto &name : composeFileNames) {
        if (entryExists(dir + u'/' + name))
            return name;
    }
    return std::nullopt;
}

QString missingComposeFileMessage(const QString &dir)
{
    return QStringLiteral("No compose file in ") + dir + QStringLiteral(" — looked for ")
        + composeFileNames.join(QStringLiteral(", ")) + u'.';
}

ResolvedProject parseComposeConfig(const QString &json, const QString &dir)
{
    const auto doc = QJsonDocument::fromJson(json.toUtf8());
    const auto name = doc.object().value(QLatin1String("name"));
    if (!doc.isObject() || !name.isString() || name.toString().isEmpty())
        throw DockerError(QStringLiteral("Could not read a compose project from ") + dir);
    ResolvedProject project{name.toString(), {}, {}, {}};
    const auto services = doc.object().value(QLatin1String("services")).toObject();
    for (auto it = services.begin(); it != services.end(); ++it) {
        const auto service = it.value().toObject();
        ServiceDefinition definition{it.key(), service.value(QLatin1String("image")).toString(), service.contains(QLatin1String("build")), {}};
        for (const auto &profile : service.value(QLatin1String("profiles")).toArray()) {
            if (profile.isString() && !profile.toString().isEmpty())
                definition.profiles.append(profile.toString());
        }
        project.definitions.append(definition);
    }
    std::stable_sort(project.definitions.begin(), project.definitions.end(),
                     [](const ServiceDefinition &a, const ServiceDefinition &b) { return codePointLess(a.name, b.name); });
    for (const ServiceDefinition &definition : std::as_const(project.definitions))
        project.services.append(definition.name);
    const auto volumes = doc.object().value(QLatin1String("volumes")).toObject();
    for (auto it = volumes.begin(); it != volumes.end(); ++it) {
        // Compose's own name is the real, usually project-prefixed one.
        const auto real = it.value().toObject().value(QLatin1String("name"));
        project.volumes.append(real.isString() ? real.toString() : it.key());
        if (it.value().toObject().value(QLatin1String("external")).toBool())
            project.externalVolumes.append(project.volumes.constLast());
    }
    sortCodePoints(project.volumes);
    sortCodePoints(project.externalVolumes);
    return project;
}

QMap<QString, QString> parseDotEnv(const QString &text)
{
    QMap<QString, QString> values;
    for (const QString &raw : text.split(u'\n')) {
        QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(QLatin1String("export ")))
            line = line.mid(7).trimmed();
        const qsizetype equals = line.indexOf(u'=');
        if (equals <= 0)
            continue;
        const QString key = line.left(equals).trimmed();
        QString value = line.mid(equals + 1).trimmed();
        const bool quoted = value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') && value.back() == value.front();
        if (quoted)
            value = value.mid(1, value.size() - 2);
        else if (const qsizetype comment = value.indexOf(QLatin1String(" #")); comment >= 0)
            value = value.left(comment).trimmed();
        values.insert(key, value);
    }
    return values;
}

QMap<QString, QString> dotEnvIn(const QString &dir)
{
    QFile file(dir + QStringLiteral("/.env"));
    return file.open(QIODevice::ReadOnly) ? parseDotEnv(QString::fromUtf8(file.readAll())) : QMap<QString, QString>();
}

QStringList activeProfiles(const std::optional<QString> &environment, const QMap<QString, QString> &dotEnv)
{
    const QString list = environment ? *environment : dotEnv.value(QStringLiteral("COMPOSE_PROFILES"));
    QStringList profiles;
    for (const QString &profile : list.split(u',', Qt::SkipEmptyParts)) {
        if (!profile.trimmed().isEmpty() && !profiles.contains(profile.trimmed()))
            profiles.append(profile.trimmed());
    }
    return profiles;
}

QList<ComposeVariable> composeVariables(const QString &fileText, const QMap<QString, QString> &environment,
                                        const QMap<QString, QString> &dotEnv)
{
    // "$$" first, so its dollar is consumed before it could open a variable.
    static const QRegularExpression use(QStringLiteral(R"(\$\$|\$\{([A-Za-z_][A-Za-z0-9_]*)(?:(:?[-?+])([^}]*))?\}|\$([A-Za-z_][A-Za-z0-9_]*))"));
    QList<ComposeVariable> found;
    QStringList seen;
    for (auto it = use.globalMatch(fileText); it.hasNext();) {
        const auto m = it.next();
        const QString name = m.hasCaptured(1) ? m.captured(1) : m.captured(4);
        if (name.isEmpty() || seen.contains(name))
            continue;
        seen.append(name);
        const QString op = m.captured(2);
        // ":-" and ":?" take an empty value for none; "-" and "?" only an unset one.
        const bool emptyIsUnset = op.startsWith(u':');
        const auto given = [&](const QMap<QString, QString> &from) { return from.contains(name) && !(emptyIsUnset && from.value(name).isEmpty()); };
        ComposeVariable variable{name, {}, ComposeVariable::Source::Missing, op.endsWith(u'?')};
        if (given(environment))
            variable.source = ComposeVariable::Source::Environment, variable.value = environment.value(name);
        else if (given(dotEnv))
            variable.source = ComposeVariable::Source::DotEnv, variable.value = dotEnv.value(name);
        else if (op.endsWith(u'-'))
            variable.source = ComposeVariable::Source::Default, variable.value = m.captured(3);
        found.append(variable);
    }
    return found;
}

QStringList composeFiles(const QString &dir)
{
    const auto file = composeFile(dir);
    if (!file)
        return {};
    QStringList files{dir + u'/' + *file};
    for (const char *name : {"compose.override.yaml", "compose.override.yml", "docker-compose.override.yaml", "docker-compose.override.yml"}) {
        if (entryExists(dir + u'/' + QLatin1String(name))) {
            files.append(dir + u'/' + QLatin1String(name));
            break;
        }
    }
    return files;
}

} // namespace Docker

QStringList ComposeTarget::existingFiles() const
{
    const bool all = std::all_of(files.cbegin(), files.cend(), [](const QString &f) { return QFileInfo(f).isAbsolute() && QFileInfo::exists(f); });
    return all ? files : QStringList();
}

QStringList ComposeTarget::options() const
{
    QStringList args;
    if (!name.isEmpty())
        args << QStringLiteral("-p") << name;
    for (const QString &file : existingFiles())
        args << QStringLiteral("-f") << file;
    return args;
}

bool ServiceDefinition::activeWith(const QStringList &activeProfiles) const
{
    return profiles.isEmpty() || activeProfiles.contains(QStringLiteral("*"))
        || std::any_of(profiles.cbegin(), profiles.cend(), [&](const QString &p) { return activeProfiles.contains(p); });
}
