#include "diskusage.h"
#include "docker.h"
#include "fuzz.h"
#include "reclaimplan.h"

#include <QSet>

// `docker system df -v --format json` with the totals of `docker system df --format json`
// read from the same bytes, and the reclaim plan made from them: whatever the engine wrote,
// the plan lists nothing twice, no image any container uses, no container of a compose
// project, no volume with a name of its own or one a container mounts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    DiskUsage usage = Docker::parseDiskUsage(bytes);
    Docker::parseDiskTotals(bytes, usage);
    FUZZ_PROMISE(usage.bytes() >= -1);
    // The listing comes from the same bytes read as `docker images` lines, so the fuzzer
    // also meets ids listed twice, tagged and untagged, and images the listing lacks.
    const QList<DockerImage> images = Docker::parseImages(QString::fromUtf8(bytes));
    usage = Docker::withListedNames(std::move(usage), images, {});
    const ReclaimPlan plan = Reclaim::plan(usage, images);
    const auto shortId = [](const QString &id) { return id.mid(id.indexOf(u':') + 1).left(12); };
    for (const auto &item : plan.categories.value(0).items) {
        // Dangling means the listing gave it no name, on every row it has there.
        FUZZ_PROMISE(std::none_of(images.cbegin(), images.cend(), [&](const DockerImage &i) {
            return shortId(i.id) == shortId(item.id) && i.repository != QLatin1String("<none>") && !i.repository.isEmpty() && i.tag != QLatin1String("<none>");
        }));
    }
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
        const bool mounted = std::any_of(usage.containers.cbegin(), usage.containers.cend(), [&](const auto &c) { return c.mounts.contains(v.name); });
        FUZZ_PROMISE(!lone || (v.isAnonymous() && v.links == 0 && !mounted) || !listed.contains("anonymousVolumes/" + v.name));
    }
    return 0;
}
