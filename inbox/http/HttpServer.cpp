#include "inbox/http/HttpServer.h"

#include "inbox/http/ClientAddress.h"
#include "inbox/http/EventResponse.h"
#include "inbox/http/Exchange.h"
#include "inbox/http/RequestTarget.h"

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

HttpResponse unavailable(const QString& why)
{
    return HttpResponse::error(MHD_HTTP_SERVICE_UNAVAILABLE, u"unavailable"_s, why)
        .with("Retry-After", "1");
}

HttpResponse badRequest(const QString& why)
{
    return HttpResponse::error(MHD_HTTP_BAD_REQUEST, u"bad_request"_s, why)
        .with("Connection", "close");
}

/// A header that comes several times is one list.
MHD_Result addHeader(void* headers, MHD_ValueKind /*kind*/, const char* name, const char* value)
{
    const auto key = QByteArray(name).toLower();
    auto& present = (*static_cast<QHash<QByteArray, QByteArray>*>(headers))[key];
    if (!present.isNull())
        present += key == "cookie" ? "; " : ", ";
    present += value ? value : "";
    return MHD_YES;
}

ClientAddress clientOf(MHD_Connection* connection)
{
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info && info->client_addr ? ClientAddress::of(*info->client_addr) : ClientAddress {};
}

} // namespace

/// What libmicrohttpd calls, on the server's thread.
struct HttpServer::Callbacks
{
    /// The request line came in. What this returns is the state that the others get.
    static void* start(void* /*self*/, const char* target, MHD_Connection* connection)
    {
        auto exchange = std::make_unique<Exchange>();
        exchange->connection = connection;
        exchange->target = target;
        return exchange.release();
    }

    static MHD_Result take(void* self,
                           MHD_Connection* /*connection*/,
                           const char* /*url*/,
                           const char* method,
                           const char* /*version*/,
                           const char* upload,
                           std::size_t* uploadSize,
                           void** state)
    {
        auto& server = *static_cast<HttpServer*>(self);
        auto& exchange = *static_cast<Exchange*>(*state);
        if (!std::exchange(exchange.begun, true)) {
            server.begin(exchange, method);
            return toResult(!exchange.response || server.respond(exchange));
        }
        if (const auto size = std::exchange(*uploadSize, 0); size > 0)
            return toResult(server.collect(exchange, upload, size));
        return toResult(exchange.response ? server.respond(exchange) : server.handOver(exchange));
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

    /// Leaves the text as it was sent: unescaped, a slash in a name would look like one between.
    static std::size_t keepEscapes(void* /*self*/, MHD_Connection* /*connection*/, char* text)
    {
        return std::strlen(text);
    }
};

void HttpServer::DaemonStopper::operator()(MHD_Daemon* running) const
{
    MHD_stop_daemon(running);
}

HttpServer::HttpServer(Handler requestHandler, const Options& serverOptions)
    : handler(std::move(requestHandler))
    , options(serverOptions)
{
    connect(&heartbeat, &QTimer::timeout, this, &HttpServer::keepStreamsAlive);
}

HttpServer::~HttpServer()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    // libmicrohttpd must not be stopped while a connection is suspended.
    for (const auto& stream : streams)
        if (const auto open = stream.lock())
            open->end();
    for (auto* exchange : waiting)
        MHD_resume_connection(exchange->connection);
    daemon.reset();
}

bool HttpServer::start(ListenSocket socket)
{
    const auto& limits = options.limits;
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
                                  MHD_OPTION_URI_LOG_CALLBACK,
                                  &Callbacks::start,
                                  this,
                                  MHD_OPTION_NOTIFY_COMPLETED,
                                  &Callbacks::complete,
                                  this,
                                  MHD_OPTION_END));
    if (!daemon)
        return false;
    (void)socket.descriptor.release();
    heartbeat.start(options.heartbeat);
    return true;
}

