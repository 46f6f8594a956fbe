#include "toolchain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Toolchain {

QList<qint64> components(const QString &version)
{
    QList<qint64> parts;
    const auto separator = [](QChar c) { return c == u'.' || c == u'_' || c == u'-'; };
    for (qsizetype i = 0; i < version.size();) {
        if (separator(version[i])) {
            ++i;
            continue;
        }
        qsizetype end = i;
        bool plain = true;
        for (; end < version.size() && !separator(version[end]); ++end)
            plain = plain && version[end] >= u'0' && version[end] <= u'9';
        bool ok = false;
        const qint64 value = plain ? QStringView(version).sliced(i, end - i).toLongLong(&ok) : 0;
        // Letters (rc1) and numbers too large to hold both count as zero.
        parts.append(ok ? value : 0);
        i = end;
    }
    return parts;
}

namespace {
bool older(const QList<qint64> &x, const QList<qint64> &y)
{
    for (qsizetype i = 0; i < std::max(x.size(), y.size()); ++i) {
        const qint64 p = i < x.size() ? x[i] : 0, q = i < y.size() ? y[i] : 0;
        if (p != q)
            return p < q;
    }
    return false;
}
}

bool isOlder(const QString &a, const QString &than)
{
    return older(components(a), components(than));
}

std::optional<QString> newest(const QStringList &versions)
{
    if (versions.isEmpty())
        return std::nullopt;
    // Each version is taken apart once; comparing against the best so far must not take
    // the best apart again for every word of a long `brew list` line.
    qsizetype best = 0;
    QList<qint64> bestParts = components(versions.first());
    for (qsizetype i = 1; i < versions.size(); ++i) {
        QList<qint64> parts = components(versions[i]);
        if (older(bestParts, parts)) {
            best = i;
            bestParts = std::move(parts);
        }
    }
    return versions[best];
}

std::optional<QString> firstVersion(const QString &text)
{
    QString token;
    const QString padded = text + u' ';
    for (const QChar c : padded) {
        if (c.isNumber() || c == u'.') {
            token += c;
            continue;
        }
        if (token.contains(u'.') && token.front().isNumber()) {
            QStringView trimmed(token);
            while (!trimmed.isEmpty() && trimmed.front() == u'.')
                trimmed = trimmed.mid(1);
            while (!trimmed.isEmpty() && trimmed.back() == u'.')
                trimmed.chop(1);
            if (!trimmed.isEmpty())
                return trimmed.toString();
        }
        token.clear();
    }
    return std::nullopt;
}

QMap<QString, QString> parseBrewList(const QString &text)
{
    QMap<QString, QString> owned;
    for (const auto &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        QStringList words = line.split(u' ', Qt::SkipEmptyParts);
        if (words.size() < 2)
            continue;
        const QString formula = words.takeFirst();
        owned.insert(formula, *newest(words));
    }
    return owned;
}

QMap<QString, QString> parseBrewInfo(const QString &text)
{
    QMap<QString, QString> latest;
    const auto doc = QJsonDocument::fromJson(text.toUtf8());
    const auto formulae = doc.object().value(QLatin1String("formulae"));
    if (!doc.isObject() || !formulae.isArray())
        return latest;
    for (const auto &element : formulae.toArray()) {
        const auto o = element.toObject();
        const auto name = o.value(QLatin1String("name"));
        const auto stable = o.value(QLatin1String("versions")).toObject().value(QLatin1String("stable"));
        if (!name.isString() || !o.value(QLatin1String("versions")).isObject() || !stable.isString())
            continue;
        QString version = stable.toString();
        // Matches the suffix `brew list` prints for an installed revision.
        const auto revision = o.value(QLatin1String("revision"));
        if (revision.isDouble() && revision.toDouble() == double(revision.toInteger()) && revision.toInteger() >= 1)
            version += u'_' + QString::number(revision.toInteger());
        latest.insert(name.toString(), version);
    }
    return latest;
}

SystemStatus parseStatus(const QString &text)
{
    QMap<QString, QString> fields;
    for (const auto &line : text.split(u'\n', Qt::SkipEmptyParts)) {
        QStringList words = line.simplified().split(u' ', Qt::SkipEmptyParts);
        if (words.size() < 2)
            continue;
        const QString key = words.takeFirst();
        fields.insert(key, words.join(u' '));
    }
    const auto value = [&](const char *key) -> std::optional<QString> {
        const auto it = fields.constFind(QLatin1String(key));
        return it == fields.cend() ? std::nullopt : std::optional(*it);
    };
    return {fields.value(QStringLiteral("status")).toLower() == QLatin1String("running"), value("client.version"), value("server.version")};
}

} // namespace Toolchain
