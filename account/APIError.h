#pragma once

#include "platform/HttpSession.h"

#include <optional>

namespace quibel {

/// How a request to the service can fail.
enum class APIError {
    unauthorized, ///< The service answered 401.
    offline,      ///< This machine cannot reach the service.
    network,      ///< Any other failure on the way, or no address to send to.
    server,       ///< Any other status outside 2xx, or an answer that makes no sense.
};

/// What went wrong with a request, first match wins; none when the transport and the status are
/// fine. Whether the body makes sense is the caller's business.
[[nodiscard]] std::optional<APIError> classifyResponse(const HttpOutcome& outcome);

} // namespace quibel
