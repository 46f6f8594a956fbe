#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// What an engine weighs, as it starts, in deciding whether to start a container again: its
// restart policy, how it last ended and whether it ever ran.
struct RestartFacts {
    QString id;
    QString name;
    QString policy;          // "no", "always", "unless-stopped", "on-failure"
    int maxRetries = 0;      // on-failure's limit; 0: none
    int restartCount = 0;    // restarts the policy made since it was last started by hand
    QString state;           // "running", "paused", "restarting", "exited", "created", "dead"
    int exitCode = 0;
    bool startedBefore = false;
    bool autoRemove = false;
    // Podman: the systemd unit that runs it, from the label its generators set.
    QString systemdUnit = {};
    friend bool operator==(const RestartFacts &, const RestartFacts &) = default;
};

// Every container's facts on one engine, and which kind of engine decides.
struct RestartReading {
    QList<RestartFacts> containers;
    // Podman has no engine process of its own to bring containers back.
    bool podman = false;
    friend bool operator==(const RestartReading &, const RestartReading &) = default;
};

// Whether a container will be running once its engine has started again: after a reboot, an
// upgrade, a restart of the engine's service.
struct Comeback {
    enum class Kind {
        Yes,
        No,
        // Decided by how it ends when the engine stops it, which nobody knows beforehand.
        Perhaps,
    };
    Kind kind = Kind::No;
    QString reason;
    // Running now on an engine that brings containers back itself, so that restart policy
    // unless-stopped would bring it back: not one run with --rm, nor Podman's.
    bool fixable = false;
    bool comesBack() const { return kind == Kind::Yes; }
    friend bool operator==(const Comeback &, const Comeback &) = default;
};

namespace AfterRestart {
// The engine's own rule, as a real engine's restart showed it: "always" brings back even what
// was stopped by hand, "unless-stopped" what was not stopped by hand, "on-failure" what ended
// with an error (and a stop by hand is an error to it) while restarts remain; nothing that
// never ran, nothing run with --rm.
Comeback predict(const RestartFacts &facts, bool podman = false);
// Running, paused or restarting: what the engine stops as it goes, and a restart would end.
bool runsNow(const QString &state);
// "no" when the engine says nothing; "on-failure:3" with a limit.
QString policyText(const RestartFacts &facts);
}

namespace Docker {
// The format container inspect is asked for, one JSON object per line.
QString restartFormat();
// Lines of restartFormat(); lines that are not such objects are skipped.
QList<RestartFacts> parseRestartFacts(const QByteArray &text);
}
