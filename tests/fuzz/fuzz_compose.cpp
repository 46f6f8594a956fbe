#include "docker.h"
#include "fuzz.h"

// What compose prints (its messages on standard error, its resolved configuration) and what
// it reads (a .env file, the variables a compose file uses).
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
        FUZZ_PROMISE(project.services.size() == project.definitions.size());
        for (const auto &service : project.definitions)
            FUZZ_PROMISE(!service.profiles.contains(QString()));
    } catch (const DockerError &) {
    }
    const auto dotEnv = Docker::parseDotEnv(text);
    for (auto it = dotEnv.cbegin(); it != dotEnv.cend(); ++it)
        FUZZ_PROMISE(!it.key().isEmpty());
    QStringList names;
    for (const ComposeVariable &v : Docker::composeVariables(text, {}, dotEnv)) {
        FUZZ_PROMISE(!v.name.isEmpty() && !names.contains(v.name) && text.contains(v.name));
        FUZZ_PROMISE(v.source != ComposeVariable::Source::Environment);
        names << v.name;
    }
    return 0;
}
