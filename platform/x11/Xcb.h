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

/// An event as what its type says that it is.
template <typename Event>
[[nodiscard]] const Event& eventAs(const xcb_generic_event_t* event)
{
    return *reinterpret_cast<const Event*>(event);
}

} // namespace quibel
