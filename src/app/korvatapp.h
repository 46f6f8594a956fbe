#pragma once

#include "dispatch.h"

// The application object: registers the settings, reads the command line, and either runs a
// headless report to completion or starts the desktop interface.
class KorvatApp {
public:
    static int exec(int argc, char **argv);

private:
    static int runHeadless(const Invocation &invocation);
};
