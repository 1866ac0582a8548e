#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/http/ListenSocket.h"

#include <QObject>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

struct MHD_Daemon;

namespace quibel::inbox {

/// Takes HTTP requests from a socket and gives each to a handler once it is complete.
///
/// A thread of its own talks to the connections, so that slow ones keep nobody waiting; requests
/// are handed over to the thread of this object, one after the other.
/// Thread: one with an event loop; the handler is called there.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    struct Limits
    {
        unsigned connections = 256;
        unsigned idleSeconds = 30;
        qsizetype body = 12LL * 1024 * 1024;       ///< In bytes.
        qsizetype allBodies = 128LL * 1024 * 1024; ///< In bytes, of all requests under way.
    };

    HttpServer(Handler requestHandler, const Limits& serverLimits);
    Q_DISABLE_COPY_MOVE(HttpServer)
    /// Stops serving; requests that were not handled yet are cut off without an answer.
    ~HttpServer() override;

    /// Starts serving. Call it once.
    ///
    /// Errors: false when the system has no means left for it.
    [[nodiscard]] bool start(ListenSocket socket);

private:
    struct Exchange;
    struct Callbacks;
    struct DaemonStopper
    {
        void operator()(MHD_Daemon* running) const;
    };

    [[nodiscard]] bool collect(Exchange& exchange, const char* bytes, std::size_t size);
    [[nodiscard]] bool handOver(Exchange& exchange);
    void forget(Exchange& exchange);
    [[nodiscard]] Exchange* takeWaiting();
    void answerWaiting();

    Handler handler;
    Limits limits;
    qsizetype bodyBytes = 0; ///< Only the server's own thread counts.

    std::mutex mutex; ///< Guards the two below.
    std::deque<Exchange*> waiting;
    bool stopping = false;

    std::unique_ptr<MHD_Daemon, DaemonStopper> daemon;
};

} // namespace quibel::inbox