void HttpServer::begin(Exchange& exchange, const char* method)
{
    auto& request = exchange.request;
    request.method = std::strcmp(method, MHD_HTTP_METHOD_HEAD) == 0 ? MHD_HTTP_METHOD_GET : method;
    MHD_get_connection_values(exchange.connection, MHD_HEADER_KIND, addHeader, &request.headers);

    if (auto target = RequestTarget::parse(exchange.target)) {
        request.path = std::move(target->path);
        request.query = std::move(target->query);
    } else {
        exchange.response = badRequest(u"the request line does not name a path"_s);
    }
    const auto client = clientOf(exchange.connection);
    request.client = client.text;
    request.clientIsLocal = client.isThisMachine;
}

bool HttpServer::collect(Exchange& exchange, const char* bytes, std::size_t size)
{
    const auto length = static_cast<qsizetype>(size);
    const auto& limits = options.limits;
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
        exchange.kept += length;
        request.body.append(bytes, length);
    }
    return true;
}

bool HttpServer::handOver(Exchange& exchange)
{
    const std::lock_guard lock(mutex);
    if (stopping)
        return false;
    MHD_suspend_connection(exchange.connection);
    // While others wait, the one that was first has already called for them.
    if (waiting.empty())
        QMetaObject::invokeMethod(this, &HttpServer::answerWaiting, Qt::QueuedConnection);
    waiting.push_back(&exchange);
    return true;
}

bool HttpServer::respond(const Exchange& exchange)
{
    const auto& response = *exchange.response;
    if (response.events && !keep(response.events))
        return false;
    auto* message = response.events
        ? makeEventResponse(exchange.connection, response.events)
        : MHD_create_response_from_buffer(static_cast<std::size_t>(response.body.size()),
                                          const_cast<char*>(response.body.constData()),
                                          MHD_RESPMEM_MUST_COPY);
    if (!message)
        return false;
    for (auto header = response.headers.cbegin(); header != response.headers.cend(); ++header)
        MHD_add_response_header(message, header.key().constData(), header.value().constData());
    const auto queued
        = MHD_queue_response(exchange.connection, static_cast<unsigned>(response.status), message);
    MHD_destroy_response(message);
    return queued == MHD_YES;
}

void HttpServer::forget(Exchange& exchange)
{
    bodyBytes -= std::exchange(exchange.kept, 0);
    exchange.request.body = {};
}

bool HttpServer::keep(const std::shared_ptr<EventStream>& stream)
{
    const std::lock_guard lock(mutex);
    std::erase_if(streams, [](const auto& other) {
        const auto open = other.lock();
        return !open || open->hasEnded();
    });
    streams.push_back(stream);
    return !stopping;
}

QList<Exchange*> HttpServer::takeWaiting()
{
    const std::lock_guard lock(mutex);
    const auto end = waiting.begin()
        + qMin(options.limits.requestsTogether, static_cast<qsizetype>(waiting.size()));
    const QList<Exchange*> group(waiting.begin(), end);
    waiting.erase(waiting.begin(), end);
    // Through the event loop, so that a signal to stop gets its turn between two groups.
    if (!waiting.empty())
        QMetaObject::invokeMethod(this, &HttpServer::answerWaiting, Qt::QueuedConnection);
    return group;
}

void HttpServer::answerWaiting()
{
    const auto group = takeWaiting();
    QList<HttpRequest> requests;
    requests.reserve(group.size());
    for (auto* exchange : group)
        requests.append(std::move(exchange->request));
    auto responses = handler(requests);
    Q_ASSERT(responses.size() == group.size());
    for (qsizetype i = 0; i < group.size(); ++i) {
        group.at(i)->response = std::move(responses[i]);
        MHD_resume_connection(group.at(i)->connection);
    }
}

void HttpServer::keepStreamsAlive()
{
    const std::lock_guard lock(mutex);
    for (const auto& stream : streams)
        if (const auto open = stream.lock())
            open->keepAlive();
}

} // namespace quibel::inbox
