#include "docker.h"
#include "fuzz.h"

// The Labels and Ports fields of a container listing.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const auto labels = Docker::parseLabels(text);
    for (auto it = labels.cbegin(); it != labels.cend(); ++it)
        FUZZ_PROMISE(!it.key().contains(u','));
    const QString ports = Docker::shortPorts(text);
    FUZZ_PROMISE(!ports.contains(QStringLiteral("->")));
    const QStringView trimmed = Docker::trimBlanks(text);
    const auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    FUZZ_PROMISE(trimmed.isEmpty() || (!blank(trimmed.front()) && !blank(trimmed.back())));
    return 0;
}
