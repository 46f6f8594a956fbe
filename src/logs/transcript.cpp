#include "transcript.h"

#include <QLocale>
#include <cmath>
#include <QSet>

// ---- find ----------------------------------------------------------------------------------

Finder::Finder(const QString &text, bool regex) : m_text(text), m_regex(regex)
{
    const bool capital = std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.isUpper(); });
    m_case = capital ? Qt::CaseSensitive : Qt::CaseInsensitive;
    if (regex && !text.isEmpty()) {
        m_expression.setPattern(text);
        if (!capital)
            m_expression.setPatternOptions(QRegularExpression::CaseInsensitiveOption);
        if (!m_expression.isValid())
            m_problem = QStringLiteral("Not a valid regular expression: %1").arg(m_expression.errorString());
    }
}

QList<Finder::Match> Finder::matchesIn(const QString &line) const
{
    QList<Match> found;
    if (m_text.isEmpty() || !m_problem.isEmpty())
        return found;
    if (!m_regex) {
        for (qsizetype at = line.indexOf(m_text, 0, m_case); at >= 0; at = line.indexOf(m_text, at + m_text.size(), m_case))
            found.append({at, m_text.size()});
        return found;
    }
    for (auto it = m_expression.globalMatch(line); it.hasNext();) {
        const auto m = it.next();
        // An empty match marks nothing and would count every line.
        if (m.capturedLength() > 0)
            found.append({m.capturedStart(), m.capturedLength()});
    }
    return found;
}

// ---- the model -------------------------------------------------------------------------------

Transcript::Transcript(QObject *parent) : QAbstractListModel(parent) {}

namespace {
QString passedOverText(qint64 lines)
{
    return QStringLiteral("[%1 %2 passed over]").arg(QLocale().toString(lines), lines == 1 ? QStringLiteral("line") : QStringLiteral("lines"));
}
}

void Transcript::append(const QList<LogLine> &lines, qint64 passedOver)
{
    if (lines.isEmpty() && passedOver <= 0)
        return;
    QList<qint64> shown;
    bool newService = false;
    if (passedOver > 0) {
        m_passedOver += passedOver;
        Entry gap{{Ansi::Line{passedOverText(passedOver), {}}, {}, {}}, {}, true};
        m_chars += gap.line.body.text.size() + 1;
        if (shows(gap))
            shown.append(m_first + m_lines.size());
        m_lines.append(std::move(gap));
    }
    for (const LogLine &line : lines) {
        Entry e{line, m_finder.matchesIn(line.body.text)};
        if (inService(e))
            m_matchCount += e.matches.size();
        m_chars += line.body.text.size() + 1;
        if (!line.service.isEmpty() && !m_services.contains(line.service)) {
            m_services.append(line.service);
            newService = true;
        }
        if (shows(e))
            shown.append(m_first + m_lines.size());
        m_lines.append(std::move(e));
    }
    if (!shown.isEmpty()) {
        beginInsertRows({}, int(m_rows.size()), int(m_rows.size() + shown.size() - 1));
        m_rows.append(shown);
        endInsertRows();
    }
    const bool hadCurrent = m_current.line >= 0;
    const bool wasTrimmed = m_trimmed;
    trim();
    if (passedOver > 0 || m_trimmed != wasTrimmed)
        emit noteChanged();
    if (newService) {
        std::sort(m_services.begin(), m_services.end());
        emit servicesChanged();
    }
    // The first match found while following becomes the current one.
    if (!hadCurrent && m_matchCount > 0)
        next();
    emit countChanged();
    if (!m_finder.isEmpty())
        emit findChanged();
}

void Transcript::trim()
{
    if (m_chars < trimAt)
        return;
    qsizetype drop = 0;
    while (drop < m_lines.size() && m_chars > keep) {
        m_chars -= m_lines[drop].line.body.text.size() + 1;
        if (inService(m_lines[drop]))
            m_matchCount -= m_lines[drop].matches.size();
        ++drop;
    }
    const qint64 newFirst = m_first + drop;
    const auto gone = std::lower_bound(m_rows.cbegin(), m_rows.cend(), newFirst) - m_rows.cbegin();
    if (gone > 0) {
        beginRemoveRows({}, 0, int(gone - 1));
        m_rows.remove(0, gone);
        m_lines.remove(0, drop);
        m_first = newFirst;
        endRemoveRows();
    } else {
        m_lines.remove(0, drop);
        m_first = newFirst;
    }
    if (m_current.line >= 0 && m_current.line < m_first)
        m_current = {};
    m_trimmed = true;
}

