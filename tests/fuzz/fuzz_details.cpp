#include "containerdetails.h"
#include "dockernetwork.h"
#include "fuzz.h"
#include "imagedetails.h"
#include "volumedetails.h"

// `docker inspect` of a container, `docker image inspect` with `docker history` of an image,
// and `docker network inspect` and `docker volume inspect`, read for their lists and details
// sheets: whatever the engine wrote, what is read has an id or a name, a health check has an
// interval, every exit has a meaning, no layer is of negative size, and a network's members
// stand in name order.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const qsizetype split = bytes.indexOf('\n');
    if (const auto image = Docker::parseImageDetails(bytes.left(split), split < 0 ? QByteArray() : bytes.mid(split + 1))) {
        FUZZ_PROMISE(!image->id.isEmpty() && image->bytes >= 0);
        for (const auto &layer : image->layers)
            FUZZ_PROMISE(layer.bytes >= 0);
    }
    for (const DockerNetwork &n : Docker::parseNetworks(bytes)) {
        FUZZ_PROMISE(!n.id.isEmpty() && !n.name.isEmpty());
        FUZZ_PROMISE(std::is_sorted(n.members.cbegin(), n.members.cend(), [](const NetworkMember &a, const NetworkMember &b) { return a.name < b.name; }));
        FUZZ_PROMISE(Docker::networkKept(n).isEmpty() == (n.members.isEmpty() && !n.isBuiltIn()));
    }
    if (const auto network = Docker::parseNetworkDetails(bytes))
        FUZZ_PROMISE(!network->network.name.isEmpty());
    if (const auto volume = Docker::parseVolumeDetails(bytes))
        FUZZ_PROMISE(!volume->name.isEmpty() && (!volume->bytes || *volume->bytes >= 0));
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
