#pragma once

#include "platform/x11/XcbConnection.h"

#include <QRect>

#include <vector>

namespace quibel {

/// What a dock reserves along one edge of the desktop.
///
/// Units: pixels of the root window.
struct XcbStrut
{
    Qt::Edge edge;
    QRect innermost; ///< The row or column of its pixels that is farthest from the edge.
};

/// The docks and bars that are windows of their own.
///
/// Thread: main.
class XcbDocks
{
public:
    explicit XcbDocks(XcbConnection& connection);

    /// What they reserve on a desktop of the window manager's.
    ///
    /// Source: Extended Window Manager Hints, _NET_WM_STRUT_PARTIAL and _NET_WM_STRUT.
    [[nodiscard]] std::vector<XcbStrut> struts(std::uint32_t desktop);

private:
    /// The strut of a window that does not tell where it begins and ends along the edge.
    [[nodiscard]] std::vector<int> partialStrut(xcb_window_t window, std::vector<int> depths);

    XcbConnection& x;
};

/// What the docks on `screen` leave of it; all of it if that is nothing.
[[nodiscard]] QRect without(const std::vector<XcbStrut>& struts, const QRect& screen);

} // namespace quibel
