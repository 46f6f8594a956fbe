#include "docker.h"
#include "fuzz.h"

// `docker context ls --format json`, and the choices made from its rows.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto listed = Docker::parseRuntimes(fuzzText(data, size));
    const auto chosen = Docker::preferred(listed.list, listed.current);
    for (const auto &row : listed.list) {
        // A hand-over never lands where it left, and only on a reachable row.
        for (const Runtime &next : Docker::handoverCandidates(row.runtime, listed.list)) {
            FUZZ_PROMISE(next != row.runtime);
            FUZZ_PROMISE(std::any_of(listed.list.cbegin(), listed.list.cend(),
                                     [&](const RuntimeEntry &r) { return r.runtime == next && r.reachable; }));
        }
    }
    (void)chosen;
    return 0;
}
