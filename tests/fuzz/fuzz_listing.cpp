#include "docker.h"
#include "fuzz.h"

#include <QSet>

// `docker ps`, `images` and `volume ls` output, one JSON object a line, and the grouping
// of the containers into projects.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const auto containers = Docker::parseContainers(text);
    Docker::parseImages(text);
    Docker::parseVolumes(text);
    FUZZ_PROMISE(containers.size() == Docker::ndjson(text).size());

    // Every container is shown exactly once: in one project, or among the loose ones.
    qsizetype shown = 0;
    QSet<QString> names;
    for (const auto &project : Docker::group(containers)) {
        FUZZ_PROMISE(!project.containers.isEmpty());
        FUZZ_PROMISE(!names.contains(project.name));
        names.insert(project.name);
        for (const auto &c : project.containers)
            FUZZ_PROMISE(c.project() == project.name);
        shown += project.containers.size();
    }
    const auto loose = Docker::ungrouped(containers);
    for (const auto &c : loose)
        FUZZ_PROMISE(!c.project());
    FUZZ_PROMISE(shown + loose.size() == containers.size());
    for (const auto &c : containers)
        FUZZ_PROMISE(!Docker::shortPorts(c.ports).contains(QStringLiteral("->")));
    return 0;
}
