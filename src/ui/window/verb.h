#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

// What a click in a view asks for. Views send a verb up with the subject's key; the window
// carries it out through Actions or opens the sheet it needs.
namespace Verb {
Q_NAMESPACE
QML_ELEMENT

enum Kind {
    // On a container, by id.
    Primary, Restart, TogglePause, RemoveContainer, CopyId, OpenTerminal, ContainerLogs, Console, Commit, Details,
    PullNewerImage,  // a lone container's tag, on its engine, after the user's word
    // A lone container gets restart policy unless-stopped; a service is shown its restart line.
    KeepRunning,
    OpenInBrowser,   // the detail: one of the row's links
    // On a project, by name.
    Up, Down, StartAll, StopAll, Forget, Reveal, Locate, ProjectLogs, DeleteProject, ToggleMute,
    PullNewer, Recreate, DismissPull, ShowComposeFile,
    KeepServicesRunning,  // the restart lines of its services that will not come back
    // On one service of a project, by the project's name; the detail is the service.
    ServiceUp, ServiceStart, ServiceStop, ServiceRestart, ServiceLogs,
    // On images and volumes.
    Pull, RemoveImage, PruneImages, RemoveVolume, PruneVolumes, ImageDetails, VolumeDetails,
    // On a volume, by name; the detail is the .tar file, asked for first when empty.
    BackupVolume, RestoreVolume,
    // On a network, by name.
    RemoveNetwork, NetworkDetails,
    // Shows the named volume in the volumes section.
    ShowVolume,
    // The reclaim sheet, for the runtime shown.
    Reclaim,
};
Q_ENUM_NS(Kind)
}
