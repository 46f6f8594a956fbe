#include "logline.h"

#include <QRegularExpression>

namespace LogLines {

Ansi::Line dropFront(Ansi::Line line, qsizetype n)
{
    n = std::min(n, line.text.size());
    line.text.remove(0, n);
    QList<Ansi::Span> kept;
    for (Ansi::Span span : std::as_const(line.spans)) {
        const qsizetype end = span.start + span.length - n;
        span.start = std::max<qsizetype>(0, span.start - n);
        span.length = end - span.start;
        if (span.length > 0)
            kept.append(span);
    }
    line.spans = kept;
    return line;
}

LogLine read(Ansi::Line line, bool prefixed, bool timestamped)
{
    LogLine result;
    if (prefixed) {
        // "web-1  | message": the name, padding, a bar and one space.
        static const QRegularExpression prefix(QStringLiteral("^(\\S+)\\s*\\| ?"));
        const auto m = prefix.match(line.text);
        if (m.hasMatch()) {
            result.service = m.captured(1);
            line = dropFront(std::move(line), m.capturedLength(0));
        }
    }
    if (timestamped) {
        static const QRegularExpression stamp(
            QStringLiteral("^(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d(?:\\.\\d+)?(?:Z|[+-]\\d\\d:\\d\\d)) ?"));
        const auto m = stamp.match(line.text);
        if (m.hasMatch()) {
            result.time = QDateTime::fromString(m.captured(1), Qt::ISODateWithMs);
            line = dropFront(std::move(line), m.capturedLength(0));
        }
    }
    result.body = std::move(line);
    return result;
}

}
