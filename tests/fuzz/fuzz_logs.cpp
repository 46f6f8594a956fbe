#include "ansi.h"
#include "fuzz.h"
#include "logline.h"
#include "transcript.h"

#include <algorithm>

// A log stream as the sheet reads it, in chunks cut anywhere: nothing of an escape sequence
// reaches the text, spans stay inside their line, and cutting differently reads the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const QList<Ansi::Line> whole = Ansi::parse(text);
    Ansi::Parser chunked;
    QList<Ansi::Line> pieces;
    const qsizetype cut = size > 0 ? data[0] % 7 + 1 : 1;
    for (qsizetype at = 0; at < text.size(); at += cut)
        pieces += chunked.feed(QStringView(text).mid(at, cut));
    const qsizetype completed = pieces.size();
    if (!chunked.open().text.isEmpty())
        pieces.append(chunked.open());
    FUZZ_PROMISE(pieces == whole);
    // Every line break the program printed is a line on screen, whatever sequence it cut
    // short; only a line too long to keep adds breaks of its own.
    const bool tooLong = std::ranges::any_of(whole, [](const Ansi::Line &l) { return l.text.size() >= Ansi::Parser::longestLine; });
    FUZZ_PROMISE(tooLong || completed == text.count(u'\n'));
    for (const Ansi::Line &line : whole) {
        FUZZ_PROMISE(!line.text.contains(QChar(0x1b)) && !line.text.contains(u'\n') && !line.text.contains(u'\r'));
        FUZZ_PROMISE(line.text.size() <= Ansi::Parser::longestLine);
        qsizetype end = 0;
        for (const Ansi::Span &span : line.spans) {
            FUZZ_PROMISE(span.start >= end && span.length > 0 && span.start + span.length <= line.text.size());
            end = span.start + span.length;
        }
        const LogLine read = LogLines::read(line, true, true);
        Transcript::styled(read.body, Finder(text.left(3), true).matchesIn(read.body.text), 0, TranscriptPalette{});
    }
    return 0;
}
