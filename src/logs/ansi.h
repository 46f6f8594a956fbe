#pragma once

#include <QList>
#include <QString>
#include <cstdint>

// The escape and control sequences programs write to a terminal, read into plain text with
// styled spans. Only SGR (colour and weight) survives as style; cursor movement, titles,
// links and the like are dropped, a carriage return that redraws a line keeps only the
// redraw, and nothing of a sequence is ever left in the text.
namespace Ansi {

// A colour as the program asked for it: the terminal's default, one of its 256 numbered
// colours (0–15 the named sixteen), or red-green-blue.
struct Color {
    enum class Kind : std::uint8_t { Default, Indexed, Rgb };
    Kind kind = Kind::Default;
    std::uint32_t value = 0;   // the index, or 0xRRGGBB

    static Color indexed(int index) { return {Kind::Indexed, std::uint32_t(index)}; }
    static Color rgb(int r, int g, int b) { return {Kind::Rgb, std::uint32_t((r << 16) | (g << 8) | b)}; }
    friend bool operator==(const Color &, const Color &) = default;
};

struct Style {
    Color foreground;
    Color background;
    bool bold = false;
    bool dim = false;
    bool italic = false;
    bool underline = false;
    bool inverse = false;

    bool isPlain() const { return *this == Style{}; }
    friend bool operator==(const Style &, const Style &) = default;
};

struct Span {
    qsizetype start = 0;
    qsizetype length = 0;
    Style style;
    friend bool operator==(const Span &, const Span &) = default;
};

// One line without its line break; spans cover the styled parts only, in order.
struct Line {
    QString text;
    QList<Span> spans;
    friend bool operator==(const Line &, const Line &) = default;
};

// Reads a stream chunk by chunk: a sequence, a carriage return or a line split between two
// chunks is read as if it had come whole, and the style carries from line to line as it
// does on a terminal.
class Parser {
public:
    // The lines this chunk completed.
    QList<Line> feed(QStringView chunk);
    // The line still open (a prompt, a progress bar), as it would show now.
    const Line &open() const { return m_line; }
    // A line longer than this is broken, so a stream without line breaks cannot grow one forever.
    static constexpr qsizetype longestLine = 65536;

private:
    enum class State : std::uint8_t { Text, Escape, EscapeIntermediate, Csi, String, StringEscape };
    // Reads one character; false when it broke off a sequence and must be read again.
    bool step(QChar c, QList<Line> &done);
    bool abandon();
    void put(QChar c);
    void endLine(QList<Line> &done);
    void csi(QChar final);
    void sgr();

    State m_state = State::Text;
    QString m_params;
    Style m_style;
    Line m_line;
    // A carriage return was read; what follows decides whether it ended the line or redraws it.
    bool m_return = false;
};

// Every line of a whole text, the last one included when it has no line break.
QList<Line> parse(QStringView text);
// The text as a reader sees it.
QString strip(QStringView text);

}
