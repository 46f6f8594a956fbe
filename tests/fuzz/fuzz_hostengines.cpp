#include "fuzz.h"
#include "hostengine.h"

#include <algorithm>

// What the package database says of the engines installed here: `dpkg-query` and
// `apt-cache policy`. Every package read has a name and a version, and the engines assembled
// from them are the catalogue's.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const auto installed = HostEngines::parsePackages(text);
    const auto candidates = HostEngines::parseCandidates(text);
    for (const auto *read : {&installed, &candidates}) {
        for (auto it = read->cbegin(); it != read->cend(); ++it)
            FUZZ_PROMISE(!it.key().isEmpty() && !it.value().isEmpty());
    }
    for (const HostEngine &engine : HostEngines::assemble(installed, candidates, installed)) {
        const auto &kinds = HostEngines::catalogue();
        FUZZ_PROMISE(std::any_of(kinds.cbegin(), kinds.cend(), [&](const HostEngines::Kind &k) { return k.name == engine.name; }));
    }
    return 0;
}