void Transcript::clear()
{
    beginResetModel();
    m_lines.clear();
    m_rows.clear();
    m_first = 0;
    m_chars = 0;
    m_matchCount = 0;
    m_current = {};
    endResetModel();
    const bool hadNote = !note().isEmpty();
    m_trimmed = false;
    m_passedOver = 0;
    if (hadNote)
        emit noteChanged();
    if (!m_services.isEmpty()) {
        m_services.clear();
        emit servicesChanged();
    }
    emit countChanged();
    emit findChanged();
}

void Transcript::setPalette(const TranscriptPalette &palette)
{
    if (m_palette == palette)
        return;
    m_palette = palette;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(int(m_rows.size() - 1)), {StyledRole, ServiceColorRole});
}

bool Transcript::inService(const Entry &e) const
{
    return m_service.isEmpty() || e.line.service == m_service;
}

bool Transcript::shows(const Entry &e) const
{
    // A gap is in every service's output; only a filter to the matching lines hides it.
    if (e.note)
        return !m_filtering || m_finder.isEmpty() || findInvalid();
    if (!inService(e))
        return false;
    // A line with a match always shows while it is in the service shown, so find counts and
    // moves among exactly the lines of that service.
    return !m_filtering || m_finder.isEmpty() || findInvalid() || !e.matches.isEmpty();
}

void Transcript::rebuildRows()
{
    QList<qint64> rows;
    for (qsizetype i = 0; i < m_lines.size(); ++i) {
        if (shows(m_lines[i]))
            rows.append(m_first + i);
    }
    if (rows == m_rows) {
        if (!m_rows.isEmpty())
            emit dataChanged(index(0), index(int(m_rows.size() - 1)), {StyledRole});
        return;
    }
    // Another criterion, not more output: the rows are laid out anew.
    beginResetModel();
    m_rows = rows;
    endResetModel();
    emit countChanged();
}

void Transcript::refind()
{
    m_finder = Finder(m_findText, m_regex);
    for (Entry &e : m_lines)
        e.matches = e.note ? QList<Finder::Match>() : m_finder.matchesIn(e.line.body.text);
    m_current = {};
    recount();
    rebuildRows();
    emit findChanged();
}

void Transcript::recount()
{
    m_matchCount = 0;
    for (const Entry &e : m_lines) {
        if (inService(e))
            m_matchCount += e.matches.size();
    }
    if (m_current.line >= 0 && inService(entry(m_current.line)))
        return;
    m_current = {};
    // Readers are at the end of a log: the newest match is the one they want first.
    for (qsizetype i = m_lines.size() - 1; i >= 0 && m_current.line < 0; --i) {
        if (!m_lines[i].matches.isEmpty() && shows(m_lines[i]))
            m_current = {m_first + i, int(m_lines[i].matches.size() - 1)};
    }
}

void Transcript::setFindText(const QString &text)
{
    if (m_findText == text)
        return;
    m_findText = text;
    refind();
}

void Transcript::setRegex(bool regex)
{
    if (m_regex == regex)
        return;
    m_regex = regex;
    refind();
}

void Transcript::setFiltering(bool filtering)
{
    if (m_filtering == filtering)
        return;
    m_filtering = filtering;
    rebuildRows();
    emit filterChanged();
    emit findChanged();
}

void Transcript::setService(const QString &service)
{
    if (m_service == service)
        return;
    m_service = service;
    recount();
    rebuildRows();
    emit filterChanged();
    emit findChanged();
}

QString Transcript::findStatus() const
{
    if (m_findText.isEmpty())
        return {};
    if (findInvalid())
        return m_finder.problem();
    if (m_matchCount == 0)
        return QStringLiteral("No matches");
    qsizetype ordinal = 0;
    if (m_current.line >= 0) {
        for (qsizetype i = 0; i < qsizetype(m_current.line - m_first); ++i) {
            if (inService(m_lines[i]))
                ordinal += m_lines[i].matches.size();
        }
        ordinal += m_current.index + 1;
    }
    const QLocale locale;
    return QStringLiteral("%1 of %2").arg(locale.toString(qlonglong(ordinal)), locale.toString(qlonglong(m_matchCount)));
}

int Transcript::rowOf(qint64 line) const
{
    const auto it = std::lower_bound(m_rows.cbegin(), m_rows.cend(), line);
    return it != m_rows.cend() && *it == line ? int(it - m_rows.cbegin()) : -1;
}

int Transcript::currentRow() const
{
    return m_current.line < 0 ? -1 : rowOf(m_current.line);
}

void Transcript::touch(qint64 line)
{
    const int row = rowOf(line);
    if (row >= 0)
        emit dataChanged(index(row), index(row), {StyledRole});
}

void Transcript::markCurrent(Current current)
{
    const Current before = std::exchange(m_current, current);
    touch(before.line);
    if (current.line != before.line)
        touch(current.line);
    emit findChanged();
}

