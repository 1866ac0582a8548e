#pragma once

#include "platform/Screens.h"
#include "platform/x11/XcbWorkAreas.h"

namespace quibel {

/// The toolkit's screens, with the space that bars and docks leave on them.
class XcbScreens final : public Screens
{
public:
    explicit XcbScreens(XcbConnection& connection);

    [[nodiscard]] std::vector<Screen> all() override;
    [[nodiscard]] std::optional<Screen> main() override;
    [[nodiscard]] QPoint pointerLocation() override;

private:
    XcbConnection& x;
    XcbWorkAreas workAreas;
};

} // namespace quibel
