#include "ansi.h"

namespace Ansi {

QList<Line> Parser::feed(QStringView chunk)
{
    QList<Line> done;
    for (const QChar c : chunk) {
        // A control character that breaks off a sequence is read again as text, so a line
        // break inside a title or a cut-off colour still ends its line.
        while (!step(c, done)) {
        }
    }
    return done;
}

bool Parser::step(QChar c, QList<Line> &done)
{
    const char16_t u = c.unicode();
    // A line break ends any sequence still open: in a log, a sequence never outlives its line.
    const bool lineBreak = u == u'\n' || u == u'\r';
    switch (m_state) {
    case State::Text:
        if (m_return && !lineBreak) {
            // A bare carriage return: what follows overwrites the line, as a progress bar redraws.
            m_line = {};
        }
        m_return = false;
        if (u == 0x1b) {
            m_state = State::Escape;
        } else if (u == 0x9b) {
            m_params.clear();
            m_state = State::Csi;
        } else if (u == u'\n') {
            endLine(done);
        } else if (u == u'\r') {
            m_return = true;
        } else if (u == u'\b') {
            if (!m_line.text.isEmpty()) {
                m_line.text.chop(1);
                if (!m_line.spans.isEmpty() && m_line.spans.last().start + m_line.spans.last().length > m_line.text.size()
                    && --m_line.spans.last().length == 0)
                    m_line.spans.removeLast();
            }
        } else if (u == u'\t' || (u >= 0x20 && u != 0x7f && !(u >= 0x80 && u < 0xa0))) {
            put(c);
            if (m_line.text.size() >= longestLine)
                endLine(done);
        }
        return true;
    case State::Escape:
        if (u < 0x20)
            return abandon();
        if (u == u'[') {
            m_params.clear();
            m_state = State::Csi;
        } else if (u == u']' || u == u'P' || u == u'X' || u == u'^' || u == u'_') {
            m_state = State::String;   // OSC, DCS, SOS, PM, APC: all end at ST or BEL
        } else if (u >= 0x20 && u <= 0x2f) {
            m_state = State::EscapeIntermediate;   // ESC ( B and friends: one more byte
        } else {
            m_state = State::Text;   // ESC 7, ESC M, …: nothing to show
        }
        return true;
    case State::EscapeIntermediate:
        if (u < 0x20)
            return abandon();
        if (u > 0x2f)
            m_state = State::Text;
        return true;
    case State::Csi:
        if (u >= 0x40 && u <= 0x7e) {
            csi(c);
            m_state = State::Text;
        } else if (u >= 0x20 && u < 0x40) {
            if (m_params.size() < 256)
                m_params.append(c);
        } else {
            return abandon();   // malformed: give up on it, lose nothing after it
        }
        return true;
    case State::String:
        if (u == 0x07)
            m_state = State::Text;
        else if (u == 0x1b)
            m_state = State::StringEscape;
        else if (lineBreak)
            return abandon();
        return true;
    case State::StringEscape:
        if (u == u'\\') {
            m_state = State::Text;
            return true;
        }
        // Any other byte after ESC begins a sequence of its own, as a terminal reads it.
        m_state = State::Escape;
        return false;
    }
    return true;
}

bool Parser::abandon()
{
    m_state = State::Text;
    return false;
}

void Parser::put(QChar c)
{
    if (!m_style.isPlain()) {
        Span *last = m_line.spans.isEmpty() ? nullptr : &m_line.spans.last();
        if (last && last->style == m_style && last->start + last->length == m_line.text.size())
            ++last->length;
        else
            m_line.spans.append({m_line.text.size(), 1, m_style});
    }
    m_line.text.append(c);
}

void Parser::endLine(QList<Line> &done)
{
    done.append(std::exchange(m_line, {}));
}

void Parser::csi(QChar final)
{
    // Only colour and weight are kept; moving the cursor or erasing has no meaning in a transcript.
    if (final == u'm' && !m_params.startsWith(u'?') && !m_params.startsWith(u'>'))
        sgr();
}

void Parser::sgr()
{
    // "38;2;1;2;3" and "38:2::1:2:3" both name a colour; colons join a parameter's parts.
    QList<QList<int>> params;
    for (const QStringView group : QStringView(m_params).split(u';')) {
        QList<int> parts;
        for (const QStringView part : group.split(u':'))
            parts.append(part.isEmpty() ? -1 : std::min(part.toInt(), 1 << 24));
        params.append(parts);
    }
    const auto value = [&](qsizetype i) { return i < params.size() && !params[i].isEmpty() ? std::max(params[i].first(), 0) : 0; };
    // An extended colour (38, 48) from its colon parts or the semicolon parameters after it.
    const auto extended = [&](qsizetype &i) -> std::optional<Color> {
        QList<int> parts = params[i].mid(1);
        const bool colons = !parts.isEmpty();
        if (!colons) {
            for (qsizetype j = i + 1; j < params.size() && j <= i + 4; ++j)
                parts.append(params[j].isEmpty() ? -1 : params[j].first());
        }
        if (parts.isEmpty())
            return std::nullopt;
        const auto at = [&](qsizetype k) { return k < parts.size() ? std::clamp(parts[k], 0, 255) : 0; };
        if (parts[0] == 5 && parts.size() >= 2) {
            if (!colons)
                i += 2;
            return Color::indexed(at(1));
        }
        if (parts[0] == 2) {
            // The colon form may carry a colour-space id first: 38:2::r:g:b.
            const qsizetype first = colons && parts.size() >= 5 ? 2 : 1;
            if (!colons)
                i += 4;
            return Color::rgb(at(first), at(first + 1), at(first + 2));
        }
        return std::nullopt;
    };
    for (qsizetype i = 0; i < params.size(); ++i) {
        const int p = value(i);
        if (p == 0)
            m_style = {};
        else if (p == 1)
            m_style.bold = true;
        else if (p == 2)
            m_style.dim = true;
        else if (p == 3)
            m_style.italic = true;
        else if (p == 4)
            m_style.underline = params[i].size() < 2 || params[i][1] != 0;
        else if (p == 7)
            m_style.inverse = true;
        else if (p == 22)
            m_style.bold = m_style.dim = false;
        else if (p == 23)
            m_style.italic = false;
        else if (p == 24)
            m_style.underline = false;
        else if (p == 27)
            m_style.inverse = false;
        else if (p >= 30 && p <= 37)
            m_style.foreground = Color::indexed(p - 30);
        else if (p >= 90 && p <= 97)
            m_style.foreground = Color::indexed(p - 90 + 8);
        else if (p >= 40 && p <= 47)
            m_style.background = Color::indexed(p - 40);
        else if (p >= 100 && p <= 107)
            m_style.background = Color::indexed(p - 100 + 8);
        else if (p == 39)
            m_style.foreground = {};
        else if (p == 49)
            m_style.background = {};
        else if (p == 38 || p == 48) {
            if (const auto color = extended(i))
                (p == 38 ? m_style.foreground : m_style.background) = *color;
        }
    }
}

QList<Line> parse(QStringView text)
{
    Parser parser;
    QList<Line> lines = parser.feed(text);
    if (!parser.open().text.isEmpty())
        lines.append(parser.open());
    return lines;
}

QString strip(QStringView text)
{
    QString plain;
    Parser parser;
    for (const Line &line : parser.feed(text))
        plain += line.text + u'\n';
    return plain + parser.open().text;
}

}
