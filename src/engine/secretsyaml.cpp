#include "secrets.h"

#include <QRegularExpression>

// The compose file sheet's half of the rule: which scalars of compose's resolved YAML hold a
// secret, found by reading the YAML's block structure line by line. Compose writes block
// style only (no flow collections but "[]" and "{}"), which is what is read here.
namespace Secrets {

namespace {

enum class Style { Plain, Single, Double, Block };

// One scalar value: the lines it spans and whose value it is.
struct Scalar {
    qsizetype first = 0;
    qsizetype column = 0;   // where it starts on its first line
    qsizetype last = 0;
    Style style = Style::Plain;
    QString key;            // the mapping key it is the value of; empty for a sequence item
    qsizetype sequence = -1;
    QString owner;          // for a sequence item, the key the sequence is the value of
};

// A mapping key whose value is on the lines below it.
struct Open {
    qsizetype indent = -1;
    QString key;
    qsizetype sequence = -1;
};

qsizetype indentOf(QStringView line)
{
    qsizetype i = 0;
    while (i < line.size() && line[i] == u' ')
        ++i;
    return i;
}

bool empty(QStringView line)
{
    return line.trimmed().isEmpty();
}

bool blank(QStringView line)
{
    const QStringView t = line.trimmed();
    return t.isEmpty() || t.startsWith(u'#');
}

bool itemAt(QStringView line, qsizetype at)
{
    const QStringView rest = line.mid(at);
    return rest == u"-" || rest.startsWith(u"- ");
}

// Where a quote opened before from closes on a line, or -1 where it does not.
qsizetype closeAt(QStringView line, qsizetype from, QChar quote)
{
    for (qsizetype k = from; k < line.size(); ++k) {
        if (quote == u'"' && line[k] == u'\\') {
            ++k;
            continue;
        }
        if (line[k] != quote)
            continue;
        if (quote == u'\'' && k + 1 < line.size() && line[k + 1] == u'\'') {
            ++k;
            continue;
        }
        return k;
    }
    return -1;
}

// The line on which a quoted scalar opened at (line, from) closes; the last line where it
// never does.
qsizetype closingLine(const QStringList &lines, qsizetype line, qsizetype from, QChar quote)
{
    for (qsizetype j = line; j < lines.size(); ++j) {
        if (closeAt(lines[j], j == line ? from : 0, quote) >= 0)
            return j;
    }
    return lines.size() - 1;
}

QString unescaped(QStringView s)
{
    QString out;
    for (qsizetype i = 0; i < s.size(); ++i) {
        if (s[i] != u'\\' || i + 1 == s.size()) {
            out += s[i];
            continue;
        }
        const QChar c = s[++i];
        if (c == u'n')
            out += u'\n';
        else if (c == u't')
            out += u'\t';
        else if (c == u'r')
            out += u'\r';
        else if (c == u'u' && i + 4 < s.size())
            out += QChar(s.mid(i + 1, 4).toUShort(nullptr, 16)), i += 4;
        else
            out += c;
    }
    return out;
}

QString quoted(const QString &s)
{
    QString out = QStringLiteral("\"");
    for (const QChar c : s) {
        if (c == u'\\' || c == u'"')
            out += u'\\', out += c;
        else if (c == u'\n')
            out += QLatin1String("\\n");
        else if (c == u'\t')
            out += QLatin1String("\\t");
        else if (c.unicode() < 0x20)
            out += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out + u'"';
}

// The end of "key:" at the start of rest, where rest holds one; the key's text is set.
qsizetype keyEnd(QStringView rest, QString &key)
{
    if (rest.startsWith(u'"') || rest.startsWith(u'\'')) {
        const qsizetype close = closeAt(rest, 1, rest[0]);
        if (close < 0 || close + 1 >= rest.size() || rest[close + 1] != u':' || (close + 2 < rest.size() && rest[close + 2] != u' '))
            return -1;
        key = rest[0] == u'"' ? unescaped(rest.mid(1, close - 1)) : rest.mid(1, close - 1).toString().replace(QLatin1String("''"), QLatin1String("'"));
        return close + 1;
    }
    if (rest.startsWith(u'[') || rest.startsWith(u'{'))
        return -1;
    qsizetype colon = rest.indexOf(QLatin1String(": "));
    if (colon < 0 && rest.endsWith(u':'))
        colon = rest.size() - 1;
    if (colon <= 0)
        return -1;
    key = rest.left(colon).toString();
    return colon;
}

// Every scalar of the text, in order.
QList<Scalar> scalars(const QStringList &lines)
{
    static const QRegularExpression header(QStringLiteral(R"(^[|>][-+0-9]*\s*(#.*)?$)"));
    QList<Scalar> found;
    QList<Open> open{Open{}};
    qsizetype sequences = 0;
    for (qsizetype i = 0; i < lines.size();) {
        const QString &line = lines[i];
        if (blank(line)) {
            ++i;
            continue;
        }
        const qsizetype indent = indentOf(line);
        const bool item = itemAt(line, indent);
        // A sequence may sit at its key's own indentation; a key at it is the next sibling.
        while (open.size() > 1 && (open.last().indent > indent || (open.last().indent == indent && !item)))
            open.removeLast();
        Scalar s;
        s.first = i;
        qsizetype at = indent;
        qsizetype context = open.last().indent;
        while (itemAt(line, at)) {
            if (open.last().sequence < 0)
                open.last().sequence = sequences++;
            s.sequence = open.last().sequence;
            s.owner = open.last().key;
            context = at;
            for (++at; at < line.size() && line[at] == u' ';)
                ++at;
        }
        const QStringView rest = QStringView(line).mid(at);
        QString key;
        if (const qsizetype end = rest.isEmpty() ? -1 : keyEnd(rest, key); end >= 0) {
            qsizetype value = at + end + 1;
            while (value < line.size() && line[value] == u' ')
                ++value;
            if (blank(QStringView(line).mid(value))) {
                open.append({at, key});
                ++i;
                continue;
            }
            s = Scalar{i, value, i, Style::Plain, key};
            context = at;
        } else if (rest.isEmpty()) {
            ++i;
            continue;
        } else {
            s.column = at;
        }
        const QStringView value = QStringView(line).mid(s.column);
        s.last = i;
        if (header.match(value).hasMatch()) {
            s.style = Style::Block;
            for (qsizetype j = i + 1; j < lines.size() && (empty(lines[j]) || indentOf(lines[j]) > context); ++j) {
                if (!empty(lines[j]))
                    s.last = j;
            }
        } else if (value.startsWith(u'"') || value.startsWith(u'\'')) {
            s.style = value.startsWith(u'"') ? Style::Double : Style::Single;
            s.last = closingLine(lines, i, s.column + 1, value[0]);
        } else {
            for (qsizetype j = i + 1; j < lines.size() && !blank(lines[j]) && indentOf(lines[j]) > context; ++j)
                s.last = j;
        }
        found.append(s);
        i = s.last + 1;
    }
    return found;
}

// What the scalar says, as YAML reads it; folded lines joined by a space.
QString content(const QStringList &lines, const Scalar &s)
{
    if (s.style == Style::Block) {
        QStringList body = lines.mid(s.first + 1, s.last - s.first);
        qsizetype common = -1;
        for (const QString &l : body) {
            if (!empty(l))
                common = common < 0 ? indentOf(l) : std::min(common, indentOf(l));
        }
        for (QString &l : body)
            l = l.mid(std::max<qsizetype>(common, 0));
        return body.join(u'\n');
    }
    QString raw = lines[s.first].mid(s.column);
    for (qsizetype j = s.first + 1; j <= s.last; ++j)
        raw += u' ' + lines[j].trimmed();
    if (s.style == Style::Plain) {
        raw = raw.trimmed();
        return raw == QLatin1String("null") || raw == QLatin1String("~") ? QString() : raw;
    }
    const qsizetype close = raw.lastIndexOf(raw[0]);
    const QStringView inner = QStringView(raw).mid(1, close > 0 ? close - 1 : raw.size() - 1);
    return s.style == Style::Double ? unescaped(inner) : inner.toString().replace(QLatin1String("''"), QLatin1String("'"));
}


// Where a scalar sits, for telling where a variable was substituted: its key, a list
// item's NAME of NAME=value, or the key its list is under.
QString siteOf(const Scalar &s, const QString &says)
{
    if (!s.key.isEmpty())
        return s.key;
    static const QRegularExpression assignment(QStringLiteral(R"(^([A-Za-z_][A-Za-z0-9_.-]*)=)"));
    if (const auto m = assignment.match(says); m.hasMatch())
        return m.captured(1);
    return s.owner;
}

// A mapping's value by its key; a sequence's "NAME=value" item (environment, labels) as a
// variable, its value all the rest of it.
QString shownAs(const Scalar &s, const QString &says, const QStringList &known)
{
    static const QRegularExpression assignment(QStringLiteral(R"(^([A-Za-z_][A-Za-z0-9_.-]*)=(.*)$)"), QRegularExpression::DotMatchesEverythingOption);
    if (!s.key.isEmpty())
        return secretName(s.key) ? value(s.key, says) : Secrets::text(says, known);
    if (const auto m = assignment.match(says); m.hasMatch()) {
        const QString rest = m.captured(2);
        return m.captured(1) + u'=' + (secretName(m.capturedView(1)) ? value(m.capturedView(1), rest) : Secrets::text(rest, known));
    }
    return Secrets::text(says, known);
}
}

QStringList substitutedAt(const QString &written, const QStringList &variables)
{
    QList<QRegularExpression> uses;
    for (const QString &v : variables)
        uses << QRegularExpression(QStringLiteral("\\$\\{?") + QRegularExpression::escape(v) + QStringLiteral("(?![A-Za-z0-9_])"));
    const QStringList lines = written.split(u'\n');
    QStringList sites;
    for (const Scalar &s : scalars(lines)) {
        const QString says = content(lines, s);
        if (std::any_of(uses.cbegin(), uses.cend(), [&](const QRegularExpression &use) { return use.match(says).hasMatch(); }))
            sites << siteOf(s, says);
    }
    sites.removeDuplicates();
    return sites;
}

QString yaml(const QString &text, const QStringList &known, const std::optional<QStringList> &sites)
{
    const QStringList lines = text.split(u'\n');
    const QList<Scalar> all = scalars(lines);
    QStringList says;
    for (const Scalar &s : all)
        says << content(lines, s);
    // A value equal to a secret is hidden only where a secret was substituted, when that is known.
    const auto knownAt = [&](const Scalar &s, const QString &value) {
        return !sites || sites->contains(siteOf(s, value)) ? known : QStringList();
    };

    QStringList shown = says;
    QList<bool> done(all.size(), false);
    for (qsizetype k = 0; k < all.size(); ++k) {
        const Scalar &s = all[k];
        if (done[k])
            continue;
        static const QLatin1String commands[] = {QLatin1String("command"), QLatin1String("entrypoint"), QLatin1String("test")};
        if (s.sequence >= 0 && std::find(std::begin(commands), std::end(commands), s.owner) != std::end(commands)) {
            // A command's words are read together: the word after "--requirepass" is its own item.
            QList<qsizetype> items;
            for (qsizetype j = k; j < all.size(); ++j) {
                if (all[j].sequence == s.sequence)
                    items << j;
            }
            QStringList words;
            for (qsizetype j : items)
                words << says[j];
            const QStringList masked = arguments(words, knownAt(s, says[k]));
            for (qsizetype n = 0; n < items.size(); ++n)
                shown[items[n]] = masked[n], done[items[n]] = true;
            continue;
        }
        shown[k] = shownAs(s, says[k], knownAt(s, says[k]));
    }

    const QString mask = QString::fromUtf16(Secrets::mask);
    QStringList out = lines;
    for (qsizetype k = 0; k < all.size(); ++k) {
        const Scalar &s = all[k];
        if (shown[k] == says[k])
            continue;
        if (s.first == s.last && s.style != Style::Block) {
            out[s.first] = lines[s.first].left(s.column) + (shown[k] == mask ? quoted(mask) : quoted(shown[k]));
            continue;
        }
        // Masked whole, line for line: one double-quoted placeholder folded over the same lines.
        out[s.first] = lines[s.first].left(s.column) + u'"' + mask;
        for (qsizetype j = s.first + 1; j <= s.last; ++j)
            out[j] = empty(lines[j]) ? lines[j] : QString(indentOf(lines[j]), u' ') + mask;
        out[s.last] += u'"';
    }
    return out.join(u'\n');
}

}
