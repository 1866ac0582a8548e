#pragma once

#include <chrono>

namespace quibel {

/// After how long a request is given up.
struct HttpTimeouts
{
    std::chrono::milliseconds idle = std::chrono::seconds(60);  ///< Without progress.
    std::chrono::milliseconds total = std::chrono::minutes(10); ///< In all, redirects included.
};

} // namespace quibel
