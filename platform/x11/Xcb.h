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

} // namespace quibel
