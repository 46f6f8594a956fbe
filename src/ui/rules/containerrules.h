#pragma once

#include "container.h"

#include <optional>

// What a container's row and the tray's row offer for the container's state.
namespace ContainerRules {

enum class Primary { Start, Stop, Resume };
// The main button: Resume a paused container, Stop a running one, Start any other.
Primary primary(const Container &c);
QString label(Primary primary);
// Pause a running container, Resume a paused one; nothing for the others.
std::optional<QString> pauseLabel(const Container &c);
// What a screen reader says after the row's name: what its line shows, in reading order
// ("Up 7 minutes · nginx:1.27 · 8080:80").
QString spoken(const Container &c);

}
