#include "inbox/http/HttpDaemon.h"

#include "inbox/http/DescriptorLimit.h"
#include "inbox/http/EventResponse.h"
#include "inbox/http/Exchange.h"
#include "inbox/http/OpenStreams.h"
#include "inbox/http/RequestLog.h"
#include "inbox/http/RequestMetrics.h"
#include "inbox/http/TlsCredentials.h"

#include <cstring>
#include <utility>
#include <vector>

#include <gnutls/abstract.h>
#include <microhttpd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// A client that goes on sending a body that is refused is listened to this much longer than the
/// limit, so that it gets to read why; then the connection is cut.
constexpr qsizetype patienceWithOverlongBodies = 4;

/// Descriptors for all that are not connections: the database, its files, standard output.
constexpr unsigned otherDescriptors = 128;
/// A server that could talk to hardly anybody says so at its start instead.
constexpr unsigned fewestConnections = 8;

/// Holds the header. Pages of it that were never written to cost nothing.
constexpr std::size_t memoryOfConnection = 32UL * 1024;

constexpr auto tlsVersions = "NORMAL:-VERS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

MHD_Result toResult(bool success)
{
    return success ? MHD_YES : MHD_NO;
}

HttpResponse unavailable(const QString& why)
{
    return HttpResponse::error(MHD_HTTP_SERVICE_UNAVAILABLE, u"unavailable"_s, why)
        .with("Retry-After", "1");
}

ConnectionTable::Connection& placeOf(MHD_Connection* connection)
{
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return *static_cast<ConnectionTable::Connection*>(info->socket_context);
}

} // namespace

/// What libmicrohttpd calls, on the server's thread.
struct HttpDaemon::Callbacks
{
    static void notify(void* self,
                       MHD_Connection* connection,
                       void** state,
                       MHD_ConnectionNotificationCode what)
    {
        auto& daemon = *static_cast<HttpDaemon*>(self);
        if (what == MHD_CONNECTION_NOTIFY_STARTED)
            daemon.opened(connection, state);
        else
            daemon.closed(state);
    }

    /// The request line came in. What this returns is the state that the others get.
    static void* start(void* /*self*/, const char* target, MHD_Connection* connection)
    {
        auto exchange = std::make_unique<Exchange>(connection, target ? target : "");
        placeOf(connection).exchange = exchange.get();
        return exchange.release();
    }

    static MHD_Result take(void* self,
                           MHD_Connection* /*connection*/,
                           const char* /*url*/,
                           const char* method,
                           const char* version,
                           const char* upload,
                           std::size_t* uploadSize,
                           void** state)
    {
        auto& daemon = *static_cast<HttpDaemon*>(self);
        auto& exchange = *static_cast<Exchange*>(*state);
        if (!exchange.hasHeader()) {
            daemon.readHeader(exchange, method, version);
            return toResult(!exchange.response || daemon.respond(exchange));
        }
        if (const auto size = std::exchange(*uploadSize, 0); size > 0)
            return toResult(daemon.collect(exchange, upload, size));
        return toResult(exchange.response ? daemon.respond(exchange) : daemon.handOver(exchange));
    }

    static void complete(void* self,
                         MHD_Connection* connection,
                         void** state,
                         MHD_RequestTerminationCode /*how*/)
    {
        const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*state));
        *state = nullptr;
        placeOf(connection).exchange = nullptr;
        if (exchange)
            static_cast<HttpDaemon*>(self)->finish(*exchange);
    }

    /// Leaves the text as it was sent: unescaped, a slash in a name would look like one between.
    static std::size_t keepEscapes(void* /*self*/, MHD_Connection* /*connection*/, char* text)
    {
        return std::strlen(text);
    }

    /// Each connection is given its certificate when it is opened, so there is nothing to ask for.
    static int noCertificate(gnutls_session_t /*session*/,
                             const gnutls_datum_t* /*authorities*/,
                             int /*authorityCount*/,
                             const gnutls_pk_algorithm_t* /*algorithms*/,
                             int /*algorithmCount*/,
                             gnutls_pcert_st** /*certificates*/,
                             unsigned* /*certificateCount*/,
                             gnutls_privkey_t* /*key*/)
    {
        return -1;
    }
};

void HttpDaemon::Stopper::operator()(MHD_Daemon* running) const
{
    MHD_stop_daemon(running);
}

HttpDaemon::HttpDaemon(HttpServerOptions serverOptions,
                       OpenStreams& openStreams,
                       Receiver requestReceiver)
    : options(std::move(serverOptions))
    , streams(openStreams)
    , receiver(std::move(requestReceiver))
{
}

HttpDaemon::~HttpDaemon() = default;