void Transcript::next()
{
    if (m_matchCount == 0)
        return;
    // Within the line first, then the following lines that show, around to the first.
    if (m_current.line >= 0 && m_current.index + 1 < entry(m_current.line).matches.size())
        return markCurrent({m_current.line, m_current.index + 1});
    const qsizetype start = m_current.line < 0 ? 0 : qsizetype(m_current.line - m_first) + 1;
    for (qsizetype step = 0; step < m_lines.size(); ++step) {
        const qsizetype i = (start + step) % m_lines.size();
        if (!m_lines[i].matches.isEmpty() && shows(m_lines[i]))
            return markCurrent({m_first + i, 0});
    }
}

void Transcript::previous()
{
    if (m_matchCount == 0)
        return;
    if (m_current.line >= 0 && m_current.index > 0)
        return markCurrent({m_current.line, m_current.index - 1});
    const qsizetype start = m_current.line < 0 ? m_lines.size() - 1 : qsizetype(m_current.line - m_first) - 1;
    for (qsizetype step = 0; step < m_lines.size(); ++step) {
        const qsizetype i = ((start - step) % m_lines.size() + m_lines.size()) % m_lines.size();
        if (!m_lines[i].matches.isEmpty() && shows(m_lines[i]))
            return markCurrent({m_first + i, int(m_lines[i].matches.size() - 1)});
    }
}

QString Transcript::shownText() const
{
    if (m_rows.size() == m_lines.size())
        return {};
    const QLocale locale;
    return QStringLiteral("Showing %1 of %2 lines").arg(locale.toString(qlonglong(m_rows.size())), locale.toString(qlonglong(m_lines.size())));
}

QString Transcript::note() const
{
    if (m_passedOver == 1)
        return QStringLiteral("1 line came faster than it could be shown and was passed over; the newest are kept.");
    if (m_passedOver > 1)
        return QStringLiteral("%1 lines came faster than they could be shown and were passed over; the newest are kept.").arg(QLocale().toString(m_passedOver));
    return m_trimmed ? QStringLiteral("Older output was trimmed; the newest lines are kept.") : QString();
}

QString Transcript::jumpText(int newLines)
{
    if (newLines <= 0)
        return QStringLiteral("Jump to end");
    return QStringLiteral("Jump to end (%1 new %2)").arg(QLocale().toString(newLines), newLines == 1 ? QStringLiteral("line") : QStringLiteral("lines"));
}

QString Transcript::plainText() const
{
    QString text;
    for (const Entry &e : m_lines) {
        if (!e.line.service.isEmpty())
            text += e.line.service + QStringLiteral(" | ");
        if (e.line.time.isValid())
            text += e.line.time.toString(Qt::ISODateWithMs) + u' ';
        text += e.line.body.text + u'\n';
    }
    return text;
}

int Transcript::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

namespace {
// FNV-1a: the same service keeps the same colour in every run.
quint32 stableHash(const QString &text)
{
    quint32 h = 2166136261u;
    for (const QChar c : text) {
        h ^= c.unicode();
        h *= 16777619u;
    }
    return h;
}

QString hex(quint32 rgb)
{
    return QStringLiteral("#%1").arg(rgb & 0xffffff, 6, 16, QLatin1Char('0'));
}
}

QVariant Transcript::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const qint64 line = m_rows[index.row()];
    const Entry &e = entry(line);
    switch (role) {
    case Qt::DisplayRole:
    case TextRole:
        return e.line.body.text;
    case StyledRole:
        if (e.note)
            return QStringLiteral("<span style=\"white-space:pre-wrap;font-style:italic\">") + e.line.body.text.toHtmlEscaped() + QStringLiteral("</span>");
        return styled(e.line.body, e.matches, m_current.line == line ? m_current.index : -1, m_palette);
    case TimeRole:
        return e.line.time.isValid() ? QLocale().toString(e.line.time.toLocalTime().time(), QLocale::ShortFormat) : QString();
    case ServiceRole:
        return e.line.service;
    case ServiceColorRole:
        if (e.line.service.isEmpty() || m_palette.services.isEmpty())
            return QString();
        return hex(m_palette.services[stableHash(e.line.service) % m_palette.services.size()]);
    case NoteRole:
        return e.note;
    }
    return {};
}

QHash<int, QByteArray> Transcript::roleNames() const
{
    return {{TextRole, "text"}, {StyledRole, "styled"}, {TimeRole, "time"}, {ServiceRole, "service"}, {ServiceColorRole, "serviceColor"}, {NoteRole, "note"}};
}

// ---- drawing -----------------------------------------------------------------------------

