#pragma once

#include "inbox/http/HttpDaemon.h"
#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/http/HttpServerOptions.h"
#include "inbox/http/OpenStreams.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <deque>
#include <functional>
#include <mutex>

namespace quibel::inbox {

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

    HttpServer(Handler requestHandler, const HttpServerOptions& serverOptions);
    Q_DISABLE_COPY_MOVE(HttpServer)
    /// Stops serving; requests that were not handled yet are cut off without an answer.
    ~HttpServer() override;

    /// Starts serving. Call it once.
    ///
    /// Errors: false when the system has no means left for it.
    [[nodiscard]] bool start(ListenSocket socket);

private:
    [[nodiscard]] bool take(Exchange& exchange);
    [[nodiscard]] QList<Exchange*> takeWaiting();
    void answerWaiting();

    Handler handler;
    qsizetype requestsTogether;
    QTimer heartbeat;

    std::mutex mutex; ///< Guards the two below.
    std::deque<Exchange*> waiting;
    bool stopping = false;

    OpenStreams streams;
    HttpDaemon daemon;
};

} // namespace quibel::inbox
