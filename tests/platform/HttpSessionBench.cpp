#include "tests/platform/HttpSessionBench.h"

#include <QTcpServer>
#include <QTestEventLoop>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel::testing {

void HttpSessionBench::enter() const
{
    for (const char* proxy : { "http_proxy",
                               "https_proxy",
                               "all_proxy",
                               "HTTP_PROXY",
                               "HTTPS_PROXY",
                               "ALL_PROXY",
                               "no_proxy",
                               "NO_PROXY" })
        qunsetenv(proxy);
    qputenv("RES_OPTIONS", "timeout:1 attempts:1");

    QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
    trusting.setCaCertificates({ certificates.authority() });
    QSslConfiguration::setDefaultConfiguration(trusting);
}

HttpRequest makeRequest(const QByteArray& method, const QUrl& url)
{
    return { .method = method,
             .url = url,
             .headers = { { "Authorization", "Bearer " + key } },
             .body = {} };
}

HttpRequest get(const QUrl& url)
{
    return makeRequest("GET", url);
}

HttpRequest post(const QUrl& url, const HttpBody& body)
{
    HttpRequest request = makeRequest("POST", url);
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = body;
    return request;
}

HttpOutcome outcomeOf(const HttpRequest& request, const HttpTimeouts& timeouts)
{
    QtHttpSession session(timeouts);
    HttpOutcome result;
    QTestEventLoop loop;
    session.send(request, [&](const HttpOutcome& outcome) {
        result = outcome;
        loop.exitLoop();
    });
    loop.enterLoopMSecs(static_cast<int>((2 * patience) / 1ms));
    if (loop.timeout())
        result.error = TransportError { TransportErrorCode::unknown, u"no completion"_s };
    return result;
}

std::optional<TransportErrorCode> errorOf(const HttpOutcome& outcome)
{
    return outcome.error ? std::optional(outcome.error->code) : std::nullopt;
}

bool tellsTheKey(const HttpOutcome& outcome)
{
    return outcome.error && outcome.error->localizedDescription.contains(QString::fromUtf8(key));
}

quint16 unusedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

} // namespace quibel::testing
