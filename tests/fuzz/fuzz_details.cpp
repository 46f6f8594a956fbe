#include "containerdetails.h"
#include "fuzz.h"

// `docker inspect` of a container, read for its details sheet: whatever the engine wrote, a
// container read has an id, a health check has an interval, and every exit has a meaning.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto details = Docker::parseContainerDetails(fuzzBytes(data, size));
    if (!details)
        return 0;
    FUZZ_PROMISE(!details->id.isEmpty());
    FUZZ_PROMISE(!Docker::exitMeaning(details->exitCode, details->outOfMemory).isEmpty());
    if (details->health)
        FUZZ_PROMISE(details->health->intervalSeconds > 0);
    for (const auto &[name, value] : details->environment)
        Docker::looksSecret(name);
    return 0;
}
