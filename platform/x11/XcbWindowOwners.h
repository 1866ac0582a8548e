#pragma once

#include "platform/Workspace.h"
#include "platform/x11/XcbConnection.h"

#include <span>
#include <vector>

#include <xcb/res.h>

namespace quibel {

/// Tells which processes own windows: as the server knows its clients or, for a client that it does
/// not know the process of, as the window says when it is a window of this machine.
class XcbWindowOwners
{
public:
    /// The questions about some windows, on their way to the server.
    struct Question
    {
        struct Window
        {
            xcb_window_t window = XCB_WINDOW_NONE;
            xcb_get_property_cookie_t statedProcess;
            xcb_get_property_cookie_t statedMachine;
        };
        std::vector<Window> windows;
        std::optional<xcb_res_query_client_ids_cookie_t> clients;
    };

    explicit XcbWindowOwners(XcbConnection& connection);

    /// Sends the questions without waiting.
    [[nodiscard]] Question ask(std::span<const xcb_window_t> windows);

    /// The owners, in the order of the windows asked about.
    [[nodiscard]] std::vector<std::optional<ProcessIdentifier>> answer(const Question& question);

private:
    [[nodiscard]] xcb_window_t clientOf(xcb_window_t window) const;

    XcbConnection& x;
    bool serverTells = false;
    xcb_atom_t netWmPid;
    QByteArray machine;
};

} // namespace quibel
