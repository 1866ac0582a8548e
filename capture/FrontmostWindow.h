#pragma once

#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <optional>

namespace quibel {

/// The frontmost ordinary window of a process. Errors: none when it has none on screen.
[[nodiscard]] std::optional<WindowNumber>
findFrontmostWindowNumber(Workspace& workspace, std::optional<ProcessIdentifier> process);

/// The display that the frontmost window of a process is on, else the main display.
///
/// Errors: none when neither has an identifier.
[[nodiscard]] std::optional<DisplayID> findDisplayOfFrontmostWindow(
    Workspace& workspace, Screens& screens, std::optional<ProcessIdentifier> process);

} // namespace quibel
