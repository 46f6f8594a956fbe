// Every fuzz target run once over each of its seeds, in the ordinary test build: the targets
// keep compiling, and what the fuzzers once found stays fixed.
#include <QDirIterator>
#include <QFile>
#include <QString>

#include <cstdint>
#include <cstdio>

#define KORVAT_TARGET(name) extern "C" int name(const uint8_t *, size_t);
KORVAT_FUZZ_TARGETS
#undef KORVAT_TARGET

int main(int, char **)
{
    struct Target {
        const char *name;
        int (*run)(const uint8_t *, size_t);
    };
#define KORVAT_TARGET(name) {#name, &name},
    const Target targets[] = {KORVAT_FUZZ_TARGETS};
#undef KORVAT_TARGET
    int inputs = 0;
    for (const Target &t : targets) {
        QDirIterator seeds(QStringLiteral(KORVAT_SEEDS "/") + QLatin1String(t.name), QDir::Files);
        while (seeds.hasNext()) {
            QFile file(seeds.next());
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(file.fileName()));
                return 1;
            }
            const QByteArray bytes = file.readAll();
            t.run(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
            ++inputs;
        }
    }
    std::printf("%d seeds replayed\n", inputs);
    return inputs > 0 ? 0 : 1;
}