bool HttpDaemon::start(ListenSocket socket)
{
    auto& limits = options.limits;
    const auto descriptors = raiseDescriptorLimit(limits.connections + otherDescriptors);
    if (descriptors < otherDescriptors + fewestConnections)
        return false;
    limits.connections = qMin(limits.connections, descriptors - otherDescriptors);
    // libmicrohttpd accepts nobody once its own table is full, so this one is to stay below it.
    connections.emplace(limits.connections - limits.connections / 8);

    std::vector<MHD_OptionItem> tls;
    if (options.tls)
        tls = { { MHD_OPTION_HTTPS_CERT_CALLBACK,
                  0,
                  reinterpret_cast<void*>(&Callbacks::noCertificate) },
                { MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(tlsVersions) } };
    tls.push_back({ MHD_OPTION_END, 0, nullptr });
    const unsigned tlsFlag = options.tls ? MHD_USE_TLS : MHD_NO_FLAG;
    daemon.reset(
        MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | tlsFlag,
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
                         memoryOfConnection,
                         MHD_OPTION_STRICT_FOR_CLIENT,
                         1,
                         MHD_OPTION_UNESCAPE_CALLBACK,
                         &Callbacks::keepEscapes,
                         nullptr,
                         MHD_OPTION_NOTIFY_CONNECTION,
                         &Callbacks::notify,
                         this,
                         MHD_OPTION_URI_LOG_CALLBACK,
                         &Callbacks::start,
                         this,
                         MHD_OPTION_NOTIFY_COMPLETED,
                         &Callbacks::complete,
                         this,
                         MHD_OPTION_ARRAY,
                         tls.data(),
                         MHD_OPTION_END));
    if (!daemon)
        return false;
    (void)socket.descriptor.release();
    return true;
}

void HttpDaemon::opened(MHD_Connection* connection, void** state)
{
    const auto* socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    auto& place = connections->add(socket->connect_fd);
    *state = &place;
    if (options.tls) {
        const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_GNUTLS_SESSION);
        place.credentials = options.tls->current();
        gnutls_credentials_set(static_cast<gnutls_session_t>(info->tls_session),
                               GNUTLS_CRD_CERTIFICATE,
                               place.credentials.get());
    }
    countConnections();
}

void HttpDaemon::closed(void** state)
{
    connections->remove(*static_cast<ConnectionTable::Connection*>(*state));
    countConnections();
}

void HttpDaemon::readHeader(Exchange& exchange, const char* method, const char* version) const
{
    exchange.readHeader(
        method, version, { .tls = options.tls != nullptr, .behindProxy = options.behindProxy });
}

bool HttpDaemon::collect(Exchange& exchange, const char* bytes, std::size_t size)
{
    const auto length = static_cast<qsizetype>(size);
    const auto& limits = options.limits;
    exchange.received += length;
    auto& request = exchange.request;
    if (request.bodyOverLimit || exchange.response)
        return exchange.received <= limits.body * patienceWithOverlongBodies;

    if (exchange.received > limits.body) {
        forgetBody(exchange);
        request.bodyOverLimit = true;
    } else if (bodyBytes + length > limits.allBodies) {
        forgetBody(exchange);
        exchange.response = unavailable(u"too many uploads at once; send it again"_s);
        connections->cutLongestBody(limits.bodyTime);
    } else {
        bodyBytes += length;
        exchange.kept += length;
        request.body.append(bytes, length);
    }
    return true;
}

bool HttpDaemon::handOver(Exchange& exchange)
{
    connections->setBusy(placeOf(exchange.connection));
    return receiver(exchange);
}

void HttpDaemon::suspend(const Exchange& exchange)
{
    MHD_suspend_connection(exchange.connection);
}

void HttpDaemon::resume(const Exchange& exchange)
{
    MHD_resume_connection(exchange.connection);
}

bool HttpDaemon::respond(const Exchange& exchange)
{
    const auto& response = *exchange.response;
    if (response.events)
        streams.add(response.events);
    else
        connections->setIdle(placeOf(exchange.connection));
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

void HttpDaemon::forgetBody(Exchange& exchange)
{
    bodyBytes -= std::exchange(exchange.kept, 0);
    exchange.request.body = {};
}

void HttpDaemon::finish(Exchange& exchange)
{
    forgetBody(exchange);
    connections->setIdle(placeOf(exchange.connection));
    const auto record = exchange.record();
    if (record && options.log)
        options.log->write(*record);
    if (record && options.metrics)
        options.metrics->count(*record);
}

void HttpDaemon::countConnections() const
{
    if (options.metrics)
        options.metrics->setConnections(connections->open(), connections->cutSoFar());
}

} // namespace quibel::inbox
