#include "platform/qt/HttpExchange.h"

#include "platform/qt/SingleUseBody.h"

#include <QSslCertificate>
#include <QSslConfiguration>

#include <algorithm>
#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr qint64 bodyLimit = qint64 { 16 } * 1024 * 1024;
constexpr int redirectLimit = 16;

QNetworkRequest makeToolkitRequest(const HttpRequest& request)
{
    QNetworkRequest made(request.url);
    for (const auto& [name, value] : request.headers)
        made.setRawHeader(name, value);
    made.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                      QNetworkRequest::ManualRedirectPolicy);
    made.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    made.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    made.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    made.setRawHeader("Accept-Encoding", "identity"); // So that lengths can be compared.
    return made;
}

bool haveSameOrigin(const QUrl& one, const QUrl& other)
{
    const int defaultPort = one.scheme() == u"https"_s ? 443 : 80;
    return one.scheme() == other.scheme() && one.host() == other.host()
        && one.port(defaultPort) == other.port(defaultPort);
}

/// Whether the answer is missing or broken; the toolkit reports statuses as errors, too.
bool isTransportFailure(QNetworkReply::NetworkError error, std::optional<int> status)
{
    const bool connectionBroke
        = error > QNetworkReply::NoError && error <= QNetworkReply::UnknownNetworkError;
    return !status || connectionBroke;
}

TransportErrorCode transportErrorCode(QNetworkReply::NetworkError error, bool wasSent)
{
    switch (error) {
    case QNetworkReply::HostNotFoundError:
        return TransportErrorCode::cannotFindHost;
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyNotFoundError:
        return TransportErrorCode::cannotConnectToHost;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return TransportErrorCode::timedOut;
    case QNetworkReply::SslHandshakeFailedError:
        return TransportErrorCode::secureConnectionFailed;
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return TransportErrorCode::notConnectedToInternet;
    case QNetworkReply::UnknownNetworkError: // Among others: there is no route to the host.
        return wasSent ? TransportErrorCode::networkConnectionLost
                       : TransportErrorCode::notConnectedToInternet;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
        return TransportErrorCode::networkConnectionLost;
    default:
        return TransportErrorCode::other;
    }
}

} // namespace

HttpExchange::HttpExchange(const HttpRequest& wanted,
                           const HttpTimeouts& timeouts,
                           HttpSession::Completion whenDone,
                           QObject* parent)
    : QObject(parent)
    , request(wanted)
    , completion(std::move(whenDone))
{
    idle.setInterval(timeouts.idle);
    total.setInterval(timeouts.total);
    for (QTimer* const limit : { &idle, &total }) {
        limit->setSingleShot(true);
        connect(limit, &QTimer::timeout, this, [this] {
            fail(TransportErrorCode::timedOut, u"The request timed out."_s);
        });
    }
    total.start();
    sendRequest();
}

void HttpExchange::sendRequest()
{
    auto body = std::make_unique<SingleUseBody>(request.body);
    reply = manager.sendCustomRequest(makeToolkitRequest(request), request.method, body.get());
    body.release()->setParent(reply);

    const auto restart = [this] { idle.start(); };
    connect(reply, &QNetworkReply::uploadProgress, this, restart);
    connect(reply, &QNetworkReply::metaDataChanged, this, restart);
    connect(reply, &QNetworkReply::readyRead, this, restart);
    connect(reply, &QNetworkReply::requestSent, this, [this] { wasSent = true; });
    connect(reply, &QNetworkReply::readyRead, this, &HttpExchange::takeBody);
    connect(reply, &QNetworkReply::finished, this, &HttpExchange::takeEnd);
    idle.start();
}

std::optional<int> HttpExchange::status() const
{
    const QVariant code = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    return code.isValid() ? std::optional(code.toInt()) : std::nullopt;
}

void HttpExchange::takeBody()
{
    while (reply->bytesAvailable() > 0) {
        const QByteArray piece = reply->read(bodyLimit + 1 - received.size());
        if (piece.isEmpty())
            return;
        received += piece;
        if (received.size() > bodyLimit) {
            fail(TransportErrorCode::responseTooLarge, u"The answer is too large."_s);
            return;
        }
    }
}

void HttpExchange::takeEnd()
{
    takeBody();
    if (reply == nullptr)
        return;
    const QNetworkReply::NetworkError error = reply->error();
    // The toolkit meant to send the request again; see SingleUseBody.
    const bool endedUnanswered = error == QNetworkReply::ContentReSendError && !status();
    if (endedUnanswered || !isWhole())
        fail(TransportErrorCode::networkConnectionLost, u"Connection closed"_s);
    else if (isTransportFailure(error, status()))
        fail(transportErrorCode(error, wasSent), reply->errorString());
    else if (const auto target = redirectTarget())
        follow(*target);
    else
        finish({ .error = {},
                 .status = status(),
                 .body = received,
                 .certificateExpiry = certificateExpiry() });
}

std::optional<QDateTime> HttpExchange::certificateExpiry() const
{
    // Merely to ask a reply that came without TLS loads the libraries for it, 4 MiB.
    if (request.url.scheme() != u"https"_s)
        return std::nullopt;
    const QSslCertificate certificate = reply->sslConfiguration().peerCertificate();
    return certificate.isNull() ? std::nullopt : std::optional(certificate.expiryDate());
}

bool HttpExchange::isWhole() const
{
    // Qt 6.4 takes some bodies that break off for complete ones. Chunks carry no total to compare.
    bool hasLength = false;
    const qint64 length = reply->rawHeader("Content-Length").toLongLong(&hasLength);
    const bool hasBody
        = status() != 204 && status() != 304 && !reply->hasRawHeader("Transfer-Encoding");
    return !hasLength || !hasBody || received.size() >= length;
}

std::optional<QUrl> HttpExchange::redirectTarget() const
{
    static constexpr std::array redirects { 301, 302, 303, 307, 308 };
    const QByteArray location = reply->rawHeader("Location");
    if (location.isEmpty() || std::ranges::find(redirects, status()) == redirects.end())
        return std::nullopt;
    const QUrl target = request.url.resolved(QUrl::fromEncoded(location, QUrl::StrictMode));
    return target.isValid() && haveSameOrigin(request.url, target) ? std::optional(target)
                                                                   : std::nullopt;
}

void HttpExchange::follow(const QUrl& target)
{
    if (++redirectCount > redirectLimit) {
        fail(TransportErrorCode::other, u"There were too many redirects."_s);
        return;
    }
    if (status() != 307 && status() != 308) {
        request.method = "GET";
        request.body = {};
        std::erase_if(request.headers, [](const auto& header) {
            return header.first.compare("Content-Type", Qt::CaseInsensitive) == 0;
        });
    }
    request.url = target;
    received.clear();
    sendRequest();
}

void HttpExchange::fail(TransportErrorCode code, const QString& description)
{
    finish({ .error = TransportError { code, description }, .status = status(), .body = {} });
}

void HttpExchange::finish(const HttpOutcome& outcome)
{
    idle.stop();
    total.stop();
    reply->disconnect(this);
    reply = nullptr;
    // The completion may end the session, and the reply must not die while it speaks.
    QMetaObject::invokeMethod(
        this,
        [this, outcome] {
            deleteLater();
            const HttpSession::Completion complete = std::move(completion);
            complete(outcome);
        },
        Qt::QueuedConnection);
}

} // namespace quibel
