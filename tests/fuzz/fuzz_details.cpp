#include "containerdetails.h"
#include "fuzz.h"
#include "imagedetails.h"

// `docker inspect` of a container and `docker image inspect` with `docker history` of an
// image, read for their details sheets: whatever the engine wrote, what is read has an id, a
// health check has an interval, every exit has a meaning, and no layer is of negative size.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const qsizetype split = bytes.indexOf('\n');
    if (const auto image = Docker::parseImageDetails(bytes.left(split), split < 0 ? QByteArray() : bytes.mid(split + 1))) {
        FUZZ_PROMISE(!image->id.isEmpty() && image->bytes >= 0);
        for (const auto &layer : image->layers)
            FUZZ_PROMISE(layer.bytes >= 0);
    }
    const auto details = Docker::parseContainerDetails(bytes);
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
