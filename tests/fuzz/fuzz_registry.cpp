#include "fuzz.h"
#include "projectregistry.h"

// The stored registry, as the settings file hands it back.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto registry = ProjectRegistry::decode(fuzzBytes(data, size));
    if (!registry)
        return 0;
    // What was read is written back so that it reads the same.
    const auto again = ProjectRegistry::decode(registry->encode());
    FUZZ_PROMISE(again && *again == *registry);
    return 0;
}
