#pragma once

#include "platform/ScreenCapture.h"
#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <optional>

namespace quibel {

/// The frontmost ordinary window of a process. Errors: none when it has none on screen.
[[nodiscard]] std::optional<WindowNumber>
findFrontmostWindowNumber(Workspace& workspace, std::optional<ProcessIdentifier> process);

/// The window to picture for a process: its frontmost ordinary one, or another one on screen that
/// lies before that.
///
/// Errors: none when `content` has neither.
[[nodiscard]] std::optional<ShareableWindow>
findWindowToCapture(Workspace& workspace,
                    const ShareableContent& content,
                    std::optional<ProcessIdentifier> process);

/// The display that the frontmost window of a process is on, else the main display.
///
/// Errors: none when neither has an identifier.
[[nodiscard]] std::optional<DisplayID> findDisplayOfFrontmostWindow(
    Workspace& workspace, Screens& screens, std::optional<ProcessIdentifier> process);

/// The display to picture where no window of a process can be: the one from
/// `findDisplayOfFrontmostWindow`.
///
/// Errors: none when `content` has it not.
[[nodiscard]] std::optional<ShareableDisplay>
findDisplayToCapture(Workspace& workspace,
                     Screens& screens,
                     const ShareableContent& content,
                     std::optional<ProcessIdentifier> process);

} // namespace quibel
