#include "docker.h"

namespace Docker {

QStringView trimBlanks(QStringView text)
{
    while (!text.isEmpty() && (text.front() == u' ' || text.front() == u'\t'))
        text = text.mid(1);
    while (!text.isEmpty() && (text.back() == u' ' || text.back() == u'\t'))
        text.chop(1);
    return text;
}

QMap<QString, QString> parseLabels(const QString &text)
{
    QMap<QString, QString> labels;
    QString lastKey;
    bool haveKey = false;
    for (const auto &piece : text.split(u',', Qt::SkipEmptyParts)) {
        const qsizetype eq = piece.indexOf(u'=');
        if (eq >= 0) {
            lastKey = piece.left(eq);
            labels.insert(lastKey, piece.mid(eq + 1));
            haveKey = true;
        } else if (haveKey) {
            // A value such as config_files holds commas of its own.
            labels[lastKey] += u',' + piece;
        }
    }
    return labels;
}

QString shortPorts(const QString &text)
{
    QStringList pairs;
    for (const auto &raw : text.split(u',', Qt::SkipEmptyParts)) {
        const QStringView piece = trimBlanks(raw);
        const qsizetype arrow = piece.indexOf(u"->");
        if (arrow < 0)
            continue;
        const auto host = piece.left(arrow);
        const auto target = piece.mid(arrow + 2);
        // Two arrows in one binding is no port text docker prints; passing it on would put
        // an arrow in the short form.
        if (target.contains(u"->"))
            continue;
        const qsizetype colon = host.lastIndexOf(u':');
        if (colon < 0)
            continue;
        const auto hostPort = host.mid(colon + 1);
        const qsizetype slash = target.indexOf(u'/');
        const auto containerPort = slash < 0 ? target : target.left(slash);
        if (hostPort.isEmpty() || containerPort.isEmpty())
            continue;
        const QString pair = hostPort.toString() + u':' + containerPort.toString();
        if (!pairs.contains(pair))
            pairs.append(pair);
    }
    return pairs.join(QStringLiteral(", "));
}

namespace {
// "8000" or "8000-8003" as its first and last port; nothing when it is neither.
std::optional<std::pair<int, int>> portRange(QStringView text)
{
    const qsizetype dash = text.indexOf(u'-');
    bool firstOk = false, lastOk = false;
    const int first = text.left(dash < 0 ? text.size() : dash).toInt(&firstOk);
    const int last = dash < 0 ? first : text.mid(dash + 1).toInt(&lastOk);
    if (!firstOk || (dash >= 0 && !lastOk) || first <= 0 || last < first || last > 65535)
        return std::nullopt;
    return std::pair(first, last);
}
}

QList<PortBinding> parsePorts(const QString &text)
{
    QList<PortBinding> bindings;
    for (const auto &raw : text.split(u',', Qt::SkipEmptyParts)) {
        const QStringView piece = trimBlanks(raw);
        const qsizetype arrow = piece.indexOf(u"->");
        const QStringView target = arrow < 0 ? piece : piece.mid(arrow + 2);
        const qsizetype slash = target.indexOf(u'/');
        const auto ports = portRange(slash < 0 ? target : target.left(slash));
        if (!ports)
            continue;
        const QString protocol = slash < 0 ? QStringLiteral("tcp") : target.mid(slash + 1).toString();
        QString hostIp;
        std::optional<std::pair<int, int>> hostPorts;
        if (arrow >= 0) {
            const QStringView host = piece.left(arrow);
            const qsizetype colon = host.lastIndexOf(u':');
            hostPorts = colon < 0 ? std::nullopt : portRange(host.mid(colon + 1));
            if (!hostPorts)
                continue;
            hostIp = host.left(colon).toString();
            if (hostIp.startsWith(u'[') && hostIp.endsWith(u']'))
                hostIp = hostIp.mid(1, hostIp.size() - 2);
        }
        for (int p = ports->first; p <= ports->second; ++p) {
            const int hostPort = hostPorts ? hostPorts->first + (p - ports->first) : 0;
            if (hostPorts && hostPort > hostPorts->second)
                break;
            bindings.append({hostIp, hostPort, p, protocol});
        }
    }
    return bindings;
}

bool codePointLess(const QString &a, const QString &b)
{
    // UTF-16 puts U+E000..U+FFFF above the surrogates that encode astral code points;
    // shifting both ranges restores code-point order without decoding.
    const auto fix = [](char16_t c) -> char16_t {
        if (c >= 0xE000)
            return c - 0x800;
        if (c >= 0xD800)
            return c + 0x2000;
        return c;
    };
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t x = a.at(i).unicode(), y = b.at(i).unicode();
        if (x != y)
            return fix(x) < fix(y);
    }
    return a.size() < b.size();
}

QStringList composeMessages(const QString &stderrText)
{
    static const QLatin1String marker("msg=\"");
    QStringList messages;
    for (const auto &raw : stderrText.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringView line = trimBlanks(raw);
        if (line.isEmpty())
            continue;
        const qsizetype start = line.indexOf(marker);
        const qsizetype end = line.lastIndexOf(u'"');
        if (start >= 0 && end >= start + marker.size()) {
            QString message = line.mid(start + marker.size(), end - start - marker.size()).toString();
            message.replace(QLatin1String("\\\""), QLatin1String("\""));
            message.replace(QLatin1String("\\\\"), QLatin1String("\\"));
            messages.append(message);
        } else {
            messages.append(line.toString());
        }
    }
    return messages;
}

std::optional<QString> composeWarningSummary(const QString &stderrText)
{
    QStringList variables;
    QStringList others;
    for (const auto &message : composeMessages(stderrText)) {
        if (message.contains(QLatin1String("variable is not set"))) {
            const qsizetype open = message.indexOf(u'"');
            const qsizetype close = open < 0 ? -1 : message.indexOf(u'"', open + 1);
            if (close > open + 1) {
                // Compose repeats the warning for each use of a variable; every one is kept.
                variables.append(message.mid(open + 1, close - open - 1));
                continue;
            }
        }
        others.append(message);
    }
    QStringList lines;
    if (variables.size() == 1)
        lines.append(variables.first()
                     + QStringLiteral(" has no value; compose substituted an empty string. Check the .env beside the compose file."));
    else if (variables.size() > 1)
        lines.append(QString::number(variables.size()) + QStringLiteral(" variables have no value: ")
                     + variables.join(QStringLiteral(", "))
                     + QStringLiteral(". compose substituted empty strings. Check the .env beside the compose file."));
    lines += others;
    if (lines.isEmpty())
        return std::nullopt;
    return lines.join(u'\n');
}

} // namespace Docker
