#pragma once

#include <memory>

struct MHD_Connection;
struct MHD_Response;

namespace quibel::inbox {

class EventStream;

/// Makes a response for libmicrohttpd out of a stream of events, which ends when the connection
/// does. None when there is no memory for it.
///
/// Thread: the server's; the stream itself is used from any.
[[nodiscard]] MHD_Response* makeEventResponse(MHD_Connection* connection,
                                              const std::shared_ptr<EventStream>& stream);

} // namespace quibel::inbox
