#include "fuzz.h"
#include "toolchain.h"

// Homebrew's `list --versions` and `info --json=v2`, the service's status, and versions.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = fuzzText(data, size);
    const auto owned = Toolchain::parseBrewList(text);
    for (auto it = owned.cbegin(); it != owned.cend(); ++it)
        FUZZ_PROMISE(!it.key().isEmpty() && !it.value().isEmpty());
    Toolchain::parseBrewInfo(text);
    Toolchain::parseStatus(text);
    if (const auto version = Toolchain::firstVersion(text)) {
        FUZZ_PROMISE(!version->isEmpty() && !version->startsWith(u'.') && !version->endsWith(u'.'));
        FUZZ_PROMISE(text.contains(*version));
    }

    // Two versions from the input's halves: never each older than the other, never
    // older than itself, and the newest of a list is older than none of it.
    // Versions are short: the halves of the input's head, not of a whole listing.
    const QString head = text.left(256);
    const QString a = head.left(head.size() / 2), b = head.mid(head.size() / 2);
    FUZZ_PROMISE(!(Toolchain::isOlder(a, b) && Toolchain::isOlder(b, a)));
    FUZZ_PROMISE(!Toolchain::isOlder(a, a));
    // Versions are words of a few characters; the rules' promises need no more of each.
    // Taken from the front, so a long input is not split into thousands of strings first.
    QStringList words;
    for (const QStringView word : QStringView(text).tokenize(u' ', Qt::SkipEmptyParts)) {
        if (words.size() == 64)
            break;
        words << word.left(128).toString();
    }
    if (const auto best = Toolchain::newest(words)) {
        for (const auto &w : words)
            FUZZ_PROMISE(!Toolchain::isOlder(*best, w));
    }
    return 0;
}
