#pragma once

#include "tool.h"

#include <QMap>
#include <memory>
#include <optional>

class QProcess;

// Where the toolchain's facts come from and where its jobs run. Homebrew and the tools on
// this machine in the program; a stand-in in tests and pictures. The probes block while
// their child runs and belong on a worker thread.
class ToolchainSource {
public:
    virtual ~ToolchainSource() = default;

    virtual bool brewAvailable() const = 0;
    // The tools with their installed versions; latest versions are not looked up here.
    virtual QList<Tool> survey() const = 0;
    virtual SystemStatus systemStatus() const = 0;
    // Brings the package index up to date; a note when that failed.
    virtual std::optional<QString> refreshIndex() const = 0;
    // Formula to the newest version the index knows.
    virtual QMap<QString, QString> latest() const = 0;
    // A job's script as a child, configured and not started.
    virtual std::unique_ptr<QProcess> job(const QString &script) const = 0;
};

// The toolchain of this machine, through Homebrew.
class HomebrewToolchain : public ToolchainSource {
public:
    bool brewAvailable() const override;
    QList<Tool> survey() const override;
    SystemStatus systemStatus() const override;
    std::optional<QString> refreshIndex() const override;
    QMap<QString, QString> latest() const override;
    std::unique_ptr<QProcess> job(const QString &script) const override;
};
