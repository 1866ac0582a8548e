#include "platform/qt/QtHttpSession.h"

#include "platform/qt/HttpExchange.h"

#include <QHostAddress>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

bool isThisMachine(const QString& host)
{
    return host == u"localhost"_s || QHostAddress(host).isLoopback();
}

bool hasControlCharacter(const QByteArray& text)
{
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7f;
    });
}

/// Why a request must not be sent; none when it may be.
std::optional<QString> refusal(const HttpRequest& request)
{
    const QUrl& url = request.url;
    if (url.host().isEmpty() || (url.scheme() != u"https"_s && url.scheme() != u"http"_s))
        return u"not the address of a web service"_s;
    if (url.scheme() == u"http"_s && !isThisMachine(url.host()))
        return u"%1 is another machine, and http would show it the key in the clear"_s.arg(
            url.host());
    if (std::any_of(request.headers.begin(), request.headers.end(), [](const auto& header) {
            return hasControlCharacter(header.first) || hasControlCharacter(header.second);
        }))
        return u"a header has a control character"_s;
    return std::nullopt;
}

} // namespace

QtHttpSession::QtHttpSession(const HttpTimeouts& requestTimeouts)
    : timeouts(requestTimeouts)
{
}

void QtHttpSession::send(const HttpRequest& request, Completion completion)
{
    if (const auto reason = refusal(request)) {
        std::fprintf(stderr, "Request not sent: %s\n", qPrintable(*reason));
        const HttpOutcome refused {
            .error = TransportError { TransportErrorCode::requestRefused, *reason },
            .status = {},
            .body = {},
        };
        QMetaObject::invokeMethod(
            &exchanges,
            [completion = std::move(completion), refused] { completion(refused); },
            Qt::QueuedConnection);
        return;
    }
    new HttpExchange(request, timeouts, std::move(completion), &exchanges);
}

} // namespace quibel
