#pragma once

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace quibel {

struct XcbFree
{
    void operator()(void* memory) const
    {
        std::free(memory); // NOLINT(cppcoreguidelines-no-malloc)
    }
};

/// Owns what libxcb allocates: replies, events, errors.
template <typename T>
using XcbOwned = std::unique_ptr<T, XcbFree>;

/// Waits for the answer to a request: `xcbReply(xcb_get_geometry_reply, connection, cookie)`.
///
/// Errors: null when the server answers with an error, or the connection is gone.
template <typename Reply, typename Cookie>
[[nodiscard]] XcbOwned<Reply>
xcbReply(Reply* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
         xcb_connection_t* connection,
         Cookie cookie)
{
    return XcbOwned<Reply>(wait(connection, cookie, nullptr));
}

/// An event as what its type says that it is.
template <typename Event>
[[nodiscard]] const Event& eventAs(const xcb_generic_event_t* event)
{
    return *reinterpret_cast<const Event*>(event);
}

} // namespace quibel
