#include "inbox/http/HttpServer.h"

#include "inbox/http/Exchange.h"

#include <QMetaObject>

#include <utility>

namespace quibel::inbox {

HttpServer::HttpServer(Handler requestHandler, const HttpServerOptions& options)
    : handler(std::move(requestHandler))
    , requestsTogether(options.limits.requestsTogether)
    , streams(options.limits.streams, options.metrics)
    , daemon(options, streams, [this](Exchange& exchange) { return take(exchange); })
{
    heartbeat.setInterval(options.heartbeat);
    connect(&heartbeat, &QTimer::timeout, this, [this] { streams.keepAlive(); });
}

HttpServer::~HttpServer()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
        for (auto* exchange : waiting)
            HttpDaemon::resume(*exchange);
    }
    streams.close();
}

bool HttpServer::start(ListenSocket socket)
{
    heartbeat.start();
    return daemon.start(std::move(socket));
}

bool HttpServer::take(Exchange& exchange)
{
    const std::lock_guard lock(mutex);
    if (stopping)
        return false;
    HttpDaemon::suspend(exchange);
    // While others wait, the one that was first has already called for them.
    if (waiting.empty())
        QMetaObject::invokeMethod(this, &HttpServer::answerWaiting, Qt::QueuedConnection);
    waiting.push_back(&exchange);
    return true;
}

QList<Exchange*> HttpServer::takeWaiting()
{
    const std::lock_guard lock(mutex);
    const auto end
        = waiting.begin() + qMin(requestsTogether, static_cast<qsizetype>(waiting.size()));
    QList<Exchange*> group(waiting.begin(), end);
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
        HttpDaemon::resume(*group.at(i));
    }
}

} // namespace quibel::inbox
