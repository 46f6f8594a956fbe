#include "docker.h"
#include "fuzz.h"
#include "teardownplan.h"

// The mounts and volume labels `inspect` prints for a plan, and the event stream's lines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const MountMap mounts = Docker::parseMounts(text);
    for (auto it = mounts.cbegin(); it != mounts.cend(); ++it) {
        FUZZ_PROMISE(!it.key().isEmpty());
        FUZZ_PROMISE(!it.key().startsWith(u'/') && !it.key().endsWith(u'/'));
        for (const auto &v : it.value())
            FUZZ_PROMISE(!v.isEmpty());
    }
    const VolumeLabels labels = Docker::parseVolumeLabels(text);

    // Whatever the engine said, a plan never removes a volume another container mounts.
    QList<Container> all;
    for (auto it = mounts.cbegin(); it != mounts.cend(); ++it)
        all.append({it.key(), it.key(), {}, {}, {}, {}, {}});
    ComposeProject project{QStringLiteral("app"), std::nullopt, {}, 0};
    if (!all.isEmpty())
        project.containers.append(all.first());
    const auto plan = Teardown::plan(project, all, mounts, {{}, {}, labels}, {});
    for (const auto &v : plan.removable()) {
        for (qsizetype i = 1; i < all.size(); ++i)
            FUZZ_PROMISE(!mounts.value(all[i].name).contains(v.name));
    }

    for (const auto &line : fuzzBytes(data, size).split('\n'))
        Docker::readEvent(line);
    return 0;
}
