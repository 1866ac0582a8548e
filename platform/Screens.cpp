#include "platform/Screens.h"

#include <algorithm>

namespace quibel {

std::optional<Screen> screenAt(QPoint point, const std::vector<Screen>& screens)
{
    const auto found = std::ranges::find_if(
        screens, [point](const Screen& screen) { return screen.frame.contains(point); });
    return found == screens.end() ? std::nullopt : std::optional(*found);
}

} // namespace quibel
