#include "containerdetails.h"
#include "dockernetwork.h"
#include "fuzz.h"
#include "imagedetails.h"
#include "secrets.h"
#include "volumedetails.h"

#include <QJsonDocument>

// `docker inspect` of a container, `docker image inspect` with `docker history` of an image,
// and `docker network inspect` and `docker volume inspect`, read for their lists and details
// sheets: whatever the engine wrote, what is read has an id or a name, a health check has an
// interval, every exit has a meaning, no layer is of negative size, a network's members
// stand in name order, and a volume's size is left to the disk view. Whatever is masked keeps
// its lines: a document stays JSON, compose's YAML and a command keep their line count, and a
// secret name's value is the mask or nothing worth hiding.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const QString mask = QString::fromUtf16(Secrets::mask);
    const auto maskedKeepsItsLines = [](const QString &document) {
        const QString masked = Secrets::document(document);
        FUZZ_PROMISE(masked.count(u'\n') == document.count(u'\n'));
        FUZZ_PROMISE(!QJsonDocument::fromJson(masked.toUtf8()).isNull());
    };
    const qsizetype split = bytes.indexOf('\n');
    if (const auto image = Docker::parseImageDetails(bytes.left(split), split < 0 ? QByteArray() : bytes.mid(split + 1))) {
        FUZZ_PROMISE(!image->id.isEmpty() && image->bytes >= 0);
        for (const auto &layer : image->layers) {
            FUZZ_PROMISE(layer.bytes >= 0);
            FUZZ_PROMISE(Secrets::text(layer.instruction).count(u'\n') == layer.instruction.count(u'\n'));
        }
        maskedKeepsItsLines(image->document);
    }
    for (const DockerNetwork &n : Docker::parseNetworks(bytes)) {
        FUZZ_PROMISE(!n.id.isEmpty() && !n.name.isEmpty());
        FUZZ_PROMISE(std::is_sorted(n.members.cbegin(), n.members.cend(), [](const NetworkMember &a, const NetworkMember &b) { return a.name < b.name; }));
        FUZZ_PROMISE(Docker::networkKept(n).isEmpty() == (n.members.isEmpty() && !n.isBuiltIn()));
    }
    if (const auto network = Docker::parseNetworkDetails(bytes))
        FUZZ_PROMISE(!network->network.name.isEmpty());
    if (const auto volume = Docker::parseVolumeDetails(bytes)) {
        FUZZ_PROMISE(!volume->name.isEmpty() && !volume->bytes);
        FUZZ_PROMISE(QJsonDocument::fromJson(volume->document.toUtf8()).isObject());
        for (auto it = volume->options.cbegin(); it != volume->options.cend(); ++it) {
            const QString shown = Secrets::value(it.key(), it.value());
            FUZZ_PROMISE(!Secrets::secretName(it.key()) || shown == mask || shown == it.value());
        }
        maskedKeepsItsLines(volume->document);
    }
    // The same bytes as compose's YAML, with their first line a secret substituted in it.
    const QString text = QString::fromUtf8(bytes);
    FUZZ_PROMISE(Secrets::yaml(text, {text.section(u'\n', 0, 0)}).count(u'\n') == text.count(u'\n'));
    const auto details = Docker::parseContainerDetails(bytes);
    if (!details)
        return 0;
    FUZZ_PROMISE(!details->id.isEmpty());
    FUZZ_PROMISE(!Docker::exitMeaning(details->exitCode, details->outOfMemory).isEmpty());
    if (details->health) {
        FUZZ_PROMISE(details->health->intervalSeconds > 0);
        FUZZ_PROMISE(Secrets::arguments(details->health->test).size() == details->health->test.size());
    }
    for (const auto &[name, value] : details->environment) {
        const QString shown = Secrets::value(name, value);
        FUZZ_PROMISE(!Secrets::secretName(name) || shown == mask || shown == value);
    }
    FUZZ_PROMISE(Secrets::arguments(details->entrypoint + details->command).size() == details->entrypoint.size() + details->command.size());
    maskedKeepsItsLines(details->document);
    return 0;
}
