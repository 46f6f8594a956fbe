#include "detailstext.h"

#include "portlinks.h"
#include "secrets.h"
#include "volumesize.h"

#include <QLocale>

namespace DetailsText {

namespace {
const QString composePrefix = QStringLiteral("com.docker.compose.");

QString plural(qint64 n, const char *unit)
{
    return QStringLiteral("%1 %2%3").arg(n).arg(QLatin1String(unit)).arg(n == 1 ? QString() : QStringLiteral("s"));
}

// A row whose value may hold a secret: shown is the value as the masking rule shows it.
Row row(const QString &label, const QString &value, const QString &shown)
{
    return {label, value, shown == value ? QString() : shown};
}

// A map's rows, each value read by its key: labels, driver options.
QList<Row> rows(const QMap<QString, QString> &map)
{
    QList<Row> out;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        out.append(row(it.key(), it.value(), Secrets::value(it.key(), it.value())));
    return out;
}
}

QString ago(const QDateTime &at, const QDateTime &now)
{
    const qint64 seconds = at.secsTo(now);
    const qint64 span = std::abs(seconds);
    if (span < 5)
        return QStringLiteral("just now");
    QString amount;
    if (span < 60)
        amount = plural(span, "second");
    else if (span < 3600)
        amount = plural(span / 60, "minute");
    else if (span < 86400)
        amount = plural(span / 3600, "hour");
    else
        amount = plural(span / 86400, "day");
    return seconds >= 0 ? amount + QStringLiteral(" ago") : QStringLiteral("in ") + amount;
}

QString when(const QDateTime &at, const QDateTime &now)
{
    if (!at.isValid())
        return QStringLiteral("never");
    return QLocale().toString(at.toLocalTime(), QStringLiteral("d MMM yyyy, HH:mm:ss")) + QStringLiteral(" · ") + ago(at, now);
}

QString state(const ContainerDetails &d)
{
    if (d.outOfMemory || d.state == QLatin1String("exited") || d.state == QLatin1String("dead"))
        return QStringLiteral("%1 (%2) · %3").arg(d.state).arg(d.exitCode).arg(Docker::exitMeaning(d.exitCode, d.outOfMemory));
    return d.state;
}

QString command(const QStringList &words)
{
    QStringList quoted;
    for (const QString &w : words)
        quoted << (w.isEmpty() || w.contains(u' ') || w.contains(u'"') ? u'"' + QString(w).replace(u'"', QStringLiteral("\\\"")) + u'"' : w);
    return quoted.join(u' ');
}

QList<Section> container(const ContainerDetails &d, const QDateTime &now, const QString &endpoint)
{
    QList<Section> sections;

    const bool failed = d.outOfMemory || ((d.state == QLatin1String("exited") || d.state == QLatin1String("dead")) && d.exitCode != 0);
    Section state{QStringLiteral("State"), {{QStringLiteral("State"), DetailsText::state(d), {}, {}, failed}}, {}};
    if (d.startedAt.isValid())
        state.rows.append({QStringLiteral("Started"), when(d.startedAt, now)});
    if (d.finishedAt.isValid() && d.state != QLatin1String("running") && d.state != QLatin1String("paused"))
        state.rows.append({QStringLiteral("Finished"), when(d.finishedAt, now)});
    const QString policy = d.restartPolicy.isEmpty() ? QStringLiteral("no") : d.restartPolicy;
    state.rows.append({QStringLiteral("Restart policy"), policy});
    state.rows.append({QStringLiteral("Restarts"), QString::number(d.restartCount)});
    if (!d.error.isEmpty()) {
        Row says = row(QStringLiteral("Engine says"), d.error, Secrets::text(d.error));
        says.alarm = true;
        state.rows.append(says);
    }
    sections.append(state);

    if (d.health) {
        const auto &h = *d.health;
        Section health{QStringLiteral("Health"), {{QStringLiteral("Status"), h.status, {}, {}, h.status == QLatin1String("unhealthy")}}, {}};
        if (h.failingStreak > 0)
            health.rows.append({QStringLiteral("Failing"), h.failingStreak == 1 ? QStringLiteral("the last probe")
                                                                                : QStringLiteral("the last %1 probes").arg(h.failingStreak)});
        // "CMD-SHELL" runs its one string through a shell; "CMD" is the words as they are.
        const auto check = [&](const QStringList &words) {
            const QStringList test = words.mid(words.value(0).startsWith(QLatin1String("CMD")) ? 1 : 0);
            return words.value(0) == QLatin1String("CMD-SHELL") ? test.join(u' ') : command(test);
        };
        health.rows.append(row(QStringLiteral("Check"), check(h.test), check(Secrets::arguments(h.test))));
        health.rows.append({QStringLiteral("Every"), plural(h.intervalSeconds, "second")});
        for (const auto &probe : h.probes) {
            const QString output = probe.output.trimmed();
            const QString exit = QStringLiteral("exit %1").arg(probe.exitCode);
            Row said = output.isEmpty() ? Row{ago(probe.start, now), exit}
                                        : row(ago(probe.start, now), exit + QStringLiteral(" · ") + output, exit + QStringLiteral(" · ") + Secrets::text(output));
            said.alarm = probe.exitCode != 0;
            health.rows.append(said);
        }
        sections.append(health);
    }

    Section config{QStringLiteral("Configuration"), {}, {}};
    config.rows.append({QStringLiteral("Image"), d.image});
    if (!d.imageId.isEmpty())
        config.rows.append({QStringLiteral("Image ID"), d.imageId.section(u':', -1).left(12)});
    // One command line: the entrypoint names the program its command's flags are for.
    const QStringList ran = Secrets::arguments(d.entrypoint + d.command);
    if (!d.entrypoint.isEmpty())
        config.rows.append(row(QStringLiteral("Entrypoint"), command(d.entrypoint), command(ran.mid(0, d.entrypoint.size()))));
    if (!d.command.isEmpty())
        config.rows.append(row(QStringLiteral("Command"), command(d.command), command(ran.mid(d.entrypoint.size()))));
    config.rows.append({QStringLiteral("Working directory"), d.workingDir.isEmpty() ? QStringLiteral("/") : d.workingDir});
    config.rows.append({QStringLiteral("User"), d.user.isEmpty() ? QStringLiteral("root (the image's default)") : d.user});
    if (d.created.isValid())
        config.rows.append({QStringLiteral("Created"), when(d.created, now)});
    if (const QString project = d.labels.value(composePrefix + QStringLiteral("project")); !project.isEmpty()) {
        config.rows.append({QStringLiteral("Project"), project});
        config.rows.append({QStringLiteral("Service"), d.labels.value(composePrefix + QStringLiteral("service"))});
        config.rows.append({QStringLiteral("Compose files"), d.labels.value(composePrefix + QStringLiteral("project.config_files")).split(u',').join(QStringLiteral(", "))});
    }
    sections.append(config);

    Section env{QStringLiteral("Environment"), {}, {}};
    for (const auto &[name, value] : d.environment)
        env.rows.append(row(name, value, Secrets::value(name, value)));
    if (env.rows.isEmpty())
        env.note = QStringLiteral("No variables are set.");
    sections.append(env);

    Section mounts{QStringLiteral("Mounts"), {}, {}};
    for (const auto &m : d.mounts) {
        const QString access = m.readOnly ? QStringLiteral(" · read-only") : QString();
        const QString from = m.type == QLatin1String("volume") && !m.volume.isEmpty() ? m.volume : m.source;
        mounts.rows.append({m.type, from + QStringLiteral(" → ") + m.destination + access, {}, m.type == QLatin1String("volume") ? m.volume : QString()});
    }
    if (mounts.rows.isEmpty())
        mounts.note = QStringLiteral("Nothing is mounted.");
    sections.append(mounts);

    Section ports{QStringLiteral("Ports"), {}, {}};
    const QList<PortLinks::Link> links = PortLinks::links(d.ports, endpoint);
    QList<std::pair<int, QString>> seen;
    for (const PortBinding &p : d.ports) {
        const QString label = QStringLiteral("%1/%2").arg(p.port).arg(p.protocol);
        if (!p.isPublished()) {
            ports.rows.append({label, QStringLiteral("exposed, not published")});
            continue;
        }
        const QString host = p.hostIp.contains(u':') ? u'[' + p.hostIp + u']' : p.hostIp;
        Row published{label, QStringLiteral("published on %1:%2").arg(host).arg(p.hostPort)};
        // The link of that host port, where a browser can reach it: once for both families.
        for (const PortLinks::Link &link : links) {
            if (link.url.port() == p.hostPort && !seen.contains(std::pair(p.hostPort, link.url.toString())))
                published.url = link.url.toString(), seen.append({p.hostPort, published.url});
        }
        ports.rows.append(published);
    }
    if (ports.rows.isEmpty())
        ports.note = QStringLiteral("It exposes no port.");
    sections.append(ports);

    Section networks{QStringLiteral("Networks"), {}, {}};
    for (const auto &n : d.networks) {
        QStringList parts;
        parts << (n.address.isEmpty() ? QStringLiteral("no address") : n.address);
        if (!n.gateway.isEmpty())
            parts << QStringLiteral("gateway ") + n.gateway;
        if (!n.aliases.isEmpty())
            parts << QStringLiteral("also ") + n.aliases.join(QStringLiteral(", "));
        networks.rows.append({n.name, parts.join(QStringLiteral(" · "))});
    }
    if (networks.rows.isEmpty())
        networks.note = QStringLiteral("Not attached to any network.");
    sections.append(networks);

    // Compose's own labels say what the Configuration already shows: folded into one line.
    Section labels{QStringLiteral("Labels"), {}, {}};
    QMap<QString, QString> own;
    for (auto it = d.labels.cbegin(); it != d.labels.cend(); ++it) {
        if (!it.key().startsWith(composePrefix))
            own.insert(it.key(), it.value());
    }
    const qsizetype compose = d.labels.size() - own.size();
    labels.rows = rows(own);
    if (compose > 0)
        labels.rows.prepend({QStringLiteral("Compose"), QStringLiteral("%1 of compose's own").arg(plural(compose, "label"))});
    if (labels.rows.isEmpty())
        labels.note = QStringLiteral("No labels.");
    sections.append(labels);
    return sections;
}

QString environment(const ContainerDetails &d, bool showSecrets)
{
    QString text;
    for (const auto &[name, value] : d.environment)
        text += name + u'=' + (showSecrets ? value : Secrets::value(name, value)) + u'\n';
    return text;
}

QList<Container> usersOf(const ImageDetails &image, const QList<Container> &containers)
{
    QList<Container> users;
    const QString hex = image.id.section(u':', -1);
    for (const Container &c : containers) {
        const QString named = c.image.contains(u':') || c.image.contains(u'@') ? c.image : c.image + QStringLiteral(":latest");
        const QString bare = c.image.section(u':', -1);
        if (image.tags.contains(named) || image.tags.contains(c.image) || (bare.size() >= 12 && hex.startsWith(bare)))
            users.append(c);
    }
    return users;
}

QList<Section> image(const ImageDetails &d, const QList<Container> &users, const QDateTime &now)
{
    QList<Section> sections;
    Section about{QStringLiteral("Image"), {}, {}};
    about.rows.append({QStringLiteral("Tags"), d.tags.isEmpty() ? QStringLiteral("none (dangling)") : d.tags.join(QStringLiteral(", "))});
    about.rows.append({QStringLiteral("ID"), d.id.section(u':', -1).left(12)});
    if (d.created.isValid())
        about.rows.append({QStringLiteral("Created"), when(d.created, now)});
    about.rows.append({QStringLiteral("Size"), VolumeSize::format(d.bytes)});
    if (!d.os.isEmpty() || !d.architecture.isEmpty())
        about.rows.append({QStringLiteral("Platform"), d.os + u'/' + d.architecture});
    const QStringList ran = Secrets::arguments(d.entrypoint + d.command);
    if (!d.entrypoint.isEmpty())
        about.rows.append(row(QStringLiteral("Entrypoint"), command(d.entrypoint), command(ran.mid(0, d.entrypoint.size()))));
    if (!d.command.isEmpty())
        about.rows.append(row(QStringLiteral("Command"), command(d.command), command(ran.mid(d.entrypoint.size()))));
    if (!d.exposedPorts.isEmpty())
        about.rows.append({QStringLiteral("Exposes"), d.exposedPorts.join(QStringLiteral(", "))});
    sections.append(about);

    Section used{QStringLiteral("Used by"), {}, {}};
    for (const Container &c : users)
        used.rows.append({c.name, c.status + (c.project() ? QStringLiteral(" · project ") + *c.project() : QString())});
    if (used.rows.isEmpty())
        used.note = QStringLiteral("No container uses it, running or stopped.");
    sections.append(used);

    Section layers{QStringLiteral("Layers"), {}, {}};
    QStringList empty;
    const auto foldEmpty = [&] {
        if (empty.isEmpty())
            return;
        const QString steps = empty.join(u'\n');
        layers.rows.append(row(empty.size() == 1 ? QStringLiteral("no files") : QStringLiteral("no files · %1 steps").arg(empty.size()), steps, Secrets::text(steps)));
        empty.clear();
    };
    for (const ImageDetails::Layer &layer : d.layers) {
        if (layer.bytes == 0) {
            empty << layer.instruction;
            continue;
        }
        foldEmpty();
        const QString step = layer.instruction.isEmpty() ? QStringLiteral("(the base image)") : layer.instruction;
        layers.rows.append(row(VolumeSize::format(layer.bytes), step, Secrets::text(step)));
    }
    foldEmpty();
    if (layers.rows.isEmpty())
        layers.note = QStringLiteral("The engine keeps no history for this image.");
    else
        layers.note = QStringLiteral("%1 layers, newest first").arg(d.layers.size());
    sections.append(layers);
    return sections;
}

QList<Section> volume(const VolumeDetails &d, const QDateTime &now)
{
    QList<Section> sections;
    Section about{QStringLiteral("Volume"), {}, {}};
    about.rows.append({QStringLiteral("Driver"), d.driver});
    about.rows.append({QStringLiteral("Mountpoint"), d.mountpoint});
    if (!d.scope.isEmpty())
        about.rows.append({QStringLiteral("Scope"), d.scope});
    if (d.created.isValid())
        about.rows.append({QStringLiteral("Created"), when(d.created, now)});
    about.rows.append({QStringLiteral("Size"), d.bytes ? VolumeSize::format(*d.bytes) : QStringLiteral("not readable from here")});
    sections.append(about);

    Section users{QStringLiteral("Mounted by"), {}, {}};
    for (const Container &c : d.users)
        users.rows.append({c.name, c.status + (c.project() ? QStringLiteral(" · project ") + *c.project() : QString())});
    if (users.rows.isEmpty())
        users.note = QStringLiteral("No container mounts it, running or stopped.");
    sections.append(users);

    for (const auto &[title, map, none] : {std::tuple(QStringLiteral("Labels"), &d.labels, QStringLiteral("No labels.")),
                                           std::tuple(QStringLiteral("Options"), &d.options, QStringLiteral("The driver's defaults."))}) {
        Section section{title, rows(*map), {}};
        if (section.rows.isEmpty())
            section.note = none;
        sections.append(section);
    }
    return sections;
}

QList<Section> network(const DockerNetwork &n, const QDateTime &now)
{
    Section about{QStringLiteral("Network"), {}, Docker::networkKept(n)};
    about.rows.append({QStringLiteral("Driver"), n.driver});
    about.rows.append({QStringLiteral("Scope"), n.scope});
    about.rows.append({QStringLiteral("Subnet"), n.subnets.isEmpty() ? QStringLiteral("none") : n.subnets.join(QStringLiteral(", "))});
    if (!n.gateways.isEmpty())
        about.rows.append({QStringLiteral("Gateway"), n.gateways.join(QStringLiteral(", "))});
    about.rows.append({QStringLiteral("Internal"), n.internal ? QStringLiteral("yes: no way out to other networks") : QStringLiteral("no")});
    if (n.created.isValid())
        about.rows.append({QStringLiteral("Created"), when(n.created, now)});
    if (const auto project = n.project())
        about.rows.append({QStringLiteral("Compose project"), *project});
    about.rows.append({QStringLiteral("ID"), n.id});

    Section members{QStringLiteral("Containers"), {}, {}};
    for (const NetworkMember &m : n.members) {
        QStringList addresses{m.ipv4, m.ipv6};
        addresses.removeAll(QString());
        members.rows.append({m.name, addresses.isEmpty() ? QStringLiteral("no address") : addresses.join(QStringLiteral(", "))});
    }
    if (members.rows.isEmpty())
        members.note = QStringLiteral("No container is attached.");

    Section labels{QStringLiteral("Labels"), rows(n.labels), {}};
    if (labels.rows.isEmpty())
        labels.note = QStringLiteral("No labels.");
    return {about, members, labels};
}

}