namespace {
double luminance(quint32 rgb)
{
    const auto channel = [](quint32 c) {
        const double v = c / 255.0;
        return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel((rgb >> 16) & 0xff) + 0.7152 * channel((rgb >> 8) & 0xff) + 0.0722 * channel(rgb & 0xff);
}

double contrast(quint32 a, quint32 b)
{
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

quint32 mix(quint32 a, quint32 b, double t)
{
    const auto channel = [&](int shift) {
        return quint32(std::lround(((a >> shift) & 0xff) * (1 - t) + ((b >> shift) & 0xff) * t)) << shift;
    };
    return channel(16) | channel(8) | channel(0);
}

// The xterm 256-colour cube and grey ramp.
quint32 xterm(int index)
{
    if (index < 232) {
        const int i = index - 16;
        const auto level = [](int v) { return v == 0 ? 0 : 55 + v * 40; };
        return quint32(level(i / 36) << 16 | level(i / 6 % 6) << 8 | level(i % 6));
    }
    const int grey = 8 + (index - 232) * 10;
    return quint32(grey << 16 | grey << 8 | grey);
}
}

quint32 Transcript::readable(const Ansi::Color &color, const TranscriptPalette &palette, bool dim)
{
    quint32 rgb = palette.ink;
    if (color.kind == Ansi::Color::Kind::Indexed)
        rgb = color.value < 16 ? palette.ansi[color.value] : xterm(int(color.value));
    else if (color.kind == Ansi::Color::Kind::Rgb)
        rgb = color.value;
    // The program chose its colour for some other background: pull it towards the ink
    // until it reads (a contrast of 3.5), so navy on a navy page still shows.
    if (color.kind == Ansi::Color::Kind::Rgb || (color.kind == Ansi::Color::Kind::Indexed && color.value >= 16)) {
        const quint32 asked = rgb;
        for (int step = 1; step <= 10 && contrast(rgb, palette.page) < 3.5; ++step)
            rgb = mix(asked, palette.ink, step / 10.0);
    }
    return dim ? mix(rgb, palette.page, 0.4) : rgb;
}

QString Transcript::styled(const Ansi::Line &line, const QList<Finder::Match> &matches, int current, const TranscriptPalette &palette)
{
    // Cut the line wherever a style or a mark begins or ends; each piece has one of each.
    QList<qsizetype> cuts{0, line.text.size()};
    for (const Ansi::Span &s : line.spans)
        cuts << s.start << s.start + s.length;
    for (const Finder::Match &m : matches)
        cuts << m.start << m.start + m.length;
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());

    // Spaces and tabs as written: log lines are often aligned in columns.
    QString html = QStringLiteral("<span style=\"white-space:pre-wrap\">");
    html.reserve(line.text.size() + 96);
    qsizetype span = 0;
    for (qsizetype c = 0; c + 1 < cuts.size(); ++c) {
        const qsizetype from = cuts[c], to = cuts[c + 1];
        if (from >= line.text.size())
            break;
        while (span < line.spans.size() && line.spans[span].start + line.spans[span].length <= from)
            ++span;
        const Ansi::Style style = span < line.spans.size() && line.spans[span].start <= from ? line.spans[span].style : Ansi::Style{};
        int mark = -1;
        for (int m = 0; m < matches.size() && mark < 0; ++m) {
            if (matches[m].start <= from && from < matches[m].start + matches[m].length)
                mark = m;
        }
        QStringList css;
        quint32 fg = readable(style.foreground, palette, style.dim);
        std::optional<quint32> bg;
        if (style.background.kind != Ansi::Color::Kind::Default) {
            const Ansi::Color b = style.background;
            bg = b.kind == Ansi::Color::Kind::Indexed && b.value < 16 ? palette.ansi[b.value]
               : b.kind == Ansi::Color::Kind::Indexed                 ? xterm(int(b.value))
                                                                       : b.value;
        }
        if (style.inverse) {
            const quint32 back = bg.value_or(palette.page);
            bg = fg;
            fg = back;
        }
        if (mark >= 0) {
            bg = mark == current ? palette.currentMatch : palette.match;
            fg = 0x111111;
        }
        if (fg != palette.ink || mark >= 0 || style.inverse)
            css << QStringLiteral("color:") + hex(fg);
        if (bg)
            css << QStringLiteral("background-color:") + hex(*bg);
        if (style.bold)
            css << QStringLiteral("font-weight:600");
        if (style.italic)
            css << QStringLiteral("font-style:italic");
        if (style.underline)
            css << QStringLiteral("text-decoration:underline");
        const QString piece = line.text.mid(from, to - from).toHtmlEscaped();
        if (css.isEmpty())
            html += piece;
        else
            html += QStringLiteral("<span style=\"") + css.join(u';') + QStringLiteral("\">") + piece + QStringLiteral("</span>");
    }
    return html + QStringLiteral("</span>");
}
