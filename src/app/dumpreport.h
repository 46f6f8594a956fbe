#pragma once

#include "engine.h"

#include <QTextStream>
#include <optional>

// "runtime: default · offline  unix:///var/run/docker.sock  [opens here]"
QString runtimeLine(const RuntimeEntry &entry, const std::optional<Runtime> &current);

// What the engine layer sees, as plain text; `korvat --dump [context]`.
void runDump(const Engine &engine, const std::optional<QString> &context, QTextStream &out);
