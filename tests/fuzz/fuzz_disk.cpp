#include "diskusage.h"
#include "fuzz.h"
#include "reclaimplan.h"

#include <QSet>

// `docker system df -v --format json`, and the reclaim plan made from it: whatever the
// engine wrote, the plan lists nothing twice, no image any container uses, no container of
// a compose project, no volume with a name of its own or a container that mounts it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const DiskUsage usage = Docker::parseDiskUsage(fuzzBytes(data, size));
    const ReclaimPlan plan = Reclaim::plan(usage);
    QSet<QString> listed;
    for (const auto &category : plan.categories) {
        FUZZ_PROMISE(category.bytes() >= 0);
        for (const auto &item : category.items) {
            const QString key = ReclaimPlan::key(category.kind) + u'/' + item.id;
            FUZZ_PROMISE(!listed.contains(key));
            listed.insert(key);
        }
    }
    // An id the report gives twice may be listed by its other row: only a lone row is judged.
    const auto once = [](const auto &rows, auto id, const QString &of) {
        return std::count_if(rows.cbegin(), rows.cend(), [&](const auto &r) { return id(r) == of; }) == 1;
    };
    for (const auto &i : usage.images) {
        const bool lone = once(usage.images, [](const auto &r) { return r.id; }, i.id);
        FUZZ_PROMISE(!lone || i.containers == 0 || (!listed.contains("danglingImages/" + i.id) && !listed.contains("unusedImages/" + i.id)));
    }
    for (const auto &c : usage.containers) {
        const bool lone = once(usage.containers, [](const auto &r) { return r.id; }, c.id);
        FUZZ_PROMISE(!lone || !c.labels.contains(QStringLiteral("com.docker.compose.project")) || !listed.contains("stoppedContainers/" + c.id));
    }
    for (const auto &v : usage.volumes) {
        const bool lone = once(usage.volumes, [](const auto &r) { return r.name; }, v.name);
        FUZZ_PROMISE(!lone || (v.isAnonymous() && v.links == 0) || !listed.contains("anonymousVolumes/" + v.name));
    }
    return 0;
}
