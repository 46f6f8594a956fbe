#pragma once

#include "engine.h"

#include <QTextStream>

// Korvat's own rules against built-in samples with known answers, then what this machine
// offers (client, compose plugin, runtimes). Needs no engine to pass.
void runSelfTest(const Engine &engine, QTextStream &out);
