#include "docker.h"
#include "fuzz.h"

// What compose prints: its messages on standard error and its resolved configuration.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const QStringList messages = Docker::composeMessages(text);
    FUZZ_PROMISE(messages.size() <= text.count(u'\n') + 1);
    const auto summary = Docker::composeWarningSummary(text);
    FUZZ_PROMISE(!summary || !messages.isEmpty());
    try {
        const auto project = Docker::parseComposeConfig(text, QStringLiteral("/srv/app"));
        FUZZ_PROMISE(!project.name.isEmpty());
        for (const auto &v : project.externalVolumes)
            FUZZ_PROMISE(project.volumes.contains(v));
    } catch (const DockerError &) {
    }
    return 0;
}
