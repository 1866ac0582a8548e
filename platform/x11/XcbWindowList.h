#pragma once

#include "platform/x11/XcbProperty.h"
#include "platform/x11/XcbWindowOwners.h"

#include <QRect>

namespace quibel {

/// What a window that is on every desktop names as its desktop.
///
/// Source: Extended Window Manager Hints, _NET_WM_DESKTOP.
constexpr std::uint32_t everyDesktop = 0xFFFFFFFF;

/// One window on screen. Units: `bounds` is in pixels of the root window, without any frame that
/// the window manager drew.
struct XcbListedWindow
{
    xcb_window_t window = XCB_WINDOW_NONE;
    std::optional<ProcessIdentifier> ownerProcess;
    std::optional<QString> name;
    int layer = 0;
    QRect bounds;

    bool operator==(const XcbListedWindow&) const = default;
};

/// The on-screen windows of the desktop session.
///
/// Each listing costs two round trips to the server, however many windows there are.
class XcbWindowList
{
public:
    explicit XcbWindowList(XcbConnection& connection);

    /// The windows that are viewable, on the current desktop and not hidden, front to back; without
    /// desktop elements (desktops and docks). A window that vanishes meanwhile is left out.
    ///
    /// Errors: none when the server does not answer.
    [[nodiscard]] std::optional<std::vector<XcbListedWindow>> onScreen();

private:
    struct Question
    {
        xcb_window_t window;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t position;
        xcb_get_property_cookie_t type;
        xcb_get_property_cookie_t state;
        xcb_get_property_cookie_t desktop;
        xcb_get_property_cookie_t netName;
        xcb_get_property_cookie_t name;
    };
    struct Candidates
    {
        std::vector<xcb_window_t> frontToBack;
        std::optional<std::uint32_t> currentDesktop;
    };

    [[nodiscard]] std::optional<Candidates> candidates();
    [[nodiscard]] Question ask(xcb_window_t window);
    [[nodiscard]] std::optional<XcbListedWindow>
    answer(const Question& question, std::optional<std::uint32_t> currentDesktop);
    /// None for desktop elements.
    [[nodiscard]] std::optional<int> layerOf(const XcbProperty& type,
                                             const XcbProperty& state) const;

    XcbConnection& x;
    XcbWindowOwners owners;
    struct
    {
        xcb_atom_t clientListStacking, clientList, supportingWmCheck, currentDesktop, desktop, name;
        xcb_atom_t state, hidden, above, below;
        xcb_atom_t type;
        std::vector<xcb_atom_t> ordinaryTypes, desktopTypes, floatingTypes;
    } atoms;
};

} // namespace quibel
