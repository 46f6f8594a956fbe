#include "fuzz.h"
#include "progress.h"

#include <algorithm>

// What `docker pull` draws on a terminal and compose prints for `up`, cut into lines through
// the terminal's redraws and read as progress: cutting the bytes differently draws the same
// lines, and however garbled, a pull is never more than done nor less than begun.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    Docker::DrawnLines whole;
    const QStringList lines = whole.feed(bytes) + whole.finish();
    Docker::DrawnLines chunked;
    QStringList pieces;
    const qsizetype cut = size > 0 ? data[0] % 13 + 1 : 1;
    for (qsizetype at = 0; at < bytes.size(); at += cut)
        pieces += chunked.feed(QByteArrayView(bytes).sliced(at, std::min(cut, bytes.size() - at)));
    pieces += chunked.finish();
    FUZZ_PROMISE(pieces == lines);

    PullProgress pull;
    ComposeProgress compose;
    for (const QString &line : lines) {
        FUZZ_PROMISE(!line.contains(u'\n') && !line.contains(u'\r'));
        Docker::readPull(pull, line);
        Docker::readCompose(compose, line, QStringLiteral("shop"));
        for (const PullProgress *p : {&pull, &compose.pulls}) {
            FUZZ_PROMISE(p->fraction() >= 0 && p->fraction() <= 1);
            FUZZ_PROMISE(p->done() <= p->toFetch() && p->toFetch() <= p->layers.size());
            FUZZ_PROMISE(p->bytesDone() >= 0 && p->bytesTotal() >= 0);
        }
    }
    for (const ServiceProgress &s : compose.services)
        FUZZ_PROMISE(!s.service.isEmpty());
    return 0;
}
