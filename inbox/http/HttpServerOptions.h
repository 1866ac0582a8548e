#pragma once

#include <QtGlobal>

#include <chrono>
#include <memory>

namespace quibel::inbox {

class RequestLog;
class RequestMetrics;
class TlsCredentials;

/// What one client or all of them may take.
struct HttpLimits
{
    unsigned connections = 1024;
    std::size_t streams = 256; ///< Of events; one more ends the oldest, which comes again.
    unsigned idleSeconds = 30;
    qsizetype body = 12LL * 1024 * 1024;       ///< In bytes.
    qsizetype allBodies = 128LL * 1024 * 1024; ///< In bytes, of all requests under way.
    /// What a body may take once all together have no room left.
    std::chrono::milliseconds bodyTime { 10'000 };
    qsizetype requestsTogether = 64;
};

/// How an HTTP server serves.
struct HttpServerOptions
{
    HttpLimits limits {};
    std::shared_ptr<TlsCredentials> tls {};         ///< None serves without TLS.
    bool behindProxy = false;                       ///< Its words about the client are believed.
    std::chrono::milliseconds heartbeat { 25'000 }; ///< Of the streams of events.
    RequestLog* log = nullptr;                      ///< Outlives the server, if there is one.
    RequestMetrics* metrics = nullptr;              ///< Outlives the server, if there is one.
};

} // namespace quibel::inbox
