#include "inbox/http/HttpServer.h"

#include <QMetaObject>

#include <cstring>

#include <microhttpd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// A client that goes on sending a body that is refused is listened to this much longer than the
/// limit, so that it gets to read why; then the connection is cut.
constexpr qsizetype patienceWithOverlongBodies = 4;

MHD_Result toResult(bool success)
{
    return success ? MHD_YES : MHD_NO;
}

bool queue(MHD_Connection* connection, const HttpResponse& response)
{
    auto* message = MHD_create_response_from_buffer(static_cast<std::size_t>(response.body.size()),
                                                    const_cast<char*>(response.body.constData()),
                                                    MHD_RESPMEM_MUST_COPY);
    if (!message)
        return false;
    for (auto header = response.headers.cbegin(); header != response.headers.cend(); ++header)
        MHD_add_response_header(message, header.key().constData(), header.value().constData());
    const auto queued
        = MHD_queue_response(connection, static_cast<unsigned>(response.status), message);
    MHD_destroy_response(message);
    return queued == MHD_YES;
}

HttpResponse unavailable(const QString& why)
{
    return HttpResponse::error(MHD_HTTP_SERVICE_UNAVAILABLE, u"unavailable"_s, why)
        .with("Retry-After", "1");
}

MHD_Result addHeader(void* headers, MHD_ValueKind /*kind*/, const char* name, const char* value)
{
    static_cast<QHash<QByteArray, QByteArray>*>(headers)->insert(QByteArray(name).toLower(), value);
    return MHD_YES;
}

} // namespace

/// One request on its way to an answer. The server's thread has it until it is handed over, and
/// again from the moment the connection is resumed.
struct HttpServer::Exchange
{
    MHD_Connection* connection = nullptr;
    HttpRequest request;
    qsizetype received = 0;
    std::optional<HttpResponse> response;
};

/// What libmicrohttpd calls, on the server's thread.
struct HttpServer::Callbacks
{
    static MHD_Result take(void* self,
                           MHD_Connection* connection,
                           const char* url,
                           const char* method,
                           const char* /*version*/,
                           const char* upload,
                           std::size_t* uploadSize,
                           void** state)
    {
        auto& server = *static_cast<HttpServer*>(self);
        if (!*state) {
            *state = begin(connection, url, method).release();
            return MHD_YES;
        }
        auto& exchange = *static_cast<Exchange*>(*state);
        if (const auto size = std::exchange(*uploadSize, 0); size > 0)
            return toResult(server.collect(exchange, upload, size));
        if (exchange.response)
            return toResult(queue(connection, *exchange.response));
        return toResult(server.handOver(exchange));
    }

    static void complete(void* self,
                         MHD_Connection* /*connection*/,
                         void** state,
                         MHD_RequestTerminationCode /*how*/)
    {
        const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*state));
        *state = nullptr;
        if (exchange)
            static_cast<HttpServer*>(self)->forget(*exchange);
    }

    /// Leaves the path as it was sent: unescaped, a slash in a name would look like one between.
    static std::size_t keepEscapes(void* /*self*/, MHD_Connection* /*connection*/, char* text)
    {
        return std::strlen(text);
    }

private:
    static std::unique_ptr<Exchange>
    begin(MHD_Connection* connection, const char* url, const char* method)
    {
        auto exchange = std::make_unique<Exchange>();
        exchange->connection = connection;
        exchange->request.path = url;
        exchange->request.method
            = std::strcmp(method, MHD_HTTP_METHOD_HEAD) == 0 ? MHD_HTTP_METHOD_GET : method;
        MHD_get_connection_values(
            connection, MHD_HEADER_KIND, addHeader, &exchange->request.headers);
        return exchange;
    }
};

void HttpServer::DaemonStopper::operator()(MHD_Daemon* running) const
{
    MHD_stop_daemon(running);
}

HttpServer::HttpServer(Handler requestHandler, const Limits& serverLimits)
    : handler(std::move(requestHandler))
    , limits(serverLimits)
{
}

HttpServer::~HttpServer()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    // libmicrohttpd must not be stopped while a connection is suspended.
    while (auto* exchange = takeWaiting())
        MHD_resume_connection(exchange->connection);
    daemon.reset();
}

bool HttpServer::start(ListenSocket socket)
{
    daemon.reset(MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME,
                                  0,
                                  nullptr,
                                  nullptr,
                                  &Callbacks::take,
                                  this,
                                  MHD_OPTION_LISTEN_SOCKET,
                                  socket.descriptor.number(),
                                  MHD_OPTION_CONNECTION_LIMIT,
                                  limits.connections,
                                  MHD_OPTION_CONNECTION_TIMEOUT,
                                  limits.idleSeconds,
                                  MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                                  std::size_t { 64 } * 1024,
                                  MHD_OPTION_STRICT_FOR_CLIENT,
                                  1,
                                  MHD_OPTION_UNESCAPE_CALLBACK,
                                  &Callbacks::keepEscapes,
                                  nullptr,
                                  MHD_OPTION_NOTIFY_COMPLETED,
                                  &Callbacks::complete,
                                  this,
                                  MHD_OPTION_END));
    if (daemon)
        (void)socket.descriptor.release();
    return daemon != nullptr;
}

bool HttpServer::collect(Exchange& exchange, const char* bytes, std::size_t size)
{
    const auto length = static_cast<qsizetype>(size);
    exchange.received += length;
    auto& request = exchange.request;
    if (request.bodyOverLimit || exchange.response)
        return exchange.received <= limits.body * patienceWithOverlongBodies;

    if (exchange.received > limits.body) {
        forget(exchange);
        request.bodyOverLimit = true;
    } else if (bodyBytes + length > limits.allBodies) {
        forget(exchange);
        exchange.response = unavailable(u"too many uploads at once; send it again"_s);
    } else {
        bodyBytes += length;
        request.body.append(bytes, length);
    }
    return true;
}

bool HttpServer::handOver(Exchange& exchange)
{
    {
        const std::lock_guard lock(mutex);
        if (stopping)
            return false;
        MHD_suspend_connection(exchange.connection);
        waiting.push_back(&exchange);
    }
    QMetaObject::invokeMethod(this, &HttpServer::answerWaiting, Qt::QueuedConnection);
    return true;
}

void HttpServer::forget(Exchange& exchange)
{
    bodyBytes -= exchange.request.body.size();
    exchange.request.body = {};
}

HttpServer::Exchange* HttpServer::takeWaiting()
{
    const std::lock_guard lock(mutex);
    if (waiting.empty())
        return nullptr;
    auto* exchange = waiting.front();
    waiting.pop_front();
    return exchange;
}

void HttpServer::answerWaiting()
{
    while (auto* exchange = takeWaiting()) {
        exchange->response = handler(exchange->request);
        MHD_resume_connection(exchange->connection);
    }
}

} // namespace quibel::inbox
