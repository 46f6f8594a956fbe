#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The input as the parsers receive it: text decoded from the child's bytes. Malformed UTF-8
// becomes replacement characters, so every byte sequence still reaches the parser.
inline QString fuzzText(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
}

inline QByteArray fuzzBytes(const uint8_t *data, size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
}

// A broken promise is a crash, so libFuzzer keeps the input that shows it.
#define FUZZ_PROMISE(condition)                                                        \
    do {                                                                               \
        if (!(condition)) {                                                            \
            std::fprintf(stderr, "broken promise: %s (%s:%d)\n", #condition, __FILE__, __LINE__); \
            std::abort();                                                              \
        }                                                                              \
    } while (false)
