#include "account/APIError.h"

namespace quibel {

std::optional<APIError> classifyResponse(const HttpOutcome& outcome)
{
    if (outcome.status == 401)
        return APIError::unauthorized;

    const bool failed = outcome.status && (*outcome.status < 200 || *outcome.status > 299);
    if (!outcome.error)
        return failed ? std::optional(APIError::server) : std::nullopt;

    switch (outcome.error->code) {
    case TransportErrorCode::notConnectedToInternet:
    case TransportErrorCode::cannotFindHost:
    case TransportErrorCode::cannotConnectToHost:
    case TransportErrorCode::timedOut:
    case TransportErrorCode::dnsLookupFailed:
        return APIError::offline;
    case TransportErrorCode::responseTooLarge:
        return APIError::server;
    case TransportErrorCode::unknown:
        return failed ? APIError::server : APIError::network;
    case TransportErrorCode::networkConnectionLost:
    case TransportErrorCode::secureConnectionFailed:
    case TransportErrorCode::requestRefused:
    case TransportErrorCode::other:
        break;
    }
    return APIError::network;
}

} // namespace quibel
