#include "toolchain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Toolchain {

namespace {
bool separator(QChar c)
{
    return c == u'.' || c == u'_' || c == u'-';
}

// The next component of a version from `at` on, past its separators; false past the last.
// Letters (rc1) and numbers too large to hold both count as zero. Walking the text rather
// than taking it apart keeps a long `brew list` line free of allocations.
bool nextComponent(QStringView version, qsizetype &at, qint64 &value)
{
    while (at < version.size() && separator(version[at]))
        ++at;
    if (at >= version.size())
        return false;
    qsizetype end = at;
    bool plain = true;
    for (; end < version.size() && !separator(version[end]); ++end)
        plain = plain && version[end] >= u'0' && version[end] <= u'9';
    bool ok = false;
    value = plain ? version.sliced(at, end - at).toLongLong(&ok) : 0;
    if (!ok)
        value = 0;
    at = end;
    return true;
}

// Missing components count as zero: 1.2 is 1.2.0.
bool older(QStringView x, QStringView y)
{
    qsizetype i = 0, j = 0;
    for (;;) {
        qint64 p = 0, q = 0;
        // Both sides step on, even when one has ended.
        const bool inX = nextComponent(x, i, p);
        const bool inY = nextComponent(y, j, q);
        if (!inX && !inY)
            return false;
        if (p != q)
            return p < q;
    }
}

std::optional<QStringView> newestOf(auto words)
{
    std::optional<QStringView> best;
    for (const QStringView word : words) {
        if (!best || older(*best, word))
            best = word;
    }
    return best;
}
}

bool isOlder(const QString &a, const QString &than)
{
    return older(a, than);
}

std::optional<QString> newest(const QStringList &versions)
{
    const auto best = newestOf(versions);
    return best ? std::optional(best->toString()) : std::nullopt;
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
    for (const QStringView line : QStringView(text).tokenize(u'\n', Qt::SkipEmptyParts)) {
        auto words = line.tokenize(u' ', Qt::SkipEmptyParts);
        auto word = words.begin();
        if (word == words.end())
            continue;
        const QStringView formula = *word;
        // The versions are the rest of the line: the words after the formula's.
        const QStringView rest = line.sliced(formula.data() - line.data() + formula.size());
        if (const auto best = newestOf(rest.tokenize(u' ', Qt::SkipEmptyParts)))
            owned.insert(formula.toString(), best->toString());
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
