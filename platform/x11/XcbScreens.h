#pragma once

#include "platform/Screens.h"
#include "platform/x11/XcbConnection.h"

class QScreen;

namespace quibel {

/// The toolkit's screens, with the space that panels and docks leave on them.
class XcbScreens final : public Screens
{
public:
    explicit XcbScreens(XcbConnection& connection);

    [[nodiscard]] std::vector<Screen> all() override;
    [[nodiscard]] std::optional<Screen> main() override;
    [[nodiscard]] std::optional<Screen> ofKeyWindow() override;
    [[nodiscard]] QPoint pointerLocation() override;

private:
    [[nodiscard]] Screen describe(const QScreen& screen);
    /// What panels and docks leave of an area, in pixels of the root window.
    [[nodiscard]] QRect unreserved(const QRect& area);
    [[nodiscard]] std::optional<QRect> workArea();
    [[nodiscard]] std::vector<QRect> struts();

    XcbConnection& x;
};

} // namespace quibel
