#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/http/ListenSocket.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

struct MHD_Daemon;

namespace quibel::inbox {

struct Exchange;

/// Takes HTTP requests from a socket and gives them to a handler once they are complete.
///
/// A thread of its own talks to the connections, so that slow ones keep nobody waiting. The
/// requests that wait together are handed over together, so that one wait for the disk serves them
/// all.
/// Thread: one with an event loop; the handler is called there.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    /// Returns one response for each request, in the same order.
    using Handler = std::function<QList<HttpResponse>(const QList<HttpRequest>&)>;

    struct Limits
    {
        unsigned connections = 256;
        unsigned idleSeconds = 30;
        qsizetype body = 12LL * 1024 * 1024;       ///< In bytes.
        qsizetype allBodies = 128LL * 1024 * 1024; ///< In bytes, of all requests under way.
        qsizetype requestsTogether = 64;
    };

    struct Options
    {
        Limits limits {};
        std::chrono::milliseconds heartbeat { 25'000 }; ///< Of the streams of events.
    };

    HttpServer(Handler requestHandler, const Options& serverOptions);
    Q_DISABLE_COPY_MOVE(HttpServer)
    /// Stops serving; requests that were not handled yet are cut off without an answer.
    ~HttpServer() override;

    /// Starts serving. Call it once.
    ///
    /// Errors: false when the system has no means left for it.
    [[nodiscard]] bool start(ListenSocket socket);

private:
    struct Callbacks;
    struct DaemonStopper
    {
        void operator()(MHD_Daemon* running) const;
    };

    void begin(Exchange& exchange, const char* method);
    [[nodiscard]] bool collect(Exchange& exchange, const char* bytes, std::size_t size);
    [[nodiscard]] bool handOver(Exchange& exchange);
    [[nodiscard]] bool respond(const Exchange& exchange);
    void forget(Exchange& exchange);
    [[nodiscard]] bool keep(const std::shared_ptr<EventStream>& stream);
    [[nodiscard]] QList<Exchange*> takeWaiting();
    void answerWaiting();
    void keepStreamsAlive();

    Handler handler;
    Options options;
    QTimer heartbeat;
    qsizetype bodyBytes = 0; ///< Only the server's own thread counts.

    std::mutex mutex; ///< Guards the three below.
    std::deque<Exchange*> waiting;
    std::vector<std::weak_ptr<EventStream>> streams;
    bool stopping = false;

    std::unique_ptr<MHD_Daemon, DaemonStopper> daemon;
};

} // namespace quibel::inbox
