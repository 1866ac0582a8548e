#pragma once

#include "tests/platform/ClientWindow.h"

namespace quibel::testing {

/// What a dock says that it reserves, and where it is.
struct Dock
{
    std::vector<std::uint32_t> strut {};
    QByteArray property = "_NET_WM_STRUT_PARTIAL";
    QRect frame { 100, 100, 300, 200 };
};

/// A dock of another program, on screen as long as this lives.
class DockWindow : public ClientWindow
{
public:
    explicit DockWindow(const Dock& dock)
        : ClientWindow({ .geometry = dock.frame, .type = "DOCK" })
    {
        setNumbers(dock.property, "CARDINAL", dock.strut);
        map();
    }
};

} // namespace quibel::testing
