#pragma once

#include "inbox/http/HttpServer.h"

#include <functional>
#include <variant>

namespace quibel::inbox::testing {

/// A server on a port of its own that keeps the requests it got, and answers each with 200 and
/// "got " and the size of the body unless told otherwise.
class RunningServer
{
public:
    using OneHandler = std::function<HttpResponse(const HttpRequest&)>;

    explicit RunningServer(const HttpServerOptions& options = {}, OneHandler oneHandler = {})
        : handler(std::move(oneHandler))
        , server([this](const QList<HttpRequest>& group) { return answer(group); }, options)
    {
        auto opened = openListenSocket({ .host = QStringLiteral("127.0.0.1"), .port = 0 });
        auto& socket = std::get<ListenSocket>(opened);
        port = socket.address.port;
        if (!server.start(std::move(socket)))
            qFatal("the server does not start");
    }

    quint16 port = 0;
    QList<HttpRequest> requests;
    QList<qsizetype> groups; ///< How many came together.

private:
    QList<HttpResponse> answer(const QList<HttpRequest>& group)
    {
        requests += group;
        groups += group.size();
        QList<HttpResponse> responses;
        for (const auto& request : group)
            responses.append(handler ? handler(request) : standardAnswer(request));
        return responses;
    }

    static HttpResponse standardAnswer(const HttpRequest& request)
    {
        return { .status = 200,
                 .headers = { { "X-Answer", "1" } },
                 .body = "got " + QByteArray::number(request.body.size()) };
    }

    OneHandler handler;
    HttpServer server;
};

} // namespace quibel::inbox::testing
