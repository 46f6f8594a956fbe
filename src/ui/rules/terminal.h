#pragma once

#include "engine.h"

#include <QProcessEnvironment>
#include <QStringList>
#include <functional>
#include <optional>

// Opening a shell in a container in the user's terminal emulator. The emulator gets an
// argument vector, never a shell string built from names.
namespace Terminal {

// The line a user would type, as the row's hover help shows it.
QString commandLine(const std::optional<Runtime> &runtime, const QString &containerName);

struct Launch {
    QString program;
    QStringList arguments;
    QProcessEnvironment environment;

    friend bool operator==(const Launch &, const Launch &) = default;
};

// The emulators tried when $TERMINAL names none, in order.
const QStringList &candidates();

// How to start the emulator named program (a path or a name) running the shell command;
// the find function answers whether a name is on the PATH. None when no emulator is found.
std::optional<Launch> launch(const ShellCommand &shell, const QProcessEnvironment &environment,
                             const std::function<QString(const QString &)> &find);
}
