#pragma once

#include "platform/HttpSession.h"
#include "platform/qt/HttpTimeouts.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QTimer>

namespace quibel {

/// One request on its way, with the redirects that it takes. Ends itself with its completion.
///
/// Two things cannot be told through the toolkit: the status of a 401 or 407 whose body breaks off,
/// and, without TLS, whether a chunked body broke off.
class HttpExchange : public QObject
{
    Q_OBJECT

public:
    /// Sends the request at once.
    HttpExchange(const HttpRequest& wanted,
                 const HttpTimeouts& timeouts,
                 HttpSession::Completion whenDone,
                 QObject* parent);

private:
    void sendRequest();
    [[nodiscard]] std::optional<int> status() const;
    [[nodiscard]] std::optional<QDateTime> certificateExpiry() const;
    void takeBody();
    void takeEnd();
    [[nodiscard]] bool isWhole() const;
    [[nodiscard]] std::optional<QUrl> redirectTarget() const;
    void follow(const QUrl& target);
    void fail(TransportErrorCode code, const QString& description);
    void finish(const HttpOutcome& outcome);

    HttpRequest request;
    HttpSession::Completion completion;
    QTimer idle;
    QTimer total;
    QByteArray received;
    int redirectCount = 0;
    bool wasSent = false;
    QNetworkAccessManager manager;
    QNetworkReply* reply = nullptr; ///< None once the outcome is known.
};

} // namespace quibel
