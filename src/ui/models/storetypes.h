#pragma once

#include "appstore.h"
#include "execconsole.h"
#include "jobrun.h"
#include "logfollower.h"
#include "toolchainstore.h"

#include <QtQml/qqml.h>

// The stores live below the interface and know nothing of QML; these make their types
// known to it, so views can declare them as required properties.
struct AppStoreForeign {
    Q_GADGET
    QML_FOREIGN(AppStore)
    QML_NAMED_ELEMENT(AppStore)
    QML_UNCREATABLE("The application makes the store")
};

struct ToolchainStoreForeign {
    Q_GADGET
    QML_FOREIGN(ToolchainStore)
    QML_NAMED_ELEMENT(ToolchainStore)
    QML_UNCREATABLE("The application makes the toolchain store")
};

struct LogFollowerForeign {
    Q_GADGET
    QML_FOREIGN(LogFollower)
    QML_NAMED_ELEMENT(LogFollower)
    QML_UNCREATABLE("Made for a container or project by Actions")
};

struct TranscriptForeign {
    Q_GADGET
    QML_FOREIGN(Transcript)
    QML_NAMED_ELEMENT(Transcript)
    QML_UNCREATABLE("Each log and exec sheet has its own")
};

struct ExecConsoleForeign {
    Q_GADGET
    QML_FOREIGN(ExecConsole)
    QML_NAMED_ELEMENT(ExecConsole)
    QML_UNCREATABLE("Made for a container by Actions")
};

struct JobRunForeign {
    Q_GADGET
    QML_FOREIGN(JobRun)
    QML_NAMED_ELEMENT(JobRun)
    QML_UNCREATABLE("Made for a job by the settings")
};
