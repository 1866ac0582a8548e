#pragma once

#include "platform/HttpBody.h"
#include "platform/SecretText.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace quibel {

// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): a copy is wiped in its turn.
struct HttpRequest
{
    ~HttpRequest()
    {
        for (auto& [name, value] : headers)
            wipe(value); // One of them is the user's key.
    }

    QByteArray method;
    QUrl url;
    std::vector<std::pair<QByteArray, QByteArray>> headers;
    HttpBody body;

    bool operator==(const HttpRequest&) const = default;
};

/// Why no complete answer came.
enum class TransportErrorCode {
    notConnectedToInternet,
    cannotFindHost,
    cannotConnectToHost,
    timedOut,
    dnsLookupFailed,
    networkConnectionLost,
    secureConnectionFailed,
    requestRefused, ///< Not sent: this session does not send such a request.
    responseTooLarge,
    other,   ///< Any other failure of loading a URL.
    unknown, ///< A failure that is not one of loading a URL.
};

struct TransportError
{
    TransportErrorCode code = TransportErrorCode::unknown;
    QString localizedDescription;

    bool operator==(const TransportError&) const = default;
};

/// How a request ended. A status can stand beside an error: the answer broke off after it.
struct HttpOutcome
{
    std::optional<TransportError> error;
    std::optional<int> status; ///< None when there was no HTTP response.
    std::optional<QByteArray> body;
    /// Until when the certificate of a verified service is valid; none without TLS.
    std::optional<QDateTime> certificateExpiry {};

    bool operator==(const HttpOutcome&) const = default;
};

/// Sends HTTP requests, each once.
///
/// A request ends as `timedOut` after 60 s without progress, and after 10 minutes in all.
/// Redirects are followed within the origin of the request only; any other is the answer itself.
/// Requests that would carry a key in the clear to another machine, or with control characters in a
/// header, end as `requestRefused`.
///
/// Thread: main.
class HttpSession
{
public:
    using Completion = std::function<void(const HttpOutcome&)>;

    HttpSession() = default;
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;
    virtual ~HttpSession() = default;

    /// Calls `completion` once, on the main thread, in a later turn of its event loop; never after
    /// the session is gone.
    virtual void send(const HttpRequest& request, Completion completion) = 0;
};

} // namespace quibel
