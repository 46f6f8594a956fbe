#include "enginestream.h"

#include <QProcess>

void EngineStream::follow(QProcess *child)
{
    connect(child, &QProcess::stateChanged, this, &EngineStream::runningChanged);
    connect(child, &QProcess::finished, this, &EngineStream::finished);
    connect(child, &QProcess::errorOccurred, this, [this, child](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        emit failedToStart(child->errorString());
        emit finished();
    });
}
