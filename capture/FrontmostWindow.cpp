#include "capture/FrontmostWindow.h"

#include <algorithm>

namespace quibel {

namespace {

std::vector<WindowInfo> windowsOf(Workspace& workspace, std::optional<ProcessIdentifier> process)
{
    if (!process)
        return {};
    std::vector<WindowInfo> windows
        = workspace.onScreenWindows().value_or(std::vector<WindowInfo> {});
    std::erase_if(windows,
                  [&](const WindowInfo& window) { return window.ownerProcess != process; });
    return windows;
}

} // namespace

std::optional<WindowNumber> findFrontmostWindowNumber(Workspace& workspace,
                                                      std::optional<ProcessIdentifier> process)
{
    const auto windows = windowsOf(workspace, process);
    const auto found = std::ranges::find_if(
        windows, [](const WindowInfo& window) { return window.number && window.layer == 0; });
    return found == windows.end() ? std::nullopt : found->number;
}

std::optional<ShareableWindow> findWindowToCapture(Workspace& workspace,
                                                   const ShareableContent& content,
                                                   std::optional<ProcessIdentifier> process)
{
    const auto number = findFrontmostWindowNumber(workspace, process);
    const auto found = std::ranges::find_if(content.windows, [&](const ShareableWindow& window) {
        return window.number == number
            || (process && window.ownerProcess == process && window.onScreen);
    });
    return found == content.windows.end() ? std::nullopt : std::optional(*found);
}

std::optional<DisplayID> findDisplayOfFrontmostWindow(Workspace& workspace,
                                                      Screens& screens,
                                                      std::optional<ProcessIdentifier> process)
{
    const auto windows = windowsOf(workspace, process);
    const auto window
        = std::ranges::find_if(windows, &std::optional<QRectF>::has_value, &WindowInfo::bounds);
    if (window != windows.end()) {
        const auto all = screens.all();
        const auto screen = std::ranges::find_if(all, [&](const Screen& candidate) {
            return QRectF(candidate.frame).intersects(*window->bounds);
        });
        if (screen != all.end() && screen->displayID)
            return screen->displayID;
    }
    const auto main = screens.main();
    return main ? main->displayID : std::nullopt;
}

std::optional<ShareableDisplay> findDisplayToCapture(Workspace& workspace,
                                                     Screens& screens,
                                                     const ShareableContent& content,
                                                     std::optional<ProcessIdentifier> process)
{
    const auto chosen = findDisplayOfFrontmostWindow(workspace, screens, process);
    const auto found = std::ranges::find_if(
        content.displays, [&](const ShareableDisplay& display) { return display.id == chosen; });
    return found == content.displays.end() ? std::nullopt : std::optional(*found);
}

} // namespace quibel
