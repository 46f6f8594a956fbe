#include "docker.h"
#include "fuzz.h"

// The two streams Korvat keeps open on an engine, line by line: `docker events` and
// `docker stats`. A line that cannot be read changes nothing it should not: an event with a
// container change names the container, and a reading is never negative.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    for (const QByteArray &line : fuzzBytes(data, size).split('\n')) {
        const EngineEvent event = Docker::readEvent(line);
        if (event.container)
            FUZZ_PROMISE(!event.container->id.isEmpty());
        if (const std::optional<Usage> usage = Docker::readUsage(line)) {
            FUZZ_PROMISE(!usage->cpuPercent || *usage->cpuPercent >= 0);
            FUZZ_PROMISE(!usage->memoryBytes || *usage->memoryBytes >= 0);
        }
    }
    return 0;
}
