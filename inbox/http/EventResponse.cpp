#include "inbox/http/EventResponse.h"

#include "inbox/http/EventStream.h"

#include <algorithm>

#include <microhttpd.h>
#include <sys/socket.h>

namespace quibel::inbox {

namespace {

constexpr std::size_t blockSize = 1024;

ssize_t read(void* holder, uint64_t /*position*/, char* room, std::size_t size)
{
    const auto& stream = *static_cast<std::shared_ptr<EventStream>*>(holder);
    const auto bytes = stream->take(static_cast<qsizetype>(size));
    if (!bytes)
        return MHD_CONTENT_READER_END_OF_STREAM;
    std::copy(bytes->cbegin(), bytes->cend(), room);
    return bytes->size();
}

/// The socket is closed only after the response is gone.
void release(void* holder)
{
    const std::unique_ptr<std::shared_ptr<EventStream>> stream(
        static_cast<std::shared_ptr<EventStream>*>(holder));
    (*stream)->disconnect();
}

} // namespace

MHD_Response* makeEventResponse(MHD_Connection* connection,
                                const std::shared_ptr<EventStream>& stream)
{
    stream->connect({
        .suspend = [connection] { MHD_suspend_connection(connection); },
        .resume = [connection] { MHD_resume_connection(connection); },
        .cut =
            [connection] {
                const auto* info
                    = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
                ::shutdown(info->connect_fd, SHUT_RDWR);
            },
    });
    auto holder = std::make_unique<std::shared_ptr<EventStream>>(stream);
    auto* response = MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, blockSize, &read, holder.get(), &release);
    if (!response) {
        stream->disconnect();
        return nullptr;
    }
    (void)holder.release();
    MHD_add_response_header(response, "Content-Type", "text/event-stream");
    MHD_add_response_header(response, "Cache-Control", "no-store");
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    // A proxy that collects what it passes on would keep the events back.
    MHD_add_response_header(response, "X-Accel-Buffering", "no");
    return response;
}

} // namespace quibel::inbox
